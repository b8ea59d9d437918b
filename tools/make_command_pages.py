#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes docs/commands: one page a command, and an index, from what the program and the headers say.

  tools/make_command_pages.py REDRAFT            writes the pages
  tools/make_command_pages.py REDRAFT --check    fails when a page is not what would be written
"""
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGES = ROOT / "docs" / "commands"


def read_class_comments():
    """The comment before each class of the command headers, as one paragraph."""
    comments = {}
    for header in sorted((ROOT / "src").rglob("*_command.h")):
        text = header.read_text()
        for match in re.finditer(r"((?:^//[^\n]*\n)+)class (?:REDRAFT_API )?(\w+)", text, re.MULTILINE):
            lines = [line[2:].strip() for line in match[1].splitlines()]
            comments[match[2]] = " ".join(lines)
    return comments


def describe_parameters(parameters):
    forms = {}
    for parameter in parameters:
        forms.setdefault(parameter.get("form", 0), []).append(parameter)
    return [forms[form] for form in sorted(forms)] or [[]]


def make_page(command, comments):
    lines = [f"# {command['class']}", ""]
    if command["class"] in comments:
        lines += [comments[command["class"]], ""]
    if command["description"]:
        lines += [f"In the history it is called \"{command['description']}\".", ""]
    if command["tag"] is None:
        lines += ["Not stored in documents.", ""]
    else:
        lines += [f"Stored as `{command['tag']}`, version {command['version']}, on `{command['base']}`.", ""]
    if "reason" in command:
        lines += [f"It cannot be run from the command line: {command['reason']}.", ""]
    else:
        for form in describe_parameters(command["parameters"]):
            words = [command["name"]]
            for parameter in form:
                word = f"{parameter['name']}={parameter['type']}"
                words.append(f"[{word}]" if "default" in parameter else word)
            lines += ["    redraft do DOC " + " ".join(words), ""]
            if form:
                lines += ["| parameter | type | default | |", "|---|---|---|---|"]
                for parameter in form:
                    default = f"`{parameter['default']}`" if parameter.get("default") else ""
                    lines.append(f"| `{parameter['name']}` | {parameter['type']} | {default} | {parameter['help']} |")
                lines.append("")
    if "kept" in command:
        lines += [f"What undo leaves changed, on purpose: {command['kept']}", ""]
    return "\n".join(lines).rstrip() + "\n"


def make_pages(program):
    commands = json.loads(subprocess.run([program, "commands", "--json"], check=True, capture_output=True).stdout)
    comments = read_class_comments()
    pages = {f"{command['class']}.md": make_page(command, comments) for command in commands}
    index = ["# Commands", "", "Made by `make command-pages` from the program and the headers.", ""]
    index += [f"* [{c['class']}]({c['class']}.md){': ' + comments[c['class']].split('. ')[0].rstrip('.') if c['class'] in comments else ''}"
              for c in commands]
    pages["README.md"] = "\n".join(index) + "\n"
    return pages


def main():
    pages = make_pages(sys.argv[1])
    if "--check" in sys.argv[2:]:
        present = {path.name: path.read_text() for path in PAGES.glob("*.md")}
        stale = sorted(name for name in pages.keys() | present.keys() if pages.get(name) != present.get(name))
        if stale:
            sys.exit("docs/commands is behind the program (" + ", ".join(stale) + "); run 'make command-pages'")
        print("OK command pages")
        return
    PAGES.mkdir(parents=True, exist_ok=True)
    for path in PAGES.glob("*.md"):
        path.unlink()
    for name, text in pages.items():
        (PAGES / name).write_text(text)


main()
