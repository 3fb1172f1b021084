#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
"""Writes down the binary interface of a libZeCore.so with debug information.

Usage: abi_dump.py LIBRARY HEADERS_DIR OUTPUT_DIR

OUTPUT_DIR/symbols.txt lists the exported symbols; OUTPUT_DIR/classes.txt the size,
fields and enumerations of the exported classes (as abidw reads them from the debug
information) and the slots of their virtual tables (as the dynamic linker fills them).
"""

import pathlib
import re
import subprocess
import sys
import xml.etree.ElementTree as ElementTree


def run(*command, text=None):
    return subprocess.run(command, input=text, check=True, stdout=subprocess.PIPE,
                          universal_newlines=True).stdout


def demangled(names):
    return dict(zip(names, run("c++filt", text="".join(f"{n}\n" for n in names)).splitlines()))


def symbols_text(library):
    """One line per exported symbol; objects with their size, which copy relocations keep."""
    rows = []
    for line in run("nm", "-DS", "--defined-only", "-f", "posix", library).splitlines():
        name, kind, _, *size = line.split()
        is_object = kind in "BDGRSV"
        rows.append((name, f"object of {int(size[0], 16)} bytes" if is_object else "function"))
    readable = demangled([name for name, _ in rows])
    return "".join(f"{name}  {what}  {readable[name]}\n" for name, what in sorted(rows))


def inner_symbols(library):
    """Address -> name of the functions that the library keeps to itself."""
    rows = (line.split() for line in run("nm", "--defined-only", "-f", "posix", library).splitlines())
    return {int(row[2], 16): row[0] for row in rows if row[1] in "tw"}


def virtual_tables(library):
    """Class name -> its slots in order, behind the offset to the top and the type's data."""
    tables = {}
    for line in run("nm", "-DS", "--defined-only", "-f", "posix", library).splitlines():
        name, _, address, *size = line.split()
        if name.startswith("_ZTV"):
            tables[name] = (int(address, 16), int(size[0], 16))
    inner = inner_symbols(library)
    relocations = []
    for line in run("readelf", "-rW", library).splitlines():
        match = re.match(r"([0-9a-f]{16})\s+\S+\s+R_X86_64_(64|RELATIVE)\s+(?:\S+\s+(\S+) \+ 0|(\S+))$",
                         line)
        if match and (match[3] or int(match[4], 16) in inner):
            name = match[3].split("@")[0] if match[3] else inner[int(match[4], 16)]
            relocations.append((int(match[1], 16), name, not match[3]))
    readable = demangled([name for _, name, _ in relocations])
    result = {}
    for table, (start, size) in tables.items():
        filled = {(at - start) // 8: (name, is_inner) for at, name, is_inner in relocations
                  if start <= at < start + size}
        slots = []
        for index in range(2, size // 8):
            name, is_inner = filled[index]
            slots.append(readable[name] + (", which frees the memory" if "D0Ev" in name else "")
                         + (", not exported" if is_inner else ""))
        result[demangled([table])[table].replace("vtable for ", "")] = slots
    return result


class TypeNames:
    """Names of the types in abidw's output."""

    def __init__(self, root):
        self.by_id = {element.get("id"): element for element in root.iter() if element.get("id")}

    def of(self, type_id):
        element = self.by_id[type_id]
        if element.tag == "qualified-type-def":
            name = self.of(element.get("type-id"))
            return f"{name} const" if element.get("const") == "yes" else name
        if element.tag == "pointer-type-def":
            return self.of(element.get("type-id")) + "*"
        if element.tag == "reference-type-def":
            return self.of(element.get("type-id")) + "&"
        return element.get("name", element.tag)


def bytes_of(element, attribute):
    return int(element.get(attribute, "0")) // 8


def class_lines(element, names, slots):
    yield f"class {element.get('name')}: {bytes_of(element, 'size-in-bits')} bytes"
    for base in element.findall("base-class"):
        yield f"  base at {bytes_of(base, 'layout-offset-in-bits')}: {names.of(base.get('type-id'))}"
    for member in element.findall("data-member"):
        variable = member.find("var-decl")
        if member.get("static") != "yes":
            yield (f"  field at {bytes_of(member, 'layout-offset-in-bits')}: {variable.get('name')},"
                   f" {names.of(variable.get('type-id'))}, {member.get('access')}")
    for enumeration in element.findall("member-type/enum-decl"):
        size = bytes_of(names.by_id[enumeration.find("underlying-type").get("type-id")],
                        "size-in-bits")
        yield f"  enum {enumeration.get('name')}: {size} bytes"
        for value in enumeration.findall("enumerator"):
            yield f"    {value.get('name')} = {value.get('value')}"
    for index, slot in enumerate(slots):
        yield f"  virtual {index}: {slot}"


def classes_text(library, headers):
    wanted = set()
    for header in pathlib.Path(headers).rglob("*.h"):
        wanted.update(re.findall(r"^class ZECORE_EXPORT (\w+)", header.read_text(), re.MULTILINE))
    root = ElementTree.fromstring(run("abidw", "--no-show-locs", "--no-corpus-path",
                                      "--no-comp-dir-path", "--headers-dir", headers, library))
    names = TypeNames(root)
    # A class is described in each of the library's sources that use it, more or less fully.
    fullest = {}
    for unit in root.iter("abi-instr"):
        for element in unit.findall("class-decl"):
            name = element.get("name")
            if name in wanted and len(element) > len(fullest.get(name, ())):
                fullest[name] = element
    missing = wanted - set(fullest)
    if missing:
        sys.exit(f"abi_dump: no debug information about {', '.join(sorted(missing))} in {library}")
    tables = virtual_tables(library)
    return "\n".join("".join(f"{line}\n" for line in
                             class_lines(fullest[name], names, tables.get(name, ())))
                     for name in sorted(wanted))


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    library, headers, output = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    output.mkdir(parents=True, exist_ok=True)
    (output / "symbols.txt").write_text(symbols_text(library))
    (output / "classes.txt").write_text(classes_text(library, headers))


if __name__ == "__main__":
    main()
