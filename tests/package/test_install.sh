#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Installs the library into a temporary prefix, looks at what is there, and builds
# and runs the consumers against it.
# Usage: test_install.sh SOURCE_DIR BUILD_DIR COMPILER FLAGS

set -euo pipefail
source_dir=$1 build_dir=$2 compiler=$3 flags=${4-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libZeCore.so.1')")
for link in libZeCore.so libZeCore.so.1 libZeCore.so.1.0.0; do
    [[ -e "$libdir/$link" ]] || { echo "$link is not installed"; exit 1; }
done

echo 'Headers: those of the source tree that are public, in the same folders'
(cd "$source_dir" && find core log singleapp http util files -name '*.h' ! -name '*_p.h' | sort) >"$work/expected"
(cd "$work/prefix/include/ZeCore" && find . -name '*.h' | sed 's|^\./||' | sort) >"$work/installed"
diff "$work/expected" "$work/installed"

echo 'Nothing of the build or of the source tree is named in what is installed'
if grep -rIlF -e "$build_dir" -e "$source_dir" "$work/prefix"; then exit 1; fi

"$(dirname "$0")/run_consumers.sh" "$source_dir" "$work/prefix" "$compiler" "$flags"
