#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Breaks the library one place at a time and asks the tests whether they notice.

Each mutant changes one condition, call, tag or constant of a source under src/ or engine/. It is built in a copy of the
tree, and the tests that touch the file run, the quickest first, until one fails. A mutant that all tests pass survives:
either it changes nothing that anybody can see, or a test is missing. Survivors are printed, and kept with all results in build/mutants/results.txt.

    tools/mutants.py                             all of src/, in an order by chance
    tools/mutants.py --files src/shapes/*.cpp    only these
    tools/mutants.py --count 40 --seed 7         40 of them, others with another seed
    tools/mutants.py --list                      says what would be tried

Places that are known to change nothing stand in tools/mutants_equivalent.txt, one a line: the file, the mutation as it is
printed, and why.
"""

import argparse
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build" / "mutants" / "tree"
RESULTS = ROOT / "build" / "mutants" / "results.txt"
EQUIVALENT = ROOT / "tools" / "mutants_equivalent.txt"
TEST_SECONDS = 900
# Beside the laws, the programs that test a chapter, or a folder of the engine.
CHAPTER_TESTS = {"frame": ["test-frame"], "shapes": ["test-shapes"], "raster": ["test-raster-commands"],
                 "document": ["test-document", "test-frame"]}
# A mutant touches one source and one shared library: sources are compiled one by one, and programs are not linked again
# when only a library has changed.
CONFIGURE = ["cmake", "--preset", "dev", "-DREDRAFT_BATCHES=0", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"]
# Programs stop at their first failure.
TEST_ENVIRONMENT = {**os.environ, "GTEST_FAIL_FAST": "1", "FREI0R_PATH": "build/dev/tests/plugins"}


class Mutant:
    def __init__(self, path, start, end, replacement, text):
        self.path, self.start, self.end, self.replacement = path, start, end, replacement
        self.line = text.count("\n", 0, start) + 1
        self.change = f"{squeeze(text[start:end])} -> {squeeze(replacement) or '(nothing)'}"

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


def find_mutants(path, text):
    # Parts that are no behaviour of the library: comments, preprocessor lines, assertions at compile time.
    code = blank(text, r"//[^\n]*|/\*.*?\*/|^#[^\n]*|static_assert\([^;]*;")
    words = blank(code, r'"(?:[^"\\\n]|\\.)*"')

    def mutate(start, end, replacement):
        return Mutant(path.relative_to(COPY), start, end, replacement, text)

    for found in re.finditer(r"\b(if|while) \(", words):
        end = find_closing(words, found.end() - 1)
        inside = text[found.end() : end - 1]
        if end > 0 and ";" not in inside and not re.match(r"\s*(auto|const|constexpr)\b", inside):
            yield mutate(found.end(), end - 1, f"!({inside})")
    for old, new in ((" && ", " || "), (" || ", " && "), (" == ", " != "), (" != ", " == "), (" < ", " <= "),
                     (" > ", " >= "), (" <= ", " < "), (" >= ", " > "), (" + 1", ""), (" - 1", "")):
        for found in re.finditer(re.escape(old), words):
            yield mutate(found.start(), found.end(), new)
    for found in re.finditer(r"\breturn ([^;{}]*?(?:==|!=|&&|\|\||!)[^;{}]*);", words):
        yield mutate(found.start(1), found.end(1), f"!({text[found.start(1):found.end(1)]})")
    # A call that stands as a statement of its own.
    for found in re.finditer(r"(?<=[;{})\n])(\s+)((?:[A-Za-z_]\w*(?:::|\.|->))*[A-Za-z_]\w*)\(", words):
        start, end = found.start(2), find_closing(words, found.end() - 1)
        if end > 0 and words[end : end + 1] == ";" and found.group(2) not in ("if", "while", "for", "switch", "return"):
            yield mutate(start, end, "")
    for found in re.finditer(r'"[A-Za-z_]{3}[A-Za-z_0-9]"', code):
        yield mutate(found.start() + 1, found.start() + 2, "z" if text[found.start() + 1] != "z" else "y")
    for found in re.finditer(r"\b(true|false)\b", words):
        yield mutate(found.start(), found.end(), "false" if found.group() == "true" else "true")
    for found in re.finditer(r"(?<![\w.])(\d+)(\.\d+)?(?![\w.])", words):
        yield mutate(found.start(), found.end(), str(int(found.group(1)) + 1) + (found.group(2) or ""))
    for found in re.finditer(r"Direction::(Do|Undo|Redo)\b", words):
        yield mutate(found.start(1), found.end(1), {"Do": "Redo", "Undo": "Do", "Redo": "Undo"}[found.group(1)])


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options)


