#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Builds the consumers of examples/consumers against an installed library, with
# CMake, pkg-config and qmake, and runs them.
# Usage: run_consumers.sh SOURCE_DIR PREFIX [COMPILER [FLAGS]]
# PREFIX is where the library was installed; "system" for the directories in
# which the tools look on their own.

set -euo pipefail
source_dir=$1 prefix=$2 compiler=${3:-c++} flags=${4-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$source_dir/examples/consumers/." "$work"
version=$(sed -n 's/^#define ZECORE_VERSION_STR "\(.*\)"$/\1/p' "$source_dir/core/ZeCoreGlobal.h")

# A consumer must take the library from PREFIX, whatever the environment says.
unset CMAKE_PREFIX_PATH PKG_CONFIG_PATH QMAKEPATH QMAKEMODULES LD_LIBRARY_PATH
if [[ "$prefix" != system ]]; then
    libdir=$(dirname "$(find "$prefix" -name 'libZeCore.*' | head -n 1)")
    export CMAKE_PREFIX_PATH=$prefix PKG_CONFIG_PATH=$libdir/pkgconfig QMAKEPATH=$libdir/qt5
fi

fail() {
    printf '%s\n' "$@"
    exit 1
}

# Runs a consumer; what is not of CMake finds a library outside the system's
# directories as programs do that are tried before they are installed.
expect() {
    local program=$1 output
    [[ "$prefix" == system ]] || export LD_LIBRARY_PATH=$libdir
    output=$("$program" 2>/dev/null) || fail "$program fails"
    [[ "$output" == "libZeCore $version: "$'\e[32md41d8cd98f00b204e9800998ecf8427e\e[0m ready' ]] \
        || fail "$(printf '%s prints %q' "$program" "$output")"
    [[ "$prefix" == system || -e "$libdir/libZeCore.a" ]] \
        || grep -qF "$libdir/libZeCore.so.1" <(ldd "$program") || fail "$program runs with another library"
    unset LD_LIBRARY_PATH
}

echo "find_package(ZeCore 1)"
cmake -S "$work/cmake" -B "$work/cmake/build" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >"$work/log" || fail "$(<"$work/log")"
cmake --build "$work/cmake/build" >"$work/log" || fail "$(<"$work/log")"
expect "$work/cmake/build/consumer"

echo 'find_package(ZeCore 2) finds nothing'
sed -i 's/ZeCore 1 REQUIRED/ZeCore 2 REQUIRED/' "$work/cmake/CMakeLists.txt"
if cmake -S "$work/cmake" -B "$work/cmake/build2" >"$work/log" 2>&1; then
    fail 'another major version was accepted'
fi
grep -q 'ZeCoreConfig.cmake, version: ' "$work/log" || fail "$(<"$work/log")"

echo 'pkg-config'
[[ "$(pkg-config --modversion ZeCore)" == "$version" ]] || fail 'pkg-config tells another version'
make -s -C "$work/pkg-config" CXX="$compiler" CXXFLAGS="$flags"
expect "$work/pkg-config/consumer"

echo 'qmake'
(cd "$work/qmake" && qmake -qt=5 QMAKE_CXX="$compiler" QMAKE_LINK="$compiler" \
    "QMAKE_CXXFLAGS+=$flags" "QMAKE_LFLAGS+=$flags" >"$work/log" 2>&1) || fail "$(<"$work/log")"
make -s -C "$work/qmake" >"$work/log" || fail "$(<"$work/log")"
expect "$work/qmake/consumer"
