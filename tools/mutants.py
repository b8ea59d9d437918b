#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Breaks the library one place at a time and asks the tests whether they notice.

Each mutant changes one condition, call, assignment, tag or constant of a source under src/ or engine/. It is built in a
copy of the tree, and the tests that touch the file run, the quickest first, until one fails. A mutant that all tests pass
survives: either it changes nothing that anybody can see, or a test is missing. Survivors are printed, and kept with all
results in build/mutants/results.txt.

    tools/mutants.py                             all of src/, in an order by chance
    tools/mutants.py --each 8                    8 of each chapter, three of four of them in sources of commands
    tools/mutants.py --chapters shapes text      only in these; engine/document is called document, and so on
    tools/mutants.py --files src/shapes/*.cpp    only these
    tools/mutants.py --count 40 --seed 7         40 of them, others with another seed
    tools/mutants.py --again                     those of the results that survived last
    tools/mutants.py --list                      says what would be tried

Places that are known to change nothing stand in tools/mutants_equivalent.txt, one a line: the file, the change as it is
printed, and why.
"""

import argparse
import collections
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import time

from mutations import find_mutants

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build" / "mutants" / "tree"
RESULTS = ROOT / "build" / "mutants" / "results.txt"
EQUIVALENT = ROOT / "tools" / "mutants_equivalent.txt"
# A program that takes longer, or that takes so many times as long as on the sound tree, is endless.
LEAST_SECONDS, SLOWER = 40, 5
# A mutant that asks for memory without end must not take the machine's.
MEMORY_BYTES = 12 << 30
# Sources that are broken are compiled one by one, and programs are not linked again when only a library has changed.
CONFIGURE = ["cmake", "--preset", "dev", "-DREDRAFT_WITHOUT_BATCHES=src;engine", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"]
# Programs stop at their first failure. What is compiled of mutants is kept in no cache.
ENVIRONMENT = {**os.environ, "GTEST_FAIL_FAST": "1", "FREI0R_PATH": "build/dev/tests/plugins"}
BUILD_ENVIRONMENT = {**os.environ, "CCACHE_READONLY": "1"}
PICTURE = "tests/engine/story/pictures/greek.png"

# Beside the laws: the programs that test a chapter of the library or a room of the engine, and the transcripts.
PROGRAMS = {"frame": ["test-frame"], "articles": ["test-articles"], "contents": ["test-contents"],
            "generative": ["test-generative"], "index": ["test-index"], "lines": ["test-lines"], "merge": ["test-merge"],
            "publishing": ["test-publishing"], "raster": ["test-raster-commands"], "shapes": ["test-shapes"],
            "text": ["test-text"],
            "document": ["test-document", "test-frame"], "kernel": ["test-kernel"], "store": ["test-store"],
            "records": ["test-records", "test-record-steps"], "story": ["test-story"],
            "geometry": ["test-geometry"], "planar_map": ["test-planar-map", "test-planar-map-properties"],
            "renderer": ["test-renderer"], "tracing": ["test-tracing"], "epub": ["test-epub"],
            "engine/raster": ["test-raster"], "learning": ["test-learning"]}
TRANSCRIPTS = {"frame": ["symbols", "do"], "articles": ["articles"], "contents": ["contents"], "generative": ["models"],
               "index": ["index"], "lines": ["lines", "artboards"], "merge": ["merge", "merge_filters"],
               "publishing": ["text_export"], "raster": ["effects", "mask"], "shapes": ["divide", "flatten", "ungroup"],
               "text": ["text", "text_features"], "document": ["history", "do", "script"]}
SRC_CHAPTERS = ("frame", "articles", "contents", "generative", "index", "lines", "merge", "publishing", "raster",
                "shapes", "text")
# Headers that so many sources read take minutes to build.
MOST_READERS = 25


def chapter_of(path):
    if path.parts[0] == "src":
        return path.parts[1]
    if "planar_map" in path.parts:
        return "planar_map"
    return "engine/raster" if path.parts[1] == "raster" else path.parts[1]


def run(command, seconds=None, **options):
    """Status and output; a process that does not end in time is killed with its children, and has the status None."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True,
                               preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (MEMORY_BYTES, MEMORY_BYTES)),
                               **options)
    try:
        output, _ = process.communicate(timeout=seconds)
        return process.returncode, output.decode(errors="replace")
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate()
        return None, ""


def build(*targets, env=None):
    return run(["nice", "ninja", "-C", "build/dev", "-j", str(os.cpu_count() if env is None else 1), *targets], cwd=COPY,
               env=env or dict(os.environ))


def prepare(chapters):
    """A copy of the tree, built, in which sources are broken without harm to the user's own."""
    COPY.mkdir(parents=True, exist_ok=True)
    names = set(filter(None, run(["git", "ls-files", "-z"], cwd=ROOT)[1].split("\0")))
    for name in names:
        source, target = ROOT / name, COPY / name
        if source.is_file() and not (target.is_file() and target.read_bytes() == source.read_bytes()):
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source, target)
            shutil.copymode(source, target)
    for path in COPY.rglob("*"):
        name = path.relative_to(COPY)
        if name.parts[0] != "build" and path.is_file() and not (ROOT / name).is_file():
            path.unlink()
    status, output = run(CONFIGURE, cwd=COPY)
    if status == 0:
        status, output = build("redraft-cli", "command-pictures", "lives", "test-laws",
                               *sorted({name for each in chapters for name in PROGRAMS[each]}))
    if status != 0:
        sys.exit(output[-3000:])


class Readers:
    """Which files read a header, directly or through others."""

    def __init__(self, base):
        self.included = collections.defaultdict(set)
        for folder in ("src", "engine", "tests", "shell", "formats"):
            for path in (base / folder).rglob("*.*"):
                if path.suffix in (".h", ".cpp"):
                    for name in re.findall(r'^#include "([^"]+)"', path.read_text(), re.M):
                        self.included[name].add(path.relative_to(base))

    def of(self, path):
        found, new = set(), [path]
        while new:
            # As include lines name it: from the root, or from src/.
            name = new.pop().as_posix()
            for reader in self.included[name] | self.included[name.removeprefix("src/")]:
                if reader not in found:
                    found.add(reader)
                    new += [reader] if reader.suffix == ".h" else []
        return found


def classes_in(path):
    header = path.with_suffix(".h")
    if not header.is_file():
        return []
    return re.findall(r"^(?:class|using) (?:REDRAFT_API )?(\w+Command|SetDataMergeFilterAllowedRecords)\b[^;=]*[{=]",
                      header.read_text(), re.M)


class Tests:
    """The calls that must notice a mutant, the quickest first, as far as their times are known."""

    def __init__(self, readers):
        self.readers, self.seconds = readers, {}

    def classes_of(self, path):
        """The commands that a source holds; of a part that commands use, those of its chapter that do."""
        own = classes_in(COPY / path)
        if own:
            return sorted(set(own))
        users = self.readers.of(path.with_suffix(".h"))
        return sorted({name for user in users if user.parts[0] == "src" and chapter_of(user) == chapter_of(path)
                       for name in classes_in(COPY / user)})

    def laws_of(self, classes):
        # The names of laws end in the number of their example.
        own = [f"*/{name}{digits}" for name in classes for digits in ("?", "??", "???")]
        return ["test-laws", "--gtest_filter=" + ":".join(["StoredFormat.*", "Defaults.*", "AnswersOf*"] + own)]

    def of_chapter(self, chapter, classes):
        lives = ["lives", "--lives", "15", "--folder", "lives", "--picture", str(COPY / PICTURE)]
        calls = [[name] for name in PROGRAMS[chapter]]
        if chapter in SRC_CHAPTERS or chapter == "document":
            calls.append(lives + ["--prefer", ",".join(classes) or "none"])
        if chapter in TRANSCRIPTS:
            calls.append(["redraft-cli", *TRANSCRIPTS[chapter]])
        return calls

    def of(self, path):
        chapter = chapter_of(path)
        if path.parts[0] != "src":
            # An eighth of the laws.
            calls = self.of_chapter(chapter, []) + [["test-laws", "--share"]]
        else:
            classes = self.classes_of(path)
            calls = [self.laws_of(classes)] * bool(classes) + self.of_chapter(chapter, classes)
            # Headers name arguments and their defaults, which the pages of commands show.
            calls += [["command-pictures"]] * (path.suffix == ".h")
        return sorted(calls, key=lambda call: self.seconds.get((chapter, call[0]), 0))

    def run(self, call, seconds=None):
        name, arguments, environment = call[0], call[1:], ENVIRONMENT
        command = [f"build/dev/tests/{name}", *arguments]
        if arguments == ["--share"]:
            environment = {**environment, "GTEST_TOTAL_SHARDS": "8", "GTEST_SHARD_INDEX": "0"}
            command = command[:1]
        if name == "redraft-cli":
            command = ["python3", "tests/shell/run_transcripts.py", "--redraft", "build/dev/shell/redraft",
                       *(f"tests/shell/{each}.transcript" for each in arguments)]
        if name == "command-pictures":
            command = ["python3", "tools/make_command_pages.py", "build/dev/shell/redraft", command[0],
                       "build/dev/tests/plugins/shift.so", "--check"]
        return run(command, seconds, cwd=COPY, env=environment)

    def try_sound(self, chapters):
        """All calls pass while nothing is broken, or nothing that they say of mutants counts."""
        tried = {}
        for chapter in chapters:
            folder = pathlib.Path("src" if chapter in SRC_CHAPTERS else "engine") / chapter
            calls = self.of_chapter(chapter, [])
            if chapter in SRC_CHAPTERS:
                classes = sorted({name for path in (COPY / folder).rglob("*.h") for name in classes_in(path)})
                calls = [self.laws_of(classes)] + self.of_chapter(chapter, classes) + [["command-pictures"]]
            else:
                calls.append(["test-laws", "--share"])
            for call in calls:
                if tuple(call) not in tried:
                    start = time.monotonic()
                    status, output = self.run(call)
                    if status != 0:
                        sys.exit(f"{call} fails though nothing is broken:\n{output[-3000:]}")
                    tried[tuple(call)] = time.monotonic() - start
                self.seconds[chapter, call[0]] = tried[tuple(call)]

    def limit(self, chapter, call):
        return max(LEAST_SECONDS, SLOWER * self.seconds.get((chapter, call[0]), 0))


