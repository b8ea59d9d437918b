#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs shell transcripts and compares what they print.

A transcript holds what a user types and what comes back:

    $ redraft new a.redraft --size 100x50
    a.redraft: 1 page of 100 x 50, RGBA8
    $ redraft do a.redraft flip-canvas horizontal=maybe
    redraft: horizontal: needs true or false, not 'maybe'
    [2]

Lines with `$ ` are given to bash, those with `> ` carry them on; the lines below are the output, both streams together,
and a status other than 0 in brackets. Output that is empty or would be taken for something else stands behind `| `.
Lines with `#` are comments. An expected line that ends in ` (re)` is a regular expression. Each transcript runs in an empty folder of its own, with `redraft` in the path.
"""

import argparse
import difflib
import os
import pathlib
import re
import subprocess
import sys
import tempfile

STEP_TIMEOUT_SECONDS = 600


def protect(line):
    """An output line as it stands in a transcript."""
    if not line:
        return "|"
    return "| " + line if line[0] in "#$>|" else line


class Step:
    def __init__(self, line):
        self.commands = [line]
        self.expected = []


def read_transcript(path):
    """The lines in front of each step, and the steps."""
    comments, steps = [[]], []
    for line in path.read_text(encoding="utf-8").splitlines():
        if line.startswith("$ "):
            steps.append(Step(line[2:]))
            comments.append([])
        elif line.startswith("> ") and steps and not steps[-1].expected:
            steps[-1].commands.append(line[2:])
        elif line == ">" and steps and not steps[-1].expected:
            steps[-1].commands.append("")
        elif line.startswith("#") or not line:
            comments[-1].append(line)
        elif not steps:
            raise SystemExit(f"{path}: output before the first command: {line}")
        else:
            steps[-1].expected.append(line[2:] if line.startswith("|") else line)
    return comments, steps


def run_steps(steps, environment, folder):
    """What each step prints, with its status as a last line where it is not 0."""
    mark = "=+=" + os.urandom(8).hex()
    script = ""
    for step in steps:
        script += "\n".join(step.commands) + f"\necho {mark} $?\n"
    done = subprocess.run(
        ["bash", "--noprofile", "--norc"], input=script.encode(), stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
        cwd=folder, env=environment, timeout=STEP_TIMEOUT_SECONDS, check=False)
    outputs, current = [], []
    for line in done.stdout.decode("utf-8", "replace").splitlines():
        before, found, after = line.partition(mark)
        if not found:
            current.append(line)
            continue
        if before:
            current.append(before)
        status = after.strip()
        if status != "0":
            current.append(f"[{status}]")
        outputs.append(current)
        current = []
    while len(outputs) < len(steps):
        outputs.append(current + ["(the shell ended)"])
        current = []
    return outputs


def matches(expected, actual):
    if len(expected) != len(actual):
        return False
    for want, got in zip(expected, actual):
        if want.endswith(" (re)"):
            if not re.fullmatch(want[:-5], got):
                return False
        elif want != got:
            return False
    return True


def run_transcript(path, redraft, update):
    comments, steps = read_transcript(path)
    environment = {key: os.environ[key] for key in ("HOME", "LD_LIBRARY_PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS",
                                                    "TSAN_OPTIONS", "LSAN_OPTIONS") if key in os.environ}
    environment.update(PATH=f"{redraft.parent}:{os.environ['PATH']}", LC_ALL="C.UTF-8", TZ="UTC",
                       TESTS=str(path.resolve().parent), FREI0R_PATH=str(redraft.parent.parent / "tests" / "plugins"))
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryDirectory() as home:
        # Nothing of the user's: neither what was cached nor the key.
        environment.update(XDG_CACHE_HOME=home + "/cache", XDG_DATA_HOME=home + "/data")
        outputs = run_steps(steps, environment, folder)
    failed = [i for i, step in enumerate(steps) if not matches(step.expected, outputs[i])]
    if update:
        text = list(comments[0])
        for i, step in enumerate(steps):
            text.append("$ " + step.commands[0])
            text += ["> " + line if line else ">" for line in step.commands[1:]]
            text += [protect(line) for line in (outputs[i] if i in failed else step.expected)]
            text += comments[i + 1]
        path.write_text("\n".join(text) + "\n", encoding="utf-8")
    for i in failed:
        print(f"{path.name}: $ {steps[i].commands[0]}")
        for line in difflib.unified_diff(steps[i].expected, outputs[i], "expected", "printed", lineterm="", n=99):
            print("    " + line)
    return not failed


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--redraft", type=pathlib.Path, required=True, help="the program")
    parser.add_argument("--update", action="store_true", help="writes what was printed into the transcripts")
    parser.add_argument("transcripts", type=pathlib.Path, nargs="+")
    arguments = parser.parse_args()
    redraft = arguments.redraft.resolve()
    results = [run_transcript(path, redraft, arguments.update) for path in arguments.transcripts]
    print(f"{sum(results)} of {len(results)} transcripts as expected")
    sys.exit(0 if all(results) else 1)


if __name__ == "__main__":
    main()
