#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares the index that `redraft` makes of a book with the one that makeindex makes of the same pairs of word and page.

The words are marked in the book by a list, the index stands in front of the book, so that it moves what it names, and the
book gets pages until nothing is left over. Entries, pages and their order must be the same.

usage: judge_index.py REDRAFT FOLDER [TEXT]
    TEXT: a text in UTF-8; without one a made-up book is used.
"""
import collections
import json
import os
import random
import re
import subprocess
import sys

MARKS = 1000


def make_book():
    chance = random.Random(7)
    words = ["".join(chance.choice("abcdefghiklmnoprstuvw") for _ in range(chance.randint(2, 12))) for _ in range(6000)]
    paragraphs = []
    for _ in range(1500):
        count = chance.randint(20, 200)
        paragraphs.append(" ".join(words[int(chance.paretovariate(0.6)) % len(words)] for _ in range(count)) + ".")
    return "\n".join(paragraphs) + "\n"


def choose_words(text):
    """Words of nine letters and more that stand a few times, until there are marks enough."""
    counts = collections.Counter(re.findall(r"(?<![\w'’-])[a-z]{9,}(?![\w'’-])", text))
    chosen, marks = [], 0
    for word in sorted(counts):
        if 2 <= counts[word] <= 12 and marks < MARKS:
            chosen.append(word)
            marks += counts[word]
    return chosen


def read_makeindex(path):
    entries = {}
    last = None
    with open(path, encoding="utf-8") as file:
        for line in file:
            item = re.match(r"\s*\\item (\w+),\s*(.*)$", line.rstrip())
            if item:
                last = item[1]
                entries[last] = item[2]
            elif last and line.strip() and not line.lstrip().startswith("\\"):
                entries[last] += " " + line.strip()
    return {word: pages.replace("--", "\u2013") for word, pages in entries.items()}


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    program, folder = os.path.abspath(sys.argv[1]), sys.argv[2]
    text = open(sys.argv[3], encoding="utf-8").read() if len(sys.argv) == 4 else make_book()
    os.makedirs(folder, exist_ok=True)
    os.chdir(folder)
    words = choose_words(text)
    with open("book.txt", "w", encoding="utf-8") as file:
        file.write(text)
    with open("words.txt", "w", encoding="utf-8") as file:
        file.write("".join(word + "\n" for word in words))

    def run(*arguments, allow=(0,)):
        done = subprocess.run([program, *arguments], capture_output=True, text=True, check=False)
        if done.returncode not in allow:
            sys.exit(f"redraft {' '.join(arguments)}: {done.stderr}")
        return done.stdout

    run("import", "book.txt", "-o", "book.redraft", "--force")
    imported = run("hash", "book.redraft")
    run("index-words", "book.redraft", "words.txt")
    first = json.loads(run("marks", "book.redraft", "--json"))[0]["node"]
    run("do", "book.redraft", "insert-index", "--select", f"#{first}[0:0]")
    # New pages may not be needed, and what is up to date is no step.
    run("do", "book.redraft", "add-pages-on-overflow", allow=(0, 1))
    run("do", "book.redraft", "update-index", allow=(0, 1))
    marks = json.loads(run("marks", "book.redraft", "--json"))
    with open("book.idx", "w", encoding="utf-8") as file:
        for mark in marks:
            file.write(f"\\indexentry{{{mark['topic']}}}{{{mark['page']}}}\n")
    subprocess.run(["makeindex", "-q", "book.idx"], check=True)
    expected = read_makeindex("book.ind")
    # The book begins where its first line does.
    own = {}
    for line in run("text", "book.redraft").split("\n"):
        if line == text.split("\n", 1)[0]:
            break
        entry = re.match(r"^(\w+), ([\d\u2013, ]+)$", line)
        if entry:
            own[entry[1]] = entry[2]
    different = [word for word in sorted(set(own) | set(expected)) if own.get(word) != expected.get(word)]
    for word in different[:20]:
        print(f"{word}: {own.get(word)}; makeindex: {expected.get(word)}")
    run("goto", "book.redraft", "0")
    if run("hash", "book.redraft") != imported:
        sys.exit("the book is another one after its steps were taken back")
    ordered = list(own) == list(expected)
    print(f"index: {len(marks)} marks, {len(own)} entries, {len(different)} of them different, "
          f"{'in the same order' if ordered else 'in another order'}")
    sys.exit(0 if own and not different and ordered else 1)


if __name__ == "__main__":
    main()
