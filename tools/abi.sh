#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Compares the binary interface of a build with the reviewed lists in abi/.
# Usage: abi.sh BUILD_DIR [--update]

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build_dir=$1 mode=${2-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
library=$(find "$work/prefix" -name 'libZeCore.so.*.*.*')
tools/abi_dump.py "$library" "$work/prefix/include/ZeCore" "$work/now"

status=0
for list in symbols.txt classes.txt; do
    if [[ "$mode" == --update ]]; then
        cp "$work/now/$list" "abi/$list"
    else
        diff -u --label "abi/$list" --label "this build" "abi/$list" "$work/now/$list" || status=1
    fi
done
if [[ $status != 0 ]]; then
    echo 'The binary interface has changed. abi/README.md says what programs can stand;'
    echo 'if the change is meant, ./dev abi --update records it.'
fi
exit $status
