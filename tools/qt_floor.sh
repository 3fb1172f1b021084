#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Which symbols of Qt does the library need, and since when does Qt have them?
# Debian's symbols files tell in which release it first saw each one. A symbol that
# is newer than the oldest Qt that is supported fails the check, unless
# abi/qt-newer.txt names it with a reason; so does private interface of Qt.
# What headers do without a symbol (inline code, enumerators) is not seen here.
# That nothing is used which was deprecated before, the compiler checks; here is
# looked whether it is told to, for each of the library's sources.
# Usage: qt_floor.sh BUILD_DIR

set -euo pipefail
export LC_ALL=C # for join, which wants the order of sort
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build_dir=$1 library=$1/libZeCore.so.1 floor=5.12 exceptions=abi/qt-newer.txt
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

nm -D --undefined-only -f posix "$library" | awk '$1 ~ /@Qt_5/ { print $1 }' | sort >"$work/needed"
[[ -s "$work/needed" ]] || { echo "$library needs nothing of Qt"; exit 1; }
for package in libqt5core5a libqt5network5; do
    cat "$(dpkg-query --control-path "$package" symbols)"
done | awk '/^ / { print $1, $2 }' | sort >"$work/known"
awk '!/^(#|$)/ { print $1 }' "$exceptions" | sort >"$work/excepted"

# Debian's 5.12.2 is Qt 5.12; 0 stands for symbols without a promise.
is_allowed() {
    local since=$1
    [[ "$since" != 0 ]] && dpkg --compare-versions "$(cut -d. -f1,2 <<<"$since")" le "$floor"
}

status=0
join -a 1 -e unknown -o 0,2.2 "$work/needed" "$work/known" >"$work/since"
cut -d' ' -f2 "$work/since" | sort -V | uniq -c | while read -r count since; do
    printf '%4d symbols since %s\n' "$count" "$since"
done
: >"$work/found"
while read -r symbol since; do
    [[ "$since" != unknown ]] && is_allowed "$since" && continue
    echo "${symbol%@*}" >>"$work/found"
    if grep -qxF "${symbol%@*}" "$work/excepted"; then continue; fi
    printf 'newer than Qt %s: %s (%s), since %s\n' "$floor" "${symbol%@*}" "$(c++filt "${symbol%@*}")" "$since"
    status=1
done <"$work/since"

stale=$(sort "$work/found" | comm -13 - "$work/excepted")
if [[ -n "$stale" ]]; then
    printf '%s names what is not needed:\n%s\n' "$exceptions" "$stale"
    status=1
fi

commands=$(grep '"command": .* -o CMakeFiles/ZeCore\.dir/' "$build_dir/compile_commands.json")
if lax=$(grep -v -e '-DQT_DISABLE_DEPRECATED_BEFORE=0x050C00 ' <<<"$commands"); then
    printf 'compiled without QT_DISABLE_DEPRECATED_BEFORE=0x050C00:\n%s\n' "$lax"
    status=1
else
    printf '%d sources compile with QT_DISABLE_DEPRECATED_BEFORE=0x050C00\n' "$(wc -l <<<"$commands")"
fi
exit $status