def judge(mutant, tests):
    """How the mutant ended: which program noticed it, or None."""
    path = COPY / mutant.path
    text = path.read_text()
    path.write_text(text[: mutant.start] + mutant.replacement + text[mutant.end :])
    try:
        calls = tests.of(mutant.path)
        if build(*sorted({call[0] for call in calls}), env=BUILD_ENVIRONMENT)[0] != 0:
            return "does not build"
        for call in calls:
            status, _ = tests.run(call, tests.limit(chapter_of(mutant.path), call))
            if status != 0:
                return call[0] if status is not None else f"{call[0]}: endless"
        return None
    finally:
        path.write_text(text)


def read_equivalent():
    if not EQUIVALENT.is_file():
        return set()
    lines = (line for line in EQUIVALENT.read_text().splitlines() if line and not line.startswith("#"))
    # Changes may have bars in them.
    parts = ((line.split(" | ", 1)[0], line.split(" | ", 1)[1].rsplit(" | ", 1)[0]) for line in lines)
    return {(name.strip(), change.strip()) for name, change in parts}


def read_survivors():
    """Those of the results that survived when they were tried last."""
    last = {}
    for line in RESULTS.read_text().splitlines():
        found = re.match(r"(SURVIVED|[a-z][\w -]*(?:: endless)?): (\S+?):\d+: (.*) \(\d+ s\)$", line)
        if found:
            last[found.group(2), found.group(3)] = found.group(1)
    return {key for key, status in last.items() if status == "SURVIVED"}


