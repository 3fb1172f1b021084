#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Nothing but the exported classes may leave the library.
# Usage: test_symbols.sh LIBRARY

set -euo pipefail
classes='BaseObject|BaseThread|HttpApi|PublicClass|QtLocalPeer|QtLockedFile|QtSingleCoreApplication|SendGlobalMsg|ZeFileManager|ZeLog'

defined=$(nm -D --defined-only --demangle "$1" | cut -d' ' -f3-)
[[ -n "$defined" ]] || { echo "no symbols in $1"; exit 1; }
strangers=$(grep -vE "^((vtable|typeinfo|typeinfo name|non-virtual thunk) (for|to) )?($classes)(::|\$)" <<<"$defined" || true)
if [[ -n "$strangers" ]]; then
    printf 'These symbols leave the library:\n%s\n' "$strangers"
    exit 1
fi
grep -q NODELETE <(readelf -d "$1") || { echo 'the library may be unloaded'; exit 1; }