def prepare():
    """A copy of the tree, built, in which sources are broken without harm to the user's own."""
    COPY.mkdir(parents=True, exist_ok=True)
    files = run(["git", "ls-files", "-z"], cwd=ROOT).stdout.decode().split("\0")
    for name in filter(None, files):
        source, target = ROOT / name, COPY / name
        if source.is_file() and not (target.is_file() and target.read_bytes() == source.read_bytes()):
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(source, target)
    for command in (CONFIGURE, ["ninja", "-C", "build/dev", *all_programs()]):
        done = run(command, cwd=COPY)
        if done.returncode != 0:
            sys.exit(done.stdout.decode()[-3000:])


def all_programs():
    return sorted({"test-laws", "lives", *(name for names in CHAPTER_TESTS.values() for name in names)})


def list_tests(path):
    """The calls that must notice, the quickest first: the laws of all classes come last."""
    chapter = path.parts[-2]
    classes = re.findall(r"\bclass (\w+Command)\b", (COPY / path).with_suffix(".h").read_text()) \
        if (COPY / path).with_suffix(".h").is_file() else []
    own = ["--gtest_filter=" + ":".join(f"*{name}*" for name in classes)]
    calls = [["test-laws", *own]] if classes else []
    calls += [[name] for name in CHAPTER_TESTS.get(chapter, [])]
    calls.append(["lives", "--lives", "60", "--folder", "lives", "--picture",
                  str(COPY / "tests/engine/story/pictures/greek.png")])
    if not classes:
        calls.append(["test-laws"])
    return calls


def judge(mutant):
    """How the mutant ended: which program noticed it, or None."""
    path = COPY / mutant.path
    text = path.read_text()
    path.write_text(text[: mutant.start] + mutant.replacement + text[mutant.end :])
    try:
        calls = list_tests(mutant.path)
        built = run(["ninja", "-C", "build/dev", *(call[0] for call in calls)], cwd=COPY)
        if built.returncode != 0:
            return "does not build"
        for call in calls:
            try:
                done = run([f"build/dev/tests/{call[0]}", *call[1:]], cwd=COPY, timeout=TEST_SECONDS,
                           env=TEST_ENVIRONMENT)
            except subprocess.TimeoutExpired:
                return f"{call[0]}: endless"
            if done.returncode != 0:
                return call[0]
        return None
    finally:
        path.write_text(text)


def read_equivalent():
    if not EQUIVALENT.is_file():
        return set()
    lines = (line for line in EQUIVALENT.read_text().splitlines() if line and not line.startswith("#"))
    return {tuple(part.strip() for part in line.split(" | ")[:2]) for line in lines}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--files", nargs="*", help="sources, from the root of the tree")
    parser.add_argument("--count", type=int, default=0, help="how many mutants, chosen by chance (all)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--list", action="store_true", help="only says what would be tried")
    arguments = parser.parse_args()
    if not arguments.list:
        prepare()
    base = ROOT if arguments.list else COPY
    names = arguments.files or [path.relative_to(base).as_posix() for path in sorted((base / "src").rglob("*.*"))
                                if "platform" not in path.parts and path.suffix in (".h", ".cpp")]
    known = read_equivalent()
    mutants = []
    for name in names:
        path = COPY / name
        text = (base / name).read_text()
        mutants += [each for each in find_mutants(path, text) if (name, each.change) not in known]
    random.Random(arguments.seed).shuffle(mutants)
    mutants = mutants[: arguments.count or len(mutants)]
    if arguments.list:
        print("\n".join(map(str, mutants)))
        return
    survivors = broken = 0
    with RESULTS.open("a") as results:
        for mutant in mutants:
            start = time.monotonic()
            noticed = judge(mutant)
            survivors += noticed is None
            broken += noticed == "does not build"
            line = f"{'SURVIVED' if noticed is None else noticed}: {mutant} ({time.monotonic() - start:.0f} s)"
            print(line, flush=True)
            results.write(line + "\n")
            results.flush()
    run(["ninja", "-C", "build/dev", *all_programs()], cwd=COPY)
    print(f"{len(mutants)} mutants: {survivors} survived, {broken} did not build")


if __name__ == "__main__":
    main()
