#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Builds the library as a static one, many sources at a time as CMake's unity builds
# do, installs it into a temporary prefix, and builds and runs the consumers against it.
# Usage: test_static.sh SOURCE_DIR COMPILER LAUNCHER

set -euo pipefail
source_dir=$1 compiler=$2 launcher=${3-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake -S "$source_dir" -B "$work/build" -DBUILD_SHARED_LIBS=OFF -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS_DEBUG= -DCMAKE_UNITY_BUILD=ON -DZECORE_BUILD_TESTS=OFF -DZECORE_BUILD_EXAMPLES=OFF \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" >/dev/null
cmake --build "$work/build" >/dev/null
cmake --install "$work/build" --prefix "$work/prefix" >/dev/null
[[ -z "$(find "$work/prefix" -name '*.so*')" ]] || { echo 'a shared library is installed'; exit 1; }

"$(dirname "$0")/run_consumers.sh" "$source_dir" "$work/prefix" "$compiler"
