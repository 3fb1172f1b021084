#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Builds the library a second time, from a copy of the sources in another directory,
# in another place relative to them, at another hour, in another locale and without
# ccache, and compares what both builds install byte by byte.
# Usage: reproducible.sh BUILD_DIR
# BUILD_DIR is the first build, that of the release preset.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build_dir=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cached() { sed -n "s/^$1:[A-Z]*=//p" "$build_dir/CMakeCache.txt"; }

mkdir -p "$work/a/copy/of/the/sources"
tools/files.sh | xargs -0 cp --parents -t "$work/a/copy/of/the/sources"
export CCACHE_DISABLE=1 TZ=Asia/Shanghai LC_ALL=C
cmake -S "$work/a/copy/of/the/sources" -B "$work/second" -G "$(cached CMAKE_GENERATOR)" \
    -DCMAKE_BUILD_TYPE="$(cached CMAKE_BUILD_TYPE)" -DCMAKE_CXX_COMPILER="$(cached CMAKE_CXX_COMPILER)" \
    -DZECORE_STRICT_WARNINGS="$(cached ZECORE_STRICT_WARNINGS)" \
    -DZECORE_BUILD_TESTS=OFF -DZECORE_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$work/second" --parallel "$(nproc)" >/dev/null

DESTDIR=$work/installed.1 cmake --install "$build_dir" --prefix /usr >/dev/null
DESTDIR=$work/installed.2 cmake --install "$work/second" --prefix /usr >/dev/null
(cd "$work/installed.1" && find . -printf '%p %M %l\n' | sort) >"$work/list.1"
(cd "$work/installed.2" && find . -printf '%p %M %l\n' | sort) >"$work/list.2"
diff "$work/list.1" "$work/list.2"
diff -r "$work/installed.1" "$work/installed.2" || {
    echo 'Two builds differ. diffoscope shows where.'
    exit 1
}
echo "$(grep -c ' -' "$work/list.1") installed files, the same bytes from both builds:"
(cd "$work/installed.1" && find . -name 'libZeCore.so.*.*.*' -exec sha256sum {} +)
