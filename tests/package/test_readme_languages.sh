#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# README.zh_CN.md keeps in step with README.md: the same headings, tables and code
# in the same order, and in each section the same names, commands and links.
# Usage: test_readme_languages.sh SOURCE_DIR

set -euo pipefail
cd "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# What has an order: levels of headings, list items, rows of tables, code as it is.
skeleton() {
    awk '
        /^```/     { fenced = !fenced; print; next }
        fenced     { print; next }
        /^    /    { print; next }
        /^#+ /     { print "heading of level " length($1); next }
        /^- /      { print "list item"; next }
        /^\|/      { print "row of " gsub(/\|/, "") - 1 " cells"; next }
    ' "$1"
}

# What another language puts in another order: code spans and targets of links.
names() {
    awk '
        /^```/ { fenced = !fenced }
        fenced { next }
        /^#+ / { ++section }
        {
            line = $0
            while (match(line, /`[^`]+`|\]\([^)]*\)/)) {
                name = substr(line, RSTART, RLENGTH)
                line = substr(line, RSTART + RLENGTH)
                # Each file links to the other one.
                if (name !~ /\]\(README\.?[a-zA-Z_]*\.md\)/)
                    print "section " section ": " name
            }
        }
    ' "$1" | LC_ALL=C sort
}

for aspect in skeleton names; do
    for language in '' .zh_CN; do
        "$aspect" "README$language.md" >"$work/$aspect$language"
        [[ -s $work/$aspect$language ]] || { echo "README$language.md has no $aspect"; exit 1; }
    done
    diff -u "$work/$aspect" "$work/$aspect.zh_CN" \
        || { echo "README.zh_CN.md does not keep in step with README.md"; exit 1; }
done
