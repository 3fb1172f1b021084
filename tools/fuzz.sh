#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Runs the fuzzers of a build, as many at a time as there are processors: each on its
# seeds, on what earlier runs have found worth keeping, and then on.
# Usage: fuzz.sh BUILD_DIR [SECONDS] [TARGET...]
#   SECONDS: 60 if not given; 0 tries the inputs that are there and no others

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

statistic() { sed -n "s/^stat::$1: *//p" "$2"; }

summary() {
    local log=$1 coverage
    coverage=$(grep -o 'cov: [0-9]* ft: [0-9]* corp: [0-9]*' "$log" | tail -n 1)
    printf '%s executions, %s per second, %s\n' "$(statistic number_of_executed_units "$log")" \
        "$(statistic average_exec_per_sec "$log")" "$coverage"
}

run_one() (
    local build=$1 seconds=$2 target=$3
    local seeds=fuzz/corpus/$target grown=$build/corpus/$target findings=$build/findings/$target
    local log=$build/log/$target.log program=$build/fuzz/fuzz_$target
    local options=(-print_final_stats=1 -timeout=20 -rss_limit_mb=4096 "-artifact_prefix=$findings/")
    if [[ $seconds == 0 ]]; then options+=(-runs=0); else options+=("-max_total_time=$seconds"); fi
    [[ ! -f $seeds.dict ]] || options+=("-dict=$seeds.dict")
    mkdir -p "$grown" "$findings" "$build/log"

    local scratch status=0
    scratch=$(mktemp -d --tmpdir="$(test -w /dev/shm && printf /dev/shm)" zecore-fuzz.XXXXXX)
    trap 'rm -rf "$scratch"' EXIT
    TMPDIR=$scratch "$program" "${options[@]}" "$grown" "$seeds" >"$log" 2>&1 || status=$?
    if [[ $status == 0 ]]; then
        printf '%-20s %s\n' "$target" "$(summary "$log")"
        return 0
    fi
    # In one piece, since another fuzzer may report at the same time.
    printf '%s\n' "--- $target failed:" "$(grep -v -e '^#[0-9]*[[:space:]]' -e '^stat::' "$log" | tail -n 60)" \
        "--- the whole report: $log" \
        "--- to reproduce: $program $(find "$findings" -type f -newer "$build/log/.start" | head -n 1)"
    return 1
)

if [[ ${1-} == --one ]]; then
    run_one "${@:2}"
    exit
fi

build=$1
shift
seconds=60
if [[ ${1-} =~ ^[0-9]+$ ]]; then
    seconds=$1
    shift
fi
mapfile -t known <"$build/fuzz/targets.txt"
for target in "$@"; do
    [[ " ${known[*]} " == *" $target "* ]] || {
        printf 'fuzz.sh: no target %s; there are: %s\n' "$target" "${known[*]}" >&2
        exit 2
    }
done
[[ $# -gt 0 ]] || set -- "${known[@]}"
mkdir -p "$build/log"
touch "$build/log/.start"
printf '%s\n' "$@" | xargs -P "$(nproc)" -I '{}' "$0" --one "$build" "$seconds" '{}'
