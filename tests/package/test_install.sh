#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Installs the library into a temporary prefix and builds a program against it,
# with find_package() and with pkg-config, and runs it.
# Usage: test_install.sh SOURCE_DIR BUILD_DIR COMPILER FLAGS

set -euo pipefail
source_dir=$1 build_dir=$2 compiler=$3 flags=${4-}
consumer=$source_dir/tests/package/consumer
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

expect() {
    local output
    output=$("$1" 2>/dev/null)
    [[ "$output" == $'\e[32md41d8cd98f00b204e9800998ecf8427e\e[0m 7109' ]] || {
        printf 'the consumer prints %q\n' "$output"
        exit 1
    }
}

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libZeCore.so.1')")
for link in libZeCore.so libZeCore.so.1 libZeCore.so.1.0.0; do
    [[ -e "$libdir/$link" ]] || { echo "$link is not installed"; exit 1; }
done

echo 'Headers: those of the source tree that are public, in the same folders'
(cd "$source_dir" && find core log singleapp http util files -name '*.h' ! -name '*_p.h' | sort) >"$work/expected"
(cd "$work/prefix/include/ZeCore" && find . -name '*.h' | sed 's|^\./||' | sort) >"$work/installed"
diff "$work/expected" "$work/installed"

echo 'find_package(ZeCore 1)'
cmake -S "$consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$work/prefix" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/cmake" >/dev/null
expect "$work/cmake/consumer"

echo 'find_package(ZeCore 2) finds nothing'
sed 's/ZeCore 1 REQUIRED/ZeCore 2 REQUIRED/' "$consumer/CMakeLists.txt" >"$work/CMakeLists.txt"
cp "$consumer/main.cpp" "$work"
if cmake -S "$work" -B "$work/cmake2" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null 2>&1; then
    echo 'another major version was accepted'
    exit 1
fi

echo 'pkg-config'
export PKG_CONFIG_PATH=$libdir/pkgconfig
[[ "$(pkg-config --modversion ZeCore)" == 1.0.0 ]]
# shellcheck disable=SC2046,SC2086 # lists of flags
"$compiler" $flags -std=c++11 "$consumer/main.cpp" $(pkg-config --cflags --libs ZeCore) -o "$work/consumer"
LD_LIBRARY_PATH=$libdir expect "$work/consumer"
