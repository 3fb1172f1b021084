#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# clang-tidy and clazy on units of tools/lint_units.py; the sources of a unit that does
# not compile are checked one by one.
# Usage: lint_unit.sh UNIT...

set -euo pipefail
folders='(core|log|singleapp|http|util|files|examples|tests|benchmarks|fuzz|tools)'

# Says itself when to stop: where its status is asked for, the shell's -e is off.
check() {
    clang-tidy -p build/lint --quiet "$@" || return
    # QtTest's QSKIP() is what Clang's -Wpedantic would complain about.
    clazy-standalone -p build/lint --extra-arg=-Wno-gnu-zero-variadic-macro-arguments \
        --checks="$(grep -v '^#' .clazy | cut -d ' ' -f 1 | tr '\n' ',')" \
        --header-filter="$PWD/$folders/.*" "$@"
}

for unit in "$@"; do
    log=$(check "$unit" 2>&1) && continue
    if [[ $log == *'[clang-diagnostic-error'* ]]; then
        mapfile -t sources <"${unit%.cpp}.sources"
        printf '%s does not compile, checking its %d sources one by one\n' "$unit" "${#sources[@]}"
        check "${sources[@]}"
    else
        printf '%s\n' "$log"
        exit 1
    fi
done
