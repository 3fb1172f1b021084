#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Installs the library below DESTDIR, as packagers do, moves the tree elsewhere,
# and builds and runs the consumers against it there.
# Usage: test_relocated.sh SOURCE_DIR BUILD_DIR COMPILER

set -euo pipefail
source_dir=$1 build_dir=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

DESTDIR=$work/stage cmake --install "$build_dir" --prefix /opt/zecore >/dev/null
outside=$(find "$work/stage" ! -type d ! -path "$work/stage/opt/zecore/*")
[[ -z "$outside" ]] || { printf 'installed outside the prefix:\n%s\n' "$outside"; exit 1; }
mv "$work/stage/opt/zecore" "$work/elsewhere"

"$(dirname "$0")/run_consumers.sh" "$source_dir" "$work/elsewhere" "$compiler"
