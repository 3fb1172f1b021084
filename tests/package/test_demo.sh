#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# The demonstration succeeds, says so, and leaves nothing behind; it draws its
# progress again and again on a terminal only.
# Usage: test_demo.sh PROGRAM

set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/tmp"
export TMPDIR=$work/tmp

"$1" --quick >"$work/out" 2>"$work/err" || { cat "$work/out" "$work/err"; exit 1; }
grep -q 'Everything shown above was checked' "$work/out" || { cat "$work/out"; exit 1; }
left=$(ls -A "$TMPDIR")
[[ -z "$left" ]] || { printf 'left behind: %s\n' "$left"; exit 1; }

# What nobody watches is plain text.
if grep -q $'[\r\e]' <(sed '/^  | /d' "$work/out"); then
    echo 'control characters in the output, which is no terminal'
    exit 1
fi

TERM=xterm script -qec "'$1' --quick" /dev/null </dev/null >"$work/terminal" 2>&1 \
    || { cat "$work/terminal"; exit 1; }
for shown in $'\r\e[K' '########] 100%' 'Everything shown above was checked'; do
    grep -qF -- "$shown" "$work/terminal" \
        || { printf 'on a terminal, not shown: %q\n' "$shown"; cat "$work/terminal"; exit 1; }
done
