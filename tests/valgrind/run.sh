#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Helgrind over the logger, and Memcheck over the programs that end normally: no
# error, nothing definitely or indirectly lost.
# Usage: run.sh BUILD_DIR

set -euo pipefail
programs=$(cd "$1" && pwd)/tests
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C.UTF-8 here programs work

# checked NAME STATUS TOOL-OPTION... -- PROGRAM ARGUMENT...
checked() {
    local name=$1 expected=$2 status=0 options=()
    shift 2
    while [[ $1 != -- ]]; do
        options+=("$1")
        shift
    done
    shift
    valgrind -q --error-exitcode=99 --log-file="$work/$name.log" "${options[@]}" "$@" \
        >"$work/$name.out" 2>&1 || status=$?
    if [[ $status != "$expected" || -s $work/$name.log ]]; then
        printf '%s: FAILED with %s\n' "$name" "$status"
        cat "$work/$name.log"
        return 1
    fi
    printf '%s: clean\n' "$name"
}

ending() {
    local services=$1 log=$2 ending=$3
    local name="$services-$log-$ending"
    mkdir "$work/$name.dir"
    checked "$name" 3 --leak-check=full --show-leak-kinds=definite,indirect \
        --errors-for-leak-kinds=definite,indirect -- \
        "$programs/ending_child" "$services" "$log" "$ending" "$work/$name.dir"
}
export -f checked ending

mkdir "$work/logs"
checked helgrind 0 --tool=helgrind --suppressions="$here/helgrind.supp" -- \
    "$programs/flood_child" brief "$work/logs" 2000
[[ $(cat "$work"/logs/*.log | grep -c ']numbered ') == 2000 ]]

for services in unused used released; do
    for log in none handler running stopped removed; do
        for ending in return exit sigterm-quit; do
            echo "$services $log $ending"
        done
    done
done | xargs -P "$(nproc)" -L 1 bash -c 'ending "$@"' ending
