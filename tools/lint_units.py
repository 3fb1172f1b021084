#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
"""Puts sources together into few translation units for the static checks.

Nearly all the time of a check goes into the headers of Qt, and every source includes
them. A unit includes several sources, so its headers are read and walked once. Programs
with a main() of their own (tests, examples) get a namespace each, and their headers come
first, outside of it. Sources that define the same names are kept apart, as well as this
can tell without a compiler; whoever checks a unit that does not compile has to check its
sources one by one, which its list NAME.sources names.

Usage: lint_units.py DIRECTORY BUILD_DIRECTORY...    in the directory of the project
Writes the units, and DIRECTORY/compile_commands.json for them and all sources.
"""

import json
import os
import re
import shlex
import shutil
import subprocess
import sys

MOST_SOURCES = 8
MOST_LINES = 2500

WHAT_MOC_INCLUDES = ('<memory>', '<QtCore/qbytearray.h>', '<QtCore/qmetatype.h>', '<QtCore/QList>')
INCLUDE = re.compile(r'^#include ([<"])([^>"]+)[>"]', re.M)
# Names that begin a definition in the first column, as the formatting has it.
DEFINITIONS = [
    re.compile(r'^(?:class|struct|union|enum class|enum) (\w+)(?!\w|;)', re.M),
    re.compile(r'^\w[\w:<>,&* ]*[ &*](\w+)\(', re.M),
    re.compile(r'^(?:static|constexpr|const) .*?[ &*](\w+)(?:\[\])?(?: =|\{|;|\()', re.M),
    re.compile(r'^\w+ (s_\w+)', re.M),
    re.compile(r'^void Fuzz::(runTarget)', re.M),
    re.compile(r'^#define (\w+)', re.M),
]


class Source:
    def __init__(self, entry):
        self.entry = entry
        self.path = os.path.realpath(os.path.join(entry['directory'], entry['file']))
        with open(self.path, encoding='utf-8') as file:
            self.text = file.read()
        self.lines = self.text.count('\n')
        has_main = re.search(r'^(int main\(|QTEST_|.* LLVMFuzzerTestOneInput\()', self.text, re.M)
        must_be_outside = re.search(r'^(namespace \w|Q_DECLARE_|extern "C")', self.text, re.M)
        self.is_program = bool(has_main and not must_be_outside)
        self.names = {name for pattern in DEFINITIONS for name in pattern.findall(self.text)}
        if has_main:
            self.names.add('main')
        self.read_flags(entry)

    def read_flags(self, entry):
        words = shlex.split(entry['command'])
        words = words[next(i for i, word in enumerate(words) if word.startswith('-')):]
        self.includes, self.flags = [], []
        words = iter(words)
        for word in words:
            if word in ('-o', '-c', '-MF', '-MT'):
                next(words)
            elif word in ('-isystem', '-I'):
                self.includes.append((word, next(words)))
            elif word.startswith('-I'):
                self.includes.append(('-I', word[2:]))
            elif not word.startswith('-M'):
                self.flags.append(word)

    def headers(self):
        """Its headers as another file can include them, without what moc makes."""
        for mark, name in INCLUDE.findall(self.text):
            beside = os.path.join(os.path.dirname(self.path), name)
            if name.endswith('.moc'):
                continue
            if mark == '"':
                yield f'"{beside if os.path.exists(beside) else name}"'
            else:
                yield f'<{name}>'

    def fits(self, unit):
        first = unit[0]
        return (self.is_program == first.is_program and self.flags == first.flags
                and len(unit) < MOST_SOURCES
                and sum(source.lines for source in unit) + self.lines <= MOST_LINES
                and (self.is_program or all(not self.names & source.names for source in unit)))


def all_sources():
    files = subprocess.check_output(['tools/files.sh', '*.cpp'], text=True).split('\0')
    return {os.path.realpath(file) for file in files if file}


def sources_of(build_directories):
    wanted = all_sources()
    for directory in build_directories:
        with open(os.path.join(directory, 'compile_commands.json'), encoding='utf-8') as file:
            for entry in json.load(file):
                source = os.path.realpath(os.path.join(entry['directory'], entry['file']))
                if source in wanted:
                    wanted.remove(source)
                    yield Source(entry)
    # Not built here: samples of other projects, tools for other machines.
    for path in sorted(wanted):
        yield Source({**entry, 'file': path})


def grouped(sources):
    units = []
    for source in sorted(sources, key=lambda source: source.path):
        unit = next((unit for unit in units if source.fits(unit)), None)
        if unit:
            unit.append(source)
        else:
            units.append([source])
    # The longest first, so that all processors are busy to the end.
    return sorted(units, key=lambda unit: -sum(source.lines for source in unit))


def text_of(unit):
    if not unit[0].is_program:
        return ''.join(f'#include "{source.path}" // NOLINT\n' for source in unit)
    headers = dict.fromkeys(header for source in unit for header in source.headers())
    headers.update(dict.fromkeys(WHAT_MOC_INCLUDES))
    lines = [f'#include {header}' for header in headers]
    for number, source in enumerate(unit):
        lines += [f'namespace program{number} {{', f'#include "{source.path}" // NOLINT', '}']
    return '\n'.join(lines) + '\n'


def write(directory, name, content):
    with open(os.path.join(directory, name), 'w', encoding='utf-8') as file:
        file.write(content)


def main():
    directory = os.path.abspath(sys.argv[1])
    shutil.rmtree(directory, ignore_errors=True)
    os.makedirs(directory)
    commands = []
    for number, unit in enumerate(grouped(sources_of(sys.argv[2:]))):
        name = f'unit{number:02}'
        write(directory, name + '.cpp', text_of(unit))
        write(directory, name + '.sources', ''.join(source.path + '\n' for source in unit))
        includes = dict.fromkeys(include for source in unit for include in source.includes)
        arguments = ['c++', *unit[0].flags]
        arguments += [word for include in includes for word in include]
        path = os.path.join(directory, name + '.cpp')
        commands.append({'directory': directory, 'file': path,
                         'arguments': [*arguments, '-c', path]})
        commands += [source.entry for source in unit]
    write(directory, 'compile_commands.json', json.dumps(commands, indent=1))


main()
