#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Lets other programs judge the e-books, HTML, RTF and plain text that `redraft` exports.

epubcheck finds neither errors nor warnings, tidy finds no errors, every page is well-formed for xmllint, and pandoc
reads the same words out of the e-book, and LibreOffice out of the RTF, as the plain text has. Two exports are equal byte
for byte. Each book is made of a text in Markdown; made-up ones in five scripts are always among them.

usage: judge_exports.py REDRAFT FOLDER [TEXT...]
    TEXT: Markdown or plain text in UTF-8.
"""
import collections
import os
import random
import re
import shutil
import subprocess
import sys
import unicodedata
import zipfile

# Language, letters of words, and words for headings.
SCRIPTS = {
    "latin": ("en", "abcdefghijklmnopqrstuvwxyz", "Chapter"),
    "greek": ("el", "αβγδεζηθικλμνξοπρστυφχψω", "Κεφάλαιο"),
    "hebrew": ("he", "אבגדהוזחטיכלמנסעפצקרשת", "פרק"),
    "devanagari": ("hi", ["क", "का", "कि", "की", "कु", "ख", "खा", "ग", "गा", "च", "चा", "ज", "जा", "त", "ता", "द", "दा",
                          "न", "ना", "नी", "प", "पा", "ब", "बा", "म", "मा", "मी", "य", "या", "र", "रा", "ल", "ला", "व",
                          "वा", "स", "सा", "ह", "हा", "स्त", "क्ष", "त्र"], "अध्याय"),
    "japanese": ("ja", "あいうえおかきくけこさしすせそたちつてとなにぬねのはひふへほまみむめもやゆよらりるれろわん日本海船山川空白鯨",
                 "章"),
}


def make_book(name):
    language, letters, heading = SCRIPTS[name]
    chance = random.Random(name)
    join = "" if name == "japanese" else " "
    stop = "。" if name == "japanese" else "."

    def word():
        return "".join(chance.choice(letters) for _ in range(chance.randint(2, 7)))

    def words(count):
        return join.join(word() for _ in range(count))

    lines = []
    for chapter in range(1, 9):
        lines += [f"# {heading} {chapter}", ""]
        for section in range(3):
            lines += [f"## {words(3)}", ""]
            for _ in range(4):
                parts = [words(chance.randint(10, 40)), "*" + words(2) + "*", words(5), "**" + words(2) + "**", words(9)]
                lines += [" ".join(parts) + stop, ""]
            lines += [f"[{words(2)}](https://example.org/{chapter}) {words(4)}{stop}", ""]
            lines += [f"- {words(3)}" for _ in range(3)] + [""]
        # Named by its file: without letters, which the plain text has not.
        lines += ["![](_.png)", ""]
    return language, "\n".join(lines)


def get_words(text):
    """The letters and digits of a text, in their order: programs differ in spaces, marks of emphasis and bullets."""
    kept = []
    for run in re.findall(r"[^\W_]+(?:[\u0300-\u036f\u0591-\u05c7\u0900-\u0903\u093a-\u094f\u200c\u200d]+[^\W_]*)*", text):
        kept.append(unicodedata.normalize("NFC", run).casefold())
    return kept


class Judge:
    def __init__(self, program):
        self.program = program
        self.failures = 0

    def tell(self, name, verdict, detail=""):
        self.failures += not verdict
        print(f"{'ok' if verdict else 'DIFFERENT'}  {name}" + (f": {detail}" if detail else ""), flush=True)

    def run(self, *arguments, **keywords):
        return subprocess.run(arguments, capture_output=True, check=False, **keywords)

    def redraft(self, *arguments):
        done = self.run(self.program, *arguments)
        if done.returncode != 0:
            sys.exit(f"redraft {' '.join(arguments)}: {done.stderr.decode()}")

    def compare_words(self, name, ours, theirs):
        a, b = get_words(ours), get_words(theirs)
        if a == b:
            return self.tell(name, True, f"{len(a)} words")
        # Programs may put notes and numbers elsewhere; every word is counted all the same.
        missing, more = collections.Counter(a) - collections.Counter(b), collections.Counter(b) - collections.Counter(a)
        first = next((i for i, (x, y) in enumerate(zip(a, b)) if x != y), min(len(a), len(b)))
        self.tell(name, False, f"{len(a)} and {len(b)} words; first difference {a[first:first + 6]} {b[first:first + 6]}; "
                               f"missing {missing.most_common(5)}, more {more.most_common(5)}")

    def judge(self, name, source, language):
        self.redraft("import", source, "-o", "book.redraft", "--force", "--language", language)
        for ending in ("epub", "htm", "rtf", "txt"):
            for copy in ("", "-again"):
                target = f"{name}{copy}.{ending}"
                title = ("--title", name) if ending in ("epub", "htm") else ()
                self.redraft("export", "book.redraft", "-o", target, *title)
            same = open(f"{name}.{ending}", "rb").read() == open(f"{name}-again.{ending}", "rb").read()
            self.tell(f"{name}.{ending} twice", same)
            os.remove(f"{name}-again.{ending}")
        text = open(f"{name}.txt", encoding="utf-8").read()

        # The package's program is a Java archive, which not every system starts by its name.
        checked = self.run("java", "-jar", shutil.which("epubcheck"), f"{name}.epub")
        report = (checked.stdout + checked.stderr).decode()
        found = [line for line in report.splitlines() if re.match(r"(ERROR|WARNING|FATAL)", line)]
        self.tell(f"{name}.epub, epubcheck", checked.returncode == 0 and not found, "\n".join(found[:5]))
        with zipfile.ZipFile(f"{name}.epub") as book:
            pages = [each for each in book.namelist() if each.endswith((".xhtml", ".opf", ".xml"))]
            wrong = [each for each in pages
                     if self.run("xmllint", "--noout", "-", input=book.read(each)).returncode != 0]
        self.tell(f"{name}.epub, xmllint", not wrong, " ".join(wrong))
        plain = self.run("pandoc", "-f", "epub", "-t", "plain", "--wrap=none", f"{name}.epub").stdout.decode()
        self.compare_words(f"{name}.epub, pandoc", text, plain)

        tidied = self.run("tidy", "-e", "-q", "-utf8", f"{name}.htm")
        errors = [line for line in tidied.stderr.decode().splitlines() if " Error: " in line]
        self.tell(f"{name}.htm, tidy", tidied.returncode < 2 and not errors, "\n".join(errors[:5]))
        plain = self.run("pandoc", "-f", "html", "-t", "plain", "--wrap=none", f"{name}.htm").stdout.decode()
        self.compare_words(f"{name}.htm, pandoc", text, plain)

        shutil.rmtree("office", ignore_errors=True)
        self.run("soffice", "-env:UserInstallation=file://" + os.path.abspath("profile"), "--headless", "--convert-to",
                 "txt:Text (encoded):UTF8", "--outdir", "office", f"{name}.rtf")
        converted = os.path.join("office", f"{name}.txt")
        if os.path.exists(converted):
            self.compare_words(f"{name}.rtf, LibreOffice", text, open(converted, encoding="utf-8-sig").read())
        else:
            self.tell(f"{name}.rtf, LibreOffice", False, "was not read")


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    judge = Judge(os.path.abspath(sys.argv[1]))
    given = [os.path.abspath(path) for path in sys.argv[3:]]
    os.makedirs(sys.argv[2], exist_ok=True)
    os.chdir(sys.argv[2])
    judge.redraft("new", "picture.redraft", "--size", "40x30", "--force")
    judge.redraft("render", "picture.redraft", "-o", "_.png", "--background", "red")
    for name in SCRIPTS:
        language, book = make_book(name)
        with open(f"{name}.md", "w", encoding="utf-8") as file:
            file.write(book)
        judge.judge(name, f"{name}.md", language)
    for path in given:
        judge.judge(os.path.splitext(os.path.basename(path))[0], path, "en")
    if judge.failures:
        sys.exit(f"{judge.failures} different")


if __name__ == "__main__":
    main()
