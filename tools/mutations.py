# SPDX-License-Identifier: Apache-2.0
"""Finds the places of a source that tools/mutants.py breaks, and how it breaks each."""

import re

OPERATORS = ((" && ", " || "), (" || ", " && "), (" == ", " != "), (" != ", " == "), (" < ", " <= "), (" > ", " >= "),
             (" <= ", " < "), (" >= ", " > "), (" + 1", ""), (" - 1", ""), ("std::min(", "std::max("),
             ("std::max(", "std::min("))
DIRECTIONS = {"Do": "Redo", "Undo": "Do", "Redo": "Undo"}
KEYWORDS = ("if", "while", "for", "switch", "return", "sizeof", "throw", "delete")
# Calls that only save time or memory, and those that talk to developers.
WITHOUT_EFFECT = ("reserve", "shrink_to_fit", "assert", "Log", "LogMessage", "TraceLine", "static_cast")


class Mutant:
    """One change: `replacement` for the characters from `start` to `end` of the file, which is named from the root."""

    def __init__(self, path, start, end, replacement, text):
        self.path, self.start, self.end, self.replacement = path, start, end, replacement
        self.line = text.count("\n", 0, start) + 1
        # The whole lines, so that a change is known again after others have moved it.
        first, last = text.rfind("\n", 0, start) + 1, text.find("\n", end)
        broken = text[first:start] + replacement + text[end:last]
        self.change = f"{squeeze(text[first:last])} -> {squeeze(broken) or '(nothing)'}"

    def key(self):
        return self.path.as_posix(), self.change

    def __str__(self):
        return f"{self.path.as_posix()}:{self.line}: {self.change}"


def squeeze(text):
    return re.sub(r"\s+", " ", text).strip()


def blank(text, pattern):
    """The text with all matches turned into spaces, so that places stay the same."""
    return re.sub(pattern, lambda match: re.sub(r"[^\n]", " ", match.group()), text, flags=re.S | re.M)


def find_closing(text, opening):
    """The index behind the bracket that closes the one at `opening`; -1 when there is none."""
    depth = 0
    for index in range(opening, len(text)):
        if text[index] in "([{":
            depth += 1
        elif text[index] in ")]}":
            depth -= 1
            if depth == 0:
                return index + 1
    return -1


def find_changes(text):
    """Start, end and replacement of each change."""
    # Parts that are no behaviour: comments, preprocessor lines, assertions at compile time, attributes, pure functions.
    code = blank(text, r"//[^\n]*|/\*.*?\*/|^#[^\n]*|static_assert\([^;]*;|\[\[[^]]*\]\]|\) (const )?= 0;|^template <[^\n]*")
    words = blank(code, r'"(?:[^"\\\n]|\\.)*"')
    classes = set(re.findall(r"\b(?:class|struct) (?:REDRAFT_API )?(\w+)", words))
    for found in re.finditer(r"\b(if|while) \(", words):
        end = find_closing(words, found.end() - 1)
        inside = text[found.end() : end - 1]
        if end > 0 and ";" not in inside and not re.match(r"\s*(auto|const|constexpr)\b", inside):
            yield found.end(), end - 1, f"!({inside})"
    for old, new in OPERATORS:
        for found in re.finditer(re.escape(old), words):
            yield found.start(), found.end(), new
    for found in re.finditer(r"\breturn ([^;{}]*?(?:==|!=|&&|\|\||!)[^;{}]*);", words):
        yield found.start(1), found.end(1), f"!({text[found.start(1):found.end(1)]})"
    # A call that stands as a statement of its own.
    for found in re.finditer(r"(?<=[;{})\n])(\s+)((?:[A-Za-z_]\w*(?:::|\.|->))*([A-Za-z_]\w*))\(", words):
        start, end = found.start(2), find_closing(words, found.end() - 1)
        isCall = end > 0 and words[end : end + 1] == ";" and found.group(2) not in KEYWORDS
        # Constructors are declared alike.
        if isCall and found.group(3) not in WITHOUT_EFFECT and found.group(2) not in classes:
            yield start, end, ""
    # An assignment to a member or to one of another object.
    for found in re.finditer(r"(?<=[;{})\n])(\s+)((?:m_\w+|\w+(?:\.|->)\w+)(?:\[[^]\n]*\])? (?:[-+|&]?=) [^;{}]*);", words):
        yield found.start(2), found.end(2), ""
    for found in re.finditer(r'"[A-Za-z_]{3}[A-Za-z_0-9]"', code):
        yield found.start() + 1, found.start() + 2, "z" if text[found.start() + 1] != "z" else "y"
    for found in re.finditer(r"\b(true|false)\b", words):
        yield found.start(), found.end(), "false" if found.group() == "true" else "true"
    for found in re.finditer(r"(?<![\w.])(\d+)(\.\d+)?(?![\w.])", words):
        yield found.start(), found.end(), str(int(found.group(1)) + 1) + (found.group(2) or "")
    for found in re.finditer(r"Direction::(Do|Undo|Redo)\b", words):
        yield found.start(1), found.end(1), DIRECTIONS[found.group(1)]


def find_mutants(path, text):
    return [Mutant(path, start, end, replacement, text) for start, end, replacement in find_changes(text)]
