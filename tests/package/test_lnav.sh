#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# lnav reads a log of the library with the format that is installed: times, levels,
# operations and messages of several lines. PROGRAM is the logging guide's.
# Usage: test_lnav.sh BUILD_DIR PROGRAM

set -euo pipefail
build_dir=$1 program=$2
command -v lnav >/dev/null || { echo 'lnav is not installed'; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
cp "$program" "$work/program"
"$work/program" 2>/dev/null
log=$(find "$work/appInfo/log" -name 'ZemixPro_*.log')
[[ "$(head -n 1 "$log")" =~ ^\[(..)(..)(..)\ (..)(..)(..\....)\] ]]
stamp="20${BASH_REMATCH[1]}-${BASH_REMATCH[2]}-${BASH_REMATCH[3]}"
stamp+=" ${BASH_REMATCH[4]}:${BASH_REMATCH[5]}:${BASH_REMATCH[6]}"

export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config TMPDIR=$work
mkdir "$HOME"
lnav -i "$work/prefix/share/ZeCore/lnav/zecore.json" >/dev/null

query() { lnav -n -c ";$1" -c ':write-csv-to -' "$log" </dev/null; }

diff - <(query 'SELECT log_level, operation, log_body FROM zecore_log WHERE operation IS NOT NULL') <<'CSV'
log_level,operation,log_body
debug,reportBattery,25.5 V
error,reportBattery,"21.5 V, driving home"
warning,main,"a message of
two lines"
CSV
diff - <(query 'SELECT log_time FROM zecore_log LIMIT 1') <<CSV
log_time
$stamp
CSV
