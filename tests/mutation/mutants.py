# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
"""Finds what can be changed in a C++ source, a small thing at a time.

It knows tokens, not C++: what it proposes need not compile. It leaves alone what
does nothing by itself: comments, preprocessor lines, declarations, static assertions.
"""

import collections
import re

# A change of text[start:end] into replacement. kind groups alike ones.
Mutant = collections.namedtuple("Mutant", "file kind start end replacement")

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#(?:[^\n\\]|\\.)*(?:\n(?<=\\\n)[^\n]*)*)
  | (?P<text>u?"(?:[^"\\\n]|\\.)*")
  | (?P<character>u?'(?:[^'\\\n]|\\.)+')
  | (?P<number>\b(?:0[xX][0-9a-fA-F]+|\d+(?:\.\d+)?)[uUlLfF]*\b)
  | (?P<name>[A-Za-z_]\w*)
  | (?P<operator><<=|>>=|\+\+|--|->|::|==|!=|<=|>=|&&|\|\||\+=|-=|\*=|/=|%=|&=|\|=|<<|>>|[^\s\w])
""", re.VERBOSE | re.MULTILINE | re.DOTALL)

Token = collections.namedtuple("Token", "type text start end")

# Between blanks only: elsewhere "<" may be a template's, and "*" a pointer's.
SWAPS = {
    "comparison": {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"],
                   ">": [">=", "<="], ">=": [">", "<"]},
    "logic": {"&&": ["||"], "||": ["&&"]},
    "arithmetic": {"+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"],
                   "+=": ["-="], "-=": ["+="], "/=": ["*="], "|": ["&"], "&": ["|"],
                   "|=": ["&="], "&=": ["|="]},
}
STEPS = {"++": "--", "--": "++"}
WORDS = {"true": "false", "false": "true"}

# What a statement that can go begins with: a call, an assignment, a jump.
STATEMENT = re.compile(
    r"(?:::)?[A-Za-z_*][\w:]*(?:(?:\.|->)\w+|\([^;{}]*?\)|\[[^\]]*\])*\s*"
    r"(?:=(?!=)|\+=|-=|\|=|&=|/=|<<|$)", re.DOTALL)
NO_STATEMENT = {
    "return", "if", "else", "for", "while", "do", "switch", "case", "default", "const",
    "constexpr", "static", "thread_local", "using", "typedef", "struct", "class", "enum",
    "union", "namespace", "template", "extern", "auto", "public", "private", "protected",
    "explicit", "inline", "virtual", "friend", "static_assert", "static_cast", "operator",
    "Q_OBJECT", "Q_DISABLE_COPY", "Q_UNUSED", "Q_DECLARE_TYPEINFO", "ZELOG_STATIC",
}


# A parameter of a declaration, with its type before its name, or a piece of a template.
NO_ARGUMENT = re.compile(r"\w [*&]?\w|[*&]$|<\w|\w>")


def tokens_of(text):
    """The tokens that count."""
    found = []
    for match in TOKEN.finditer(text):
        if match.lastgroup not in ("comment", "directive"):
            found.append(Token(match.lastgroup, match.group(), match.start(), match.end()))
    return without_assertions(found)


def without_assertions(tokens):
    """Without static_assert(...);"""
    kept = []
    inside = False
    for token in tokens:
        inside = inside or token.text == "static_assert"
        if not inside:
            kept.append(token)
        inside = inside and token.text != ";"
    return kept


def is_between_blanks(text, token):
    return text[token.start - 1].isspace() and text[token.end:token.end + 1].isspace()


def operator_mutants(text, tokens):
    for token in tokens:
        if token.text in STEPS:
            yield "step", token.start, token.end, STEPS[token.text]
        if token.type != "operator" or not is_between_blanks(text, token):
            continue
        for kind, swaps in SWAPS.items():
            for other in swaps.get(token.text, ()):
                yield kind, token.start, token.end, other


def negation_mutants(text, tokens):
    for index, token in enumerate(tokens[:-1]):
        following = tokens[index + 1]
        if token.text == "!" and not text[token.end].isspace():
            yield "negation", token.start, token.end, ""
        if token.text in ("if", "while") and following.text == "(":
            end = closing(tokens, index + 1)
            if end is not None:
                yield ("condition", following.end, tokens[end].start,
                       f"!({text[following.end:tokens[end].start]})")


def closing(tokens, opening):
    """The index of the bracket that closes the one at an index."""
    depth = 0
    for index in range(opening, len(tokens)):
        depth += {"(": 1, ")": -1}.get(tokens[index].text, 0)
        if depth == 0:
            return index
    return None


def constant_mutants(tokens):
    for token in tokens:
        if token.text in WORDS:
            yield "constant", token.start, token.end, WORDS[token.text]
        if token.type != "number":
            continue
        digits, suffix = re.fullmatch(r"(0[xX][0-9a-fA-F]+|[\d.]+)([uUlLfF]*)", token.text).groups()
        if "." in digits:
            yield "constant", token.start, token.end, f"{float(digits) + 1}{suffix}"
            continue
        value = value_of(digits)
        yield "constant", token.start, token.end, f"{value + 1}{suffix}"
        if value > 0:
            yield "constant", token.start, token.end, f"{value - 1}{suffix}"


def value_of(digits):
    """Decimal, hexadecimal (0x) and octal (0)."""
    if digits.startswith("0") and digits.isdigit():
        return int(digits, 8)
    return int(digits, 0)


def other_letter(text):
    """The text with its first letter, or else its first character, made another."""
    match = (re.search(r"(?<!\\)[A-Za-z]", text) or re.search(r"(?<!\\)[^\\\"'%]", text))
    if not match:
        return None
    letter = "q" if match.group() not in "qQ" else "z"
    return text[:match.start()] + letter + text[match.end():]


def text_mutants(tokens):
    for token in tokens:
        if token.type not in ("text", "character"):
            continue
        quote = token.text.index("\"" if token.type == "text" else "'")
        start = token.start + quote + 1
        content = token.text[quote + 1:-1]
        if token.type == "character":
            yield "text", start, token.end - 1, "q" if content != "q" else "z"
            continue
        changed = other_letter(content) if content else "q"
        if changed is not None:
            yield "text", start, token.end - 1, changed
        if content:
            yield "text", start, token.end - 1, ""


def statement_mutants(text, tokens):
    start = None
    depth = 0
    for index, token in enumerate(tokens):
        before = tokens[index - 1].text if index else ";"
        # Behind ")" that of an if or a loop; an operator goes on with an expression.
        is_behind_label = (before == ":" and start is not None
                           and start.text in ("case", "default"))
        if depth == 0 and (before in (";", "{", "}", "else") or is_behind_label
                           or (before == ")" and token.type == "name")):
            start = token
        depth += {"(": 1, ")": -1}.get(token.text, 0)
        if token.text != ";" or depth != 0 or start is None:
            continue
        if start.type in ("name", "operator") and start.text not in NO_STATEMENT:
            statement = text[start.start:token.start]
            if statement in ("break", "continue") or STATEMENT.match(statement):
                yield "statement", start.start, token.start, ""
        start = None


def split_arguments(tokens, opening, end):
    """First and last index of each argument between two brackets; none nest deeper."""
    arguments = []
    first = opening + 1
    depth = 0
    for index in range(opening + 1, end + 1):
        token = tokens[index].text
        depth += {"(": 1, "{": 1, "[": 1, ")": -1, "}": -1, "]": -1}.get(token, 0)
        if (token == "," and depth == 0) or index == end:
            arguments.append((first, index - 1))
            first = index + 1
    return arguments


def argument_mutants(text, tokens):
    for index in range(1, len(tokens)):
        if tokens[index].text != "(" or tokens[index - 1].type != "name":
            continue
        end = closing(tokens, index)
        if end is None or end == index + 1:
            continue
        arguments = split_arguments(tokens, index, end)
        for (first, last), (next_first, next_last) in zip(arguments, arguments[1:]):
            left = text[tokens[first].start:tokens[last].end]
            right = text[tokens[next_first].start:tokens[next_last].end]
            gap = text[tokens[last].end:tokens[next_first].start]
            if left == right or any(NO_ARGUMENT.search(side) for side in (left, right)):
                continue
            yield "arguments", tokens[first].start, tokens[next_last].end, right + gap + left


def mutants_of(file, text):
    """All mutants of one source, in the order of the source."""
    tokens = tokens_of(text)
    found = set()
    for generator in (operator_mutants(text, tokens), negation_mutants(text, tokens),
                      constant_mutants(tokens), text_mutants(tokens),
                      statement_mutants(text, tokens), argument_mutants(text, tokens)):
        found.update(Mutant(file, *parts) for parts in generator)
    return sorted(found, key=lambda mutant: (mutant.start, mutant.end, mutant.replacement))


def applied(text, mutant):
    return text[:mutant.start] + mutant.replacement + text[mutant.end:]
