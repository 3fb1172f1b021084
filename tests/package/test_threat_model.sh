#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Every claim of the threat model names a test, and every test that it names exists.
# Usage: test_threat_model.sh SOURCE_DIR

set -euo pipefail
cd "$1"
document=docs/threat-model.md
failures=0

complain() {
    printf '%s: %s\n' "$document" "$*"
    failures=$((failures + 1))
}

# Whether the program $1 has the test function $2.
has_test() {
    local source
    source=$(find tests -name "$1.cpp" -type f)
    [[ -n $source ]] && grep -qE "^    void $2\(\)( \{.*)?;?$" "$source" && grep -q "::$2()" "$source"
}

named=$(grep -oE 'tst_[a-z_]+::[A-Za-z0-9]+' "$document" | sort -u)
[[ $(wc -l <<<"$named") -ge 50 ]] || complain 'hardly any tests are named'
while IFS= read -r test; do
    has_test "${test%%::*}" "${test##*::}" || complain "there is no test $test"
done <<<"$named"

# The rows of tables whose last column is headed "Test".
while IFS= read -r row; do
    [[ $row == *'tst_'*'::'* ]] || complain "no test shows this: $row"
done < <(awk '/^\|/ { if (!in_table) { in_table = 1; claims = /\| Test \|$/; next }
                      if (claims && !/^\|-/) print; next }
              { in_table = 0 }' "$document")

[[ $failures == 0 ]]
