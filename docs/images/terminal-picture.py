#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
"""Runs a program on a terminal of its own and draws what it leaves on the screen.

Usage: terminal-picture.py [--from TEXT] [--title TITLE] OUTPUT.svg PROGRAM [ARGUMENT...]

With --from the picture begins at the first line that contains TEXT. Known are the
sequences that our programs use: colours, carriage return and "erase to the end".
"""

import argparse
import fcntl
import os
import pty
import re
import struct
import sys
import termios
import unicodedata
from xml.sax.saxutils import escape

COLUMNS = 100
FONT_SIZE = 14
CELL_WIDTH = 8.43  # 0.602 em, as in most fixed-width fonts
LINE_HEIGHT = 19
MARGIN = 16
TITLE_HEIGHT = 34

BACKGROUND, TITLE_BAR, TEXT = "#1c2128", "#2d333b", "#d5dbe3"
COLOURS = {31: "#f47067", 32: "#7ac47f", 33: "#e0b252", 36: "#5cc8d7"}
DIM = "#7d8794"

TOKEN = re.compile(r"\x1b\[([0-9;]*)([A-Za-z])|(\r)|(\n)|([^\x1b\r\n]+)")


def run(command):
    """The program's output on a terminal, and its exit status."""
    child, terminal = pty.fork()
    if child == 0:
        os.environ["TERM"] = "xterm"
        os.environ["LC_ALL"] = "C.UTF-8"
        os.execv(command[0], command)
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 50, COLUMNS, 0, 0))
    output = b""
    while True:
        try:
            chunk = os.read(terminal, 65536)
        except OSError:  # Linux: the other end is closed
            break
        if not chunk:
            break
        output += chunk
    os.close(terminal)
    return output.decode(), os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


def width(character):
    return 2 if unicodedata.east_asian_width(character) in "WF" else 1


def screen(output):
    """Lines of cells: (character, style), where a style is a set of SGR numbers."""
    lines, column, style = [[]], 0, frozenset()
    for match in TOKEN.finditer(output):
        codes, kind, carriage_return, line_feed, text = match.groups()
        if kind == "m":
            numbers = frozenset(int(code) for code in codes.split(";") if code)
            style = numbers if not numbers or 0 in numbers else style | numbers
            style -= {0}
        elif kind == "K":
            del lines[-1][column:]
        elif kind:
            sys.exit(f"unknown sequence {match.group()!r}")
        elif carriage_return:
            column = 0
        elif line_feed:
            lines.append([])
            column = 0
        else:
            cells = [(character, style) for character in text]
            lines[-1][column:column + len(cells)] = cells
            column += len(cells)
    return lines


def runs(line):
    """Neighbours of one style and one width: (start column, columns, text, style)."""
    result, column = [], 0
    for character, style in line:
        cells = width(character)
        if result and result[-1][3] == style and result[-1][4] == cells:
            start, columns, text, _, _ = result.pop()
            result.append((start, columns + cells, text + character, style, cells))
        else:
            result.append((column, cells, character, style, cells))
        column += cells
    return result


def draw(lines, title):
    picture_width = 2 * MARGIN + COLUMNS * CELL_WIDTH
    height = TITLE_HEIGHT + 2 * MARGIN + len(lines) * LINE_HEIGHT
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" width="{picture_width:.0f}" '
           f'height="{height}" viewBox="0 0 {picture_width:.0f} {height}" role="img">')
    # Split, for these lines speak of the picture and not of this file.
    yield "<!-- SPDX" "-FileCopyrightText: 2026 The libZeCore authors -->"
    yield "<!-- SPDX" "-License-Identifier: LGPL-3.0-or-later -->"
    yield f"<title>{escape(title)}</title>"
    yield f'<rect width="100%" height="100%" rx="8" fill="{BACKGROUND}"/>'
    yield (f'<path d="M0 {TITLE_HEIGHT}V8a8 8 0 0 1 8-8H{picture_width - 8:.0f}'
           f'a8 8 0 0 1 8 8V{TITLE_HEIGHT}z" fill="{TITLE_BAR}"/>')
    for index, colour in enumerate(("#f47067", "#e0b252", "#7ac47f")):
        yield f'<circle cx="{20 + 20 * index}" cy="{TITLE_HEIGHT / 2:.0f}" r="6" fill="{colour}"/>'
    yield ('<g font-family="DejaVu Sans Mono, Menlo, Consolas, Noto Sans Mono CJK SC, monospace" '
           f'font-size="{FONT_SIZE}" fill="{TEXT}" xml:space="preserve">')
    yield (f'<text x="{picture_width / 2:.0f}" y="22" text-anchor="middle" '
           f'fill="{DIM}">{escape(title)}</text>')
    for number, line in enumerate(lines):
        y = TITLE_HEIGHT + MARGIN + number * LINE_HEIGHT + FONT_SIZE
        for column, columns, text, style, _ in runs(line):
            if not text.strip():
                continue
            look = "".join(f' fill="{COLOURS[code]}"' for code in style if code in COLOURS)
            look += f' fill="{DIM}"' if 2 in style else ""
            look += ' font-weight="bold"' if 1 in style else ""
            yield (f'<text x="{MARGIN + column * CELL_WIDTH:.1f}" y="{y}" '
                   f'textLength="{columns * CELL_WIDTH:.1f}"{look}>{escape(text)}</text>')
    yield "</g>"
    yield "</svg>"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--from", dest="first", default="")
    parser.add_argument("--title", default="")
    parser.add_argument("output")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    arguments = parser.parse_args()

    output, status = run(arguments.command)
    if status != 0:
        sys.exit(f"{output}\n{arguments.command[0]} ended with {status}")
    lines = screen(output)
    texts = ["".join(character for character, _ in line) for line in lines]
    first = next((i for i, text in enumerate(texts) if arguments.first in text), None)
    if first is None:
        sys.exit(f"no line contains {arguments.first!r}")
    last = max(i for i, text in enumerate(texts) if text)
    with open(arguments.output, "w", encoding="utf-8") as file:
        file.write("\n".join(draw(lines[first:last + 1], arguments.title)) + "\n")


main()
