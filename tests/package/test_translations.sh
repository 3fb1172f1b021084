#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# The translations hold exactly the translatable texts of the sources, and every
# one of them is translated.
# Usage: test_translations.sh SOURCE_DIR LUPDATE

set -euo pipefail
source_dir=$1 lupdate=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$source_dir"

for file in translations/*.ts; do
    copy=$work/$(basename "$file")
    cp "$file" "$copy"
    "$lupdate" -silent -locations none -no-obsolete -I . \
        core files http log singleapp util -ts "$copy"
    diff -u "$file" "$copy" || { echo "$file is out of date: ./dev translations"; exit 1; }
    if grep -n 'type="unfinished"' "$file"; then
        echo "$file is not complete"
        exit 1
    fi
done
