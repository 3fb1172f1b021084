#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Builds and runs a consumer that has the library's sources in its own build, and
# checks that the library brings its code only: no tests, no examples, no installed
# files of the consumer's, no warnings flags. A consumer may make unity builds.
# Usage: test_embedded.sh SOURCE_DIR KIND COMPILER LAUNCHER [CMAKE_ARGUMENT...]
# KIND is the folder in examples/consumers.

set -euo pipefail
source_dir=$1 kind=$2 compiler=$3 launcher=${4-}
shift 4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake -S "$source_dir/examples/consumers/$kind" -B "$work" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
    -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG= -DCMAKE_UNITY_BUILD=ON \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" "$@" >/dev/null
cmake --build "$work" >/dev/null

output=$("$work/consumer" 2>/dev/null)
[[ "$output" == 'libZeCore '*' ready' ]] || { printf 'the consumer prints %q\n' "$output"; exit 1; }
if grep -E '"file": .*/(tests|examples/(demo|readme))/|-Werror' "$work/compile_commands.json"; then
    echo 'more than the library is built'
    exit 1
fi
