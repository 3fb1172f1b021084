#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# The documents hold together: links lead somewhere, every document can be found,
# and each diagram was drawn from its present source (./dev docs draws it).
# Usage: test_docs.sh SOURCE_DIR

set -euo pipefail
cd "$1"
failures=0

complain() {
    printf '%s\n' "$*"
    failures=$((failures + 1))
}

# GitHub's rule: lower case, blanks to dashes, punctuation dropped.
anchors() {
    sed -n 's/^##* //p' "$1" | tr '[:upper:]' '[:lower:]' | sed 's/[^[:alnum:] _-]//g; s/ /-/g'
}

# The targets of the links outside of code blocks, without those to other hosts.
links() {
    # shellcheck disable=SC2016 # the fences of Markdown
    sed '/^ *```/,/^ *```/d' "$1" | grep -oE '\]\([^)]+\)' | sed 's/^](//; s/[ )].*$//' |
        grep -vE '^[a-z]+:' || true
}

for document in *.md docs/*.md; do
    while IFS= read -r link; do
        path=${link%%#*} anchor=${link#"${link%%#*}"}
        target=$document
        [[ -z $path ]] || target=$(dirname "$document")/$path
        if [[ ! -e $target ]]; then
            complain "$document: $link leads nowhere"
        elif [[ -n $anchor ]] && ! grep -qxF -e "${anchor#\#}" <(anchors "$target"); then
            complain "$document: $target has no heading $anchor"
        fi
    done < <(links "$document")
done

for document in docs/*.md; do
    [[ $document == docs/README.md ]] ||
        grep -qF -e "](${document#docs/}" -e "]($document" README.md docs/README.md ||
        complain "neither README.md nor docs/README.md leads to $document"
done

for source in docs/diagrams/*.dot; do
    grep -qs "$(sha256sum <"$source" | cut -c 1-64)" "${source%.dot}.svg" ||
        complain "${source%.dot}.svg is older than its source"
done

[[ $failures == 0 ]]
