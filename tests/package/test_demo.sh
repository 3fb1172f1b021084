#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# The demonstration succeeds, says so, and leaves nothing behind.
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