def in_turn(groups):
    """The first of each group, then the second of each."""
    return [group[turn] for turn in range(max(map(len, groups), default=0)) for group in groups if turn < len(group)]


def choose_in(mutants, count, chance):
    """So many mutants of a chapter: of all its files evenly, three of four in sources of commands."""
    of_files = collections.defaultdict(list)
    # Tags last: one test knows all of them.
    for mutant in sorted(mutants, key=lambda each: re.fullmatch(r"[yz]", each.replacement) is not None):
        of_files[mutant.path].append(mutant)
    files = list(of_files.values())
    chance.shuffle(files)
    isOfCommand = lambda group: "_command" in group[0].path.name
    commands = in_turn([group for group in files if isOfCommand(group)])
    parts = in_turn([group for group in files if not isOfCommand(group)])
    wanted = min(len(commands), max(count * 3 // 4, count - len(parts)))
    return commands[:wanted] + parts[: count - wanted]


def choose(arguments, base, readers):
    folders = ("src",) if not arguments.chapters else ("src", "engine")
    names = arguments.files or [path.relative_to(base).as_posix() for folder in folders
                                for path in sorted((base / folder).rglob("*.*"))
                                if path.suffix in (".h", ".cpp")
                                and not {"platform", "persistence"} & set(path.parts)]
    known, survivors = read_equivalent(), read_survivors() if arguments.again else None
    mutants = []
    for path in map(pathlib.Path, names):
        isWanted = not arguments.chapters or chapter_of(path) in arguments.chapters
        if not isWanted or path.name == "class_list.cpp" or len(path.parts) < 3 or chapter_of(path) not in PROGRAMS:
            continue
        if not arguments.files and path.suffix == ".h" and len(readers.of(path)) > MOST_READERS:
            continue
        mutants += [each for each in find_mutants(path, (base / path).read_text())
                    if each.key() not in known and (survivors is None or each.key() in survivors)]
    chance = random.Random(arguments.seed)
    chance.shuffle(mutants)
    if arguments.each:
        chapters = collections.defaultdict(list)
        for mutant in mutants:
            chapters[chapter_of(mutant.path)].append(mutant)
        mutants = in_turn([choose_in(chapters[name], arguments.each, chance) for name in sorted(chapters)])
    return mutants[: arguments.count or len(mutants)]


def print_table(outcomes):
    """How many of each chapter were tried, were noticed, did not build, survived."""
    print(f"{'':14} tried noticed unbuilt survived")
    for chapter in sorted(outcomes):
        counts = outcomes[chapter]
        noticed = counts.total() - counts[None] - counts["does not build"]
        print(f"{chapter:14} {counts.total():5} {noticed:7} {counts['does not build']:7} {counts[None]:8}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--files", nargs="*", help="sources, from the root of the tree")
    parser.add_argument("--chapters", nargs="*", help="folders of src, or rooms of the engine")
    parser.add_argument("--each", type=int, default=0, help="how many mutants of each chapter (all)")
    parser.add_argument("--count", type=int, default=0, help="how many mutants, chosen by chance (all)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--again", action="store_true", help="those of the results that survived last")
    parser.add_argument("--trust", action="store_true", help="does not try the tests on the sound tree first")
    parser.add_argument("--list", action="store_true", help="only says what would be tried")
    arguments = parser.parse_args()
    if arguments.list:
        print("\n".join(map(str, choose(arguments, ROOT, Readers(ROOT)))))
        return
    readers = Readers(ROOT)
    chapters = sorted({chapter_of(mutant.path) for mutant in choose(arguments, ROOT, readers)})
    prepare(chapters)
    mutants = choose(arguments, COPY, readers)
    tests = Tests(readers)
    if not arguments.trust:
        tests.try_sound(chapters)
    outcomes = collections.defaultdict(collections.Counter)
    with RESULTS.open("a") as results:
        for mutant in mutants:
            start = time.monotonic()
            noticed = judge(mutant, tests)
            outcomes[chapter_of(mutant.path)][noticed] += 1
            line = f"{'SURVIVED' if noticed is None else noticed}: {mutant} ({time.monotonic() - start:.0f} s)"
            print(line, flush=True)
            print(line, file=results, flush=True)
    print_table(outcomes)


if __name__ == "__main__":
    main()
