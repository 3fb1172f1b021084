#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# The files of the project as they are: new ones too, and none that has been deleted.
# Usage: files.sh [PATTERN...]     prints their names, each with a null byte at its end

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
git ls-files -z --cached --others --exclude-standard -- "$@" \
    | while IFS= read -r -d '' file; do [[ ! -e $file ]] || printf '%s\0' "$file"; done
