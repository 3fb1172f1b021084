#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
"""GCC's -fanalyzer on the sources of the library, as they are compiled.

Usage: gcc_analyzer.py BUILD_DIRECTORY
"""

import json
import os
import shlex
import subprocess
import sys

# Its C++ is in the making (GCC 12): it knows neither new, exceptions nor destructors.
LEFT_OUT = {
    '-Wno-analyzer-use-of-uninitialized-value': 'takes returned objects of classes for raw memory',
    '-Wno-analyzer-possible-null-argument': 'new throws and gives no null',
    '-Wno-analyzer-possible-null-dereference': 'likewise',
    '-Wno-analyzer-malloc-leak': 'takes what a static keeps for lost; nothing here calls malloc()',
}


def commands(build_directory):
    with open(os.path.join(build_directory, 'compile_commands.json'), encoding='utf-8') as file:
        for entry in json.load(file):
            words = shlex.split(entry['command'])
            if '-DZeCore_EXPORTS' in words and '_autogen/' not in entry['file']:
                yield entry, words


def analyze(entry, words):
    """The warnings; they are errors, as in every build of the maintainers."""
    words = words[next(i for i, word in enumerate(words) if word.startswith('-')):]
    words[words.index('-o') + 1] = '/dev/null'
    command = ['g++', *words, '-fanalyzer', *LEFT_OUT]
    done = subprocess.run(command, cwd=entry['directory'], stderr=subprocess.PIPE, text=True,
                          check=False)
    return done.returncode, done.stderr


def main():
    failures = 0
    wanted = sys.argv[2:]
    for entry, words in commands(sys.argv[1]):
        if wanted and not any(entry['file'].endswith(name) for name in wanted):
            continue
        code, text = analyze(entry, words)
        sys.stdout.write(text)
        failures += code != 0
    sys.exit(failures != 0)


main()
