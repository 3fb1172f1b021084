#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# The program that a document begins with is the one that is built, and it does
# what it says: its output has the lines of EXAMPLE's .expected file (extended
# regular expressions) in their order, and it leaves nothing behind.
# Usage: test_guide.sh SOURCE_DIR DOCUMENT EXAMPLE PROGRAM

set -euo pipefail
document=$1/$2 example=$1/$3 program=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    printf '%s\n' "$*"
    exit 1
}

# shellcheck disable=SC2016 # the fences of Markdown
sed -n '/^```cpp$/,/^```$/p;/^```$/q' "$document" | sed '1d;$d' >"$work/shown"
sed '1,/^$/d' "$example" >"$work/built"
diff "$work/shown" "$work/built" || fail "$document does not begin with $example"
[[ $(wc -l <"$example") -lt 60 ]] || fail "$example is too long for an example"

# Two later instances talk to the first, which ends with the second of them.
run_single_instance() {
    "$1" &
    local first=$!
    while ! grep -q '^first instance' "$work/console"; do
        kill -0 "$first" || return 1
        sleep 0.1
    done
    "$1" "open hall 3"
    "$1" quit
    wait "$first"
}

mkdir "$work/tmp" "$work/home"
cp "$program" "$work/home/program"
cd "$work/home"
export TMPDIR=$work/tmp
status=0
case $example in
    */single-instance.cpp) run_single_instance ./program ;;
    *) ./program ;;
esac >"$work/console" 2>&1 || status=$?
cat "$work/console"
[[ $status == 0 ]] || fail "$example ends with $status"
for log in appInfo/log/*.log; do
    [[ ! -f $log ]] || cat "$log" >>"$work/console"
done

next=1
while IFS= read -r pattern; do
    found=$(tail -n "+$next" "$work/console" | grep -nEm1 -e "$pattern" | cut -d: -f1) ||
        fail "not in the output, from line $next on: $pattern"
    next=$((next + found))
done <"${example%.cpp}.expected"

left=$(find "$TMPDIR" "$work/home" -mindepth 1 -maxdepth 1 ! -name program ! -name appInfo)
[[ -z "$left" ]] || fail "left behind: $left"
