#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# The program in docs/translations.md is the one that is built, and it finds the
# translations where an installation puts them.
# Usage: test_translations_installed.sh SOURCE_DIR BUILD_DIR PROGRAM

set -euo pipefail
source_dir=$1 build_dir=$2 program=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# shellcheck disable=SC2016 # the fences of Markdown
sed -n '/^```cpp$/,/^```$/p' "$source_dir/docs/translations.md" | sed '1d;$d' >"$work/shown"
diff "$work/shown" <(sed '1,/^$/d' "$source_dir/examples/translations/main.cpp")

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
dir=$work/prefix/share/ZeCore/translations
diff <(ls "$dir") - <<<$'zecore_en.qm\nzecore_zh_CN.qm'

# expect TEXT VARIABLE...: what the program prints with these variables.
expect() {
    local text=$1 printed
    shift
    printed=$(env HOME="$work" XDG_DATA_HOME="$work/none" "$@" "$program" 2>/dev/null)
    [[ "$printed" == "$text" ]] || { printf 'with %s: %s\n' "$*" "$printed"; exit 1; }
}
expect '打开文件失败：/no such folder/layout.json' XDG_DATA_DIRS="$work/prefix/share" LANGUAGE=zh_CN
expect 'Open file failed:/no such folder/layout.json' XDG_DATA_DIRS="$work/prefix/share" LANGUAGE=en_GB
expect 'Open file failed:/no such folder/layout.json' XDG_DATA_DIRS="$work/prefix/share" LANGUAGE=fr
expect 'Open file failed:/no such folder/layout.json' XDG_DATA_DIRS="$work/none" LANGUAGE=zh_CN

# The path that the CMake package hands to programs is the same one.
cat >"$work/CMakeLists.txt" <<'TEXT'
cmake_minimum_required(VERSION 3.16)
project(find CXX)
find_package(ZeCore 1 REQUIRED)
message(STATUS "translations=${ZeCore_TRANSLATIONS_DIR}")
TEXT
cmake -S "$work" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/prefix" >"$work/log"
grep -xF -- "-- translations=$dir" "$work/log" || { cat "$work/log"; exit 1; }
