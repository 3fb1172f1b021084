#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
"""Judges what the tests reach of the library's own code.

Prints lines and branches of each source, and fails if the totals are below the
limits or if a line was not run, or a branch of it not taken, that gaps.txt
beside this script does not explain. What gaps.txt explains in vain is named.

Usage: check.py REPORT.json     (the report is gcovr's, made in the sources' directory)
"""

import collections
import json
import pathlib
import re
import sys

GAPS = pathlib.Path(__file__).with_name("gaps.txt")
LINE_LIMIT = 98.0
BRANCH_LIMIT = 90.0

# kind is "line" for one that was not run, else "branch".
Gap = collections.namedtuple("Gap", "file kind function text")
Figures = collections.namedtuple("Figures", "run lines taken branches")


def bare_name(function):
    """"ZeLog::run" of "ZeLog::run()", without namespaces of helpers."""
    name = function.replace("(anonymous namespace)::", "").replace("ZeCore::", "")
    name = re.sub(r"\[abi:\w+\]", "", name)
    name = name.replace("operator()", "lambda")
    template = None
    while template != name:
        template, name = name, re.sub(r"<[^<>]*>", "", name)
    return re.sub(r"\(.*", "", name).split()[-1]


def function_at(functions, number):
    """The function that begins last before the line."""
    above = [(function["lineno"], bare_name(function["name"]))
             for function in functions if function["lineno"] <= number]
    return max(above)[1] if above else "-"


def figures_of(source):
    lines = [line for line in source["lines"] if not line.get("gcovr/noncode")]
    branches = [branch for line in lines for branch in line["branches"]]
    return Figures(sum(line["count"] > 0 for line in lines), len(lines),
                   sum(branch["count"] > 0 for branch in branches), len(branches))


def gaps_of(source):
    """What was not reached, with the line number."""
    text = pathlib.Path(source["file"]).read_text(encoding="utf-8").splitlines()
    gaps = {}
    for line in source["lines"]:
        if line.get("gcovr/noncode"):
            continue
        number = line["line_number"]
        if line["count"] == 0:
            kind = "line"
        elif any(branch["count"] == 0 for branch in line["branches"]):
            kind = "branch"
        else:
            continue
        function = function_at(source["functions"], number)
        gaps.setdefault(Gap(source["file"], kind, function, text[number - 1].strip()), number)
    return gaps


def read_explained():
    """The entries of gaps.txt; each has a reason before it."""
    explained = set()
    file = reason = None
    for number, line in enumerate(GAPS.read_text(encoding="utf-8").splitlines(), 1):
        entry = re.fullmatch(r"(line|branch) (\S+): (.*)", line)
        if line.startswith("== "):
            file, reason = line[3:], None
        elif line.startswith("-- "):
            reason = line[3:]
        elif entry and file and reason:
            explained.add(Gap(file, *entry.groups()))
        elif line and not line.startswith(("#", "   ")):
            sys.exit(f"{GAPS}:{number}: not understood: {line}")
    return explained


def percent(part, whole):
    return 100.0 * part / whole if whole else 100.0


def print_row(name, figures):
    print(f"{name:42} {figures.run:5}/{figures.lines:<5} {percent(figures.run, figures.lines):6.1f}"
          f" {figures.taken:6}/{figures.branches:<5} {percent(figures.taken, figures.branches):6.1f}")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    report = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    sources = sorted(report["files"], key=lambda source: source["file"])

    print(f"{'':42} {'lines':>11} {'%':>6} {'branches':>12} {'%':>6}")
    gaps = {}
    total = Figures(0, 0, 0, 0)
    for source in sources:
        figures = figures_of(source)
        total = Figures(*map(sum, zip(total, figures)))
        print_row(source["file"], figures)
        gaps.update(gaps_of(source))
    print_row("all", total)
    if not total.lines:
        sys.exit(f"{sys.argv[1]} tells of no lines")

    explained = read_explained()
    for gap in sorted(explained - gaps.keys()):
        print(f"reached, though gaps.txt says otherwise: {gap.file}: {gap.function}: {gap.text}")
    new = sorted((gap.file, number, gap) for gap, number in gaps.items() if gap not in explained)
    for file, number, gap in new:
        print(f"{file}:{number}: not reached: {gap.kind} {gap.function}: {gap.text}")

    if (percent(total.run, total.lines) < LINE_LIMIT
            or percent(total.taken, total.branches) < BRANCH_LIMIT):
        sys.exit(f"below the limits: {LINE_LIMIT} % of the lines, {BRANCH_LIMIT} % of the branches")
    if new:
        sys.exit(f"{len(new)} gaps that {GAPS.name} does not explain")


if __name__ == "__main__":
    main()
