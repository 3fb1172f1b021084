#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
"""Whether the sources of the library and their headers include what they use.

include-what-you-use, with Qt's headers under the names that we give them. It does not
count what another header is certain to bring along, such as QChar with QString.
Usage: includes.py BUILD_DIRECTORY [SOURCE...], in the directory of the project
"""

import concurrent.futures
import json
import os
import re
import shlex
import subprocess
import sys
import tempfile

# By the header that a source may include instead.
BROUGHT_ALONG = {
    '<QtCore/QString>': ['QChar', 'QLatin1Char', 'QLatin1String', 'QStringLiteral', 'QStringRef',
                         'QByteArray', 'QStringBuilder', 'QLatin1Literal'],
    '<QtCore/QFile>': ['QIODevice', 'QFileDevice'],
    '<QtCore/QJsonDocument>': ['QJsonParseError'],
    '<QtCore/QTextCodec>': ['QTextEncoder', 'QTextDecoder'],
    '<QtCore/QDir>': ['QFileInfo', 'QFileInfoList', 'QList', 'QString'],
    '<QtCore/QObject>': ['QString'],
    '<QtNetwork/QLocalSocket>': ['QIODevice'],
    '<QtNetwork/QNetworkReply>': ['QIODevice'],
    '<QtCore/QStringList>': ['QList', 'QString'],
    '<QtCore/QVariant>': ['QVariantMap', 'QVariantList', 'QMap', 'QList', 'QMetaType'],
    '<QtCore/QDebug>': ['QDebug'],
}
# Macros and functions of Qt that every header of Qt has.
EVERYWHERE = {'<QtCore/QArgument>', '<QtCore/QConstOverload>', '<QtCore/QFlags>',
              '<QtCore/qglobal.h>', '<QtCore/QtGlobal>', '<QtCore/QForeachContainer>',
              '<QtCore/QNonConstOverload>', '<QtCore/QObject>'}
LEFT_OUT = {'<stddef.h>', '<stdint.h>', '<ext/alloc_traits.h>', '<bits/types/struct_timespec.h>',
            '<bits/types/struct_tm.h>', '<QtCore/QInternal>',
            '<type_traits>', '<utility>', '<iterator>', '<cstddef>', '<cstdint>', '<initializer_list>'}


def qt_headers():
    path = subprocess.check_output(['qmake', '-qt=5', '-query', 'QT_INSTALL_HEADERS'],
                                   text=True).strip()
    for module in ('QtCore', 'QtNetwork'):
        directory = os.path.join(path, module)
        for name in sorted(os.listdir(directory)):
            header = os.path.join(directory, name)
            if name[0].isupper() and '.' not in name and os.path.isfile(header):
                with open(header, encoding='utf-8') as file:
                    target = re.match(r'#include "(q\w+\.h)"', file.read())
                if target:
                    yield module, name, target.group(1)


def write_mapping(file):
    lines, names = [], {}
    for module, name, header in qt_headers():
        lines.append(f'{{ symbol: ["{name}", "private", "<{module}/{name}>", "public"] }},')
        names.setdefault((module, header), []).append(name)
    for (module, header), candidates in names.items():
        name = min(candidates, key=lambda name: (name.lower() + '.h' != header, name))
        lines.append(f'{{ include: ["@[\\"<]({module}/)?{header}[\\">]", "private", '
                     f'"<{module}/{name}>", "public"] }},')
    file.write('[\n' + '\n'.join(lines) + '\n]\n')
    file.flush()


def sources(build_directory, wanted):
    with open(os.path.join(build_directory, 'compile_commands.json'), encoding='utf-8') as file:
        for entry in json.load(file):
            words = shlex.split(entry['command'])
            if ('-DZeCore_EXPORTS' in words and '_autogen/' not in entry['file']
                    and (not wanted or any(entry['file'].endswith(name) for name in wanted))):
                first = next(i for i, word in enumerate(words) if word.startswith('-'))
                yield entry['file'], entry['directory'], words[first:]


def suggestions(text):
    """The suggested lines as (file, 'add' or 'remove', header), without declarations."""
    file = kind = None
    for line in text.splitlines():
        heading = re.match(r'(\S+) should (add|remove) these lines:', line)
        header = re.match(r'(?:- )?#include ([<"][^>"]+[>"])', line)
        if heading:
            file, kind = heading.groups()
        elif line.startswith('The full include-list'):
            kind = None
        elif kind and header:
            yield file, kind, header.group(1)


def included_by(path):
    """What the file includes and, for a source, its own header, which comes first."""
    pattern = re.compile(r'^#include ([<"][^>"]+[>"])', re.M)
    with open(path, encoding='utf-8') as file:
        headers = pattern.findall(file.read())
    if path.endswith('.cpp') and headers and headers[0].startswith('"'):
        with open(headers[0].strip('"'), encoding='utf-8') as file:
            headers += pattern.findall(file.read())
    return set(headers)


def counts(file, kind, header):
    if kind == 'remove':
        # A header that programs include brings the types of its members along.
        return file.endswith(('.cpp', '_p.h'))
    included = included_by(file)
    if header in EVERYWHERE or header in LEFT_OUT or header in included:
        return False
    name = header.strip('<>').split('/')[-1]
    return not any(name in names and bringer in included
                   for bringer, names in BROUGHT_ALONG.items())


def check(source, mapping):
    file, directory, words = source
    done = subprocess.run(
        ['include-what-you-use', '-Xiwyu', f'--mapping_file={mapping}', '-Xiwyu', '--cxx17ns',
          '-Wno-error', *words],
        cwd=directory, stderr=subprocess.PIPE, text=True, check=False)
    if done.returncode not in (0, 2):  # older ones end with 2
        sys.exit(f'include-what-you-use fails for {file}:\n{done.stderr}')
    return {line for line in suggestions(done.stderr)
            if os.path.dirname(line[0]) == os.path.dirname(file) and counts(*line)}


def main():
    with tempfile.NamedTemporaryFile('w', suffix='.imp') as mapping:
        write_mapping(mapping)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            found = set().union(*pool.map(lambda source: check(source, mapping.name),
                                          sources(sys.argv[1], sys.argv[2:])))
    for file, kind, header in sorted(found):
        print(f'{os.path.relpath(file)}: {kind} {header}')
    sys.exit(bool(found))


main()
