#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
"""Writes the tables and plots of docs/performance.md from the figures of a run.

The page is text but for what stands between "<!-- begin NAME -->" and
"<!-- end NAME -->": the conditions, the table of the comparisons and the plots.

Usage: report.py FIGURES.json DOCS_DIRECTORY
"""

import html
import json
import math
import pathlib
import re
import sys

# Plot: title, x axis, y axis, whether y is what one thing of the x axis takes.
PLOTS = {
    "threads": ("A line on disk, by the number of threads that log", "threads", "one line"),
    "line-length": ("The handler, by the length of the line", "characters", "one line"),
    "collect": ("Collecting the files of a tree", "files", "the whole tree"),
    "copy": ("Copying a tree of files of 4 KiB (tmpfs)", "files", "the whole tree"),
    "message": ("A message with acknowledgement, by its size", "bytes", "one message"),
    "body": ("getUrl(), by the size of the body", "bytes", "one request"),
}
COLORS = ["#0b6e99", "#d9730d", "#6940a5", "#448361", "#787774"]
WIDTH, HEIGHT = 720, 420
LEFT, RIGHT, TOP, BOTTOM = 80, 190, 48, 56


def number(value):
    """A short form of a count or a size."""
    for limit, unit in ((1 << 20, " Mi"), (1 << 10, " Ki")):
        if value >= limit and value % limit == 0:
            return f"{value // limit:.0f}{unit}"
    return f"{value:,.0f}"


def duration(nanoseconds):
    """A short form of a time."""
    for limit, unit in ((1e9, "s"), (1e6, "ms"), (1e3, "µs")):
        if nanoseconds >= limit:
            return f"{nanoseconds / limit:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


class Axis:
    """A logarithmic axis. Zero has its place one step below the smallest value."""

    def __init__(self, values, start, end):
        self.smallest = min(value for value in values if value > 0)
        self.has_zero = min(values) <= 0
        low = self.position_of(min(values))
        high = self.position_of(max(values))
        self.start, self.scale = start, (end - start) / ((high - low) or 1)
        self.low = low

    def position_of(self, value):
        return math.log10(value) if value > 0 else math.log10(self.smallest) - 0.6

    def __call__(self, value):
        return self.start + (self.position_of(value) - self.low) * self.scale


def powers_of_ten(values):
    low = math.floor(math.log10(min(values)))
    high = math.ceil(math.log10(max(values)))
    return [10.0 ** exponent for exponent in range(low, high + 1)]


