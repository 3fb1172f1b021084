#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# The program in README.md is the one that is built, and it does what it says.
# Usage: test_readme.sh SOURCE_DIR PROGRAM

set -euo pipefail
source_dir=$1 program=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# shellcheck disable=SC2016 # the fences of Markdown
sed -n '/^```cpp$/,/^```$/p' "$source_dir/README.md" | sed '1d;$d' >"$work/shown"
sed '1,/^$/d' "$source_dir/examples/readme/main.cpp" >"$work/built"
diff "$work/shown" "$work/built"

cp "$program" "$work/program"
console=$("$work/program" 2>&1 >/dev/null)
grep -q 'running on ZC[0-9.]* Linux' <<<"$console" || { printf 'console: %s\n' "$console"; exit 1; }
grep -q '\[Zemix\]running on ZC[0-9.]* Linux' "$work"/appInfo/log/ZemixPro_*.log
