#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
"""Compares the instructions of the hot paths with their limits.

Times depend on the machine and on what else runs on it; instructions hardly do.
A path may take a tenth more than its limit in limits.json, since compilers and
C libraries differ. An improvement is made to last with --update.

Usage: check.py [--update] PROGRAM     (the program is zecore_hotpaths)
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

LIMITS = pathlib.Path(__file__).with_name("limits.json")
TOLERANCE = 1.10


def count_instructions(program, path):
    """Instructions that callgrind counts in one run of a path."""
    with tempfile.TemporaryDirectory() as directory:
        log = os.path.join(directory, "log")
        subprocess.run(
            ["valgrind", "--tool=callgrind", "--instr-atstart=no", f"--log-file={log}",
             f"--callgrind-out-file={directory}/out", program, path],
            check=True, env={**os.environ, "LC_ALL": "C.UTF-8", "TZ": "UTC"})
        text = pathlib.Path(log).read_text(encoding="utf-8")
    return int(re.search(r"Collected : (\d+)", text).group(1))


def main():
    arguments = sys.argv[1:]
    update = "--update" in arguments
    programs = [argument for argument in arguments if argument != "--update"]
    if len(programs) != 1:
        sys.exit(__doc__)

    limits = json.loads(LIMITS.read_text(encoding="utf-8"))
    exceeded = []
    for path, limit in limits.items():
        count = count_instructions(programs[0], path)
        print(f"{path:10} {count:12,} instructions, {count / limit:6.3f} of the limit", flush=True)
        if count > limit * TOLERANCE:
            exceeded.append(path)
        if update:
            limits[path] = count
    if update:
        LIMITS.write_text(json.dumps(limits, indent=4) + "\n", encoding="utf-8")
    elif exceeded:
        sys.exit("too many instructions: " + ", ".join(exceeded))


if __name__ == "__main__":
    main()