def plot(name, points):
    """One SVG: points is {contestant: [(x, nanoseconds), ...]}."""
    title, x_name, y_name = PLOTS[name]
    xs = sorted({x for series in points.values() for x, _ in series})
    ticks = powers_of_ten([y for series in points.values() for _, y in series])
    to_x = Axis(xs, LEFT, WIDTH - RIGHT)
    to_y = Axis(ticks, HEIGHT - BOTTOM, TOP)
    out = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}"'
        f' viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="12">',
        f'<title>{html.escape(title)}</title>',
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
        f'<text x="{LEFT}" y="24" font-size="15">{html.escape(title)}</text>',
    ]
    for tick in ticks:
        y = to_y(tick)
        out.append(f'<line x1="{LEFT}" y1="{y:.1f}" x2="{WIDTH - RIGHT}" y2="{y:.1f}" stroke="#ddd"/>')
        out.append(f'<text x="{LEFT - 8}" y="{y + 4:.1f}" text-anchor="end">{duration(tick)}</text>')
    for x in xs:
        out.append(f'<text x="{to_x(x):.1f}" y="{HEIGHT - BOTTOM + 18}" text-anchor="middle">{number(x)}</text>')
    out.append(f'<text x="{(LEFT + WIDTH - RIGHT) / 2:.0f}" y="{HEIGHT - 14}" text-anchor="middle">{x_name}</text>')
    out.append(f'<text x="16" y="{HEIGHT / 2:.0f}" text-anchor="middle"'
               f' transform="rotate(-90 16 {HEIGHT / 2:.0f})">{y_name}</text>')
    for index, (contestant, series) in enumerate(points.items()):
        color = COLORS[index % len(COLORS)]
        places = [(to_x(x), to_y(y)) for x, y in sorted(series)]
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
        out.append(f'<polyline points="{path}" fill="none" stroke="{color}" stroke-width="2"/>')
        out.extend(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{color}"/>' for x, y in places)
        y = TOP + 16 + 20 * index
        out.append(f'<rect x="{WIDTH - RIGHT + 16}" y="{y - 9}" width="12" height="12" fill="{color}"/>')
        out.append(f'<text x="{WIDTH - RIGHT + 34}" y="{y + 2}">{html.escape(contestant)}</text>')
    out.append("</svg>")
    return "\n".join(out) + "\n"


def plots(cases, directory):
    """Draws all plots into a directory; returns the text that shows them."""
    found = {}
    for case in cases:
        if "plot" in case:
            series = found.setdefault(case["plot"], {})
            for contestant in case["contestants"]:
                if "error" not in contestant:
                    series.setdefault(contestant["name"], []).append((case["x"], contestant["median"]))
    text = []
    for name in (name for name in PLOTS if name in found):
        file = directory / f"{name}.svg"
        file.write_text(plot(name, found[name]), encoding="utf-8")
        text.append(f"![{PLOTS[name][0]}]({directory.name}/{file.name})")
    return "\n\n".join(text)


def ratio_text(ratio):
    return f"{ratio:.5f}" if ratio < 0.01 else f"{ratio:.3f}"


def goal_text(contestant):
    if "goal" not in contestant:
        return ""
    state = "reached" if contestant["reached"] else "**not reached**"
    return f"≤ {contestant['goal']:g}, {state}"


def table(cases):
    """The comparisons as Markdown."""
    rows = ["| case | against | theirs | ours | ours / theirs | goal |", "|---|---|---:|---:|---:|---|"]
    for case in cases:
        if "plot" in case:
            continue
        ours, *others = case["contestants"]
        for index, other in enumerate(others):
            title = case["title"] if index == 0 else ""
            if "error" in other:
                rows.append(f"| {title} | {other['name']} | failed: {other['error']} | | | |")
                continue
            rows.append(f"| {title} | {other['name']} | {other['text']} | {ours['text']} |"
                        f" {ratio_text(other['ratio'])} | {goal_text(other)} |")
    return "\n".join(rows)


def conditions(values):
    """Where and when the figures were taken, as Markdown."""
    return "\n".join([
        f"- {values['processors']} processors ({values['processor']}), memory {values['memory']}",
        f"- {values['system']}, Linux {values['kernel']}, glibc {values['libc']}",
        f"- Qt {values['qt']}, GCC {values['compiler']}, RelWithDebInfo",
        f"- {values['date']}, load average {values['load']:.2f} at the end",
    ])


def replace(page, name, text):
    pattern = re.compile(rf"(<!-- begin {name} -->\n).*?(<!-- end {name} -->)", re.DOTALL)
    page, count = pattern.subn(lambda match: f"{match.group(1)}{text}\n{match.group(2)}", page)
    if count != 1:
        sys.exit(f"no place for {name} in the page")
    return page


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    figures = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    docs = pathlib.Path(sys.argv[2])
    directory = docs / "performance"
    directory.mkdir(exist_ok=True)
    page = (docs / "performance.md").read_text(encoding="utf-8")
    page = replace(page, "conditions", conditions(figures["conditions"]))
    page = replace(page, "table", table(figures["cases"]))
    page = replace(page, "plots", plots(figures["cases"], directory))
    (docs / "performance.md").write_text(page, encoding="utf-8")


if __name__ == "__main__":
    main()
