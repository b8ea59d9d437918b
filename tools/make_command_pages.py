#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes docs/commands: one page a command, and an index, from what the program and the headers say.

  tools/make_command_pages.py REDRAFT COMMAND_PICTURES PLUGIN            writes the pages and their pictures
  tools/make_command_pages.py REDRAFT COMMAND_PICTURES PLUGIN --check    fails when a page is not what would be written

Each page has a call, which is run on the document of the command's first example, and pictures of the document before
and after it where they look different. COMMAND_PICTURES is the program that makes documents and pictures, PLUGIN a filter
plug-in for the call that needs one. Pictures are compared by name only, since fonts differ between machines.
"""
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGES = ROOT / "docs" / "commands"
PICTURES = PAGES / "pictures"


def read_class_comments():
    """The comment before each class of the command headers, as one paragraph."""
    comments = {}
    for header in sorted((ROOT / "src").rglob("*_command*.h")):
        text = header.read_text()
        for match in re.finditer(r"((?:^//[^\n]*\n)+)class (?:REDRAFT_API )?(\w+)", text, re.MULTILINE):
            lines = [line[2:].strip() for line in match[1].splitlines()]
            comments[match[2]] = " ".join(lines)
    return comments


def parameter_rows(parameter, prefix):
    """The table's row of a parameter, and those of its members where it is a record that has no form of its own."""
    default = f"`{parameter['default']}`" if parameter.get("default") else ""
    words = parameter["help"]
    if parameter["type"] in ("number", "numbers", "integer") and "notation" in parameter:
        words += f" ({parameter['notation']})"
    rows = [f"| `{prefix}{parameter['name']}` | {parameter['type']} | {default} | {words} |"]
    if "form" not in parameter:
        for member in parameter.get("members", []):
            rows += parameter_rows(member, f"{parameter['name']}.")
    return rows


def describe_parameters(parameters):
    forms = {}
    for parameter in parameters:
        forms.setdefault(parameter.get("form", 0), []).append(parameter)
    return [forms[form] for form in sorted(forms)] or [[]]


# A value of each type for the call of a page.
SAMPLES = {"boolean": "true", "integer": "1", "number": "0.5", "text": "Overview", "colour": "tomato",
           "point": "100,100", "rectangle": "20,20,220,170", "transform": "1,0,20,0,1,10", "path": "M0 0 C10 30 20 30 30 0",
           "picture": "photo.png", "plug-in": "squareblur", "numbers": "3,2",
           "merge source": "source:0", "merge rule": "source:0/filter:1/rule:0",
           "merge clause": "source:0/filter:1/rule:0/clause:1", "rows": "0-2,5",
           "new merge filter": '{"type":"sort","field":"city","ascending":false}',
           "new merge rule": '{"clauses":[{"field":"age","operator":"less","value":"50"}]}',
           "new merge clause": '{"field":"age","operator":"less","value":"50"}'}
# Of records, by the parameter's name.
RECORDS = {"line": '{"weight":4,"dash":[3,2],"endHead":"arrow"}',
           "changes": '{"size":"130x170"}',
           "caption": '{"text":"Seen from the south","position":"below"}',
           "style": '{"name":"Page","pattern":"page {page}"}',
           "definition": '{"title":"Chapters"}',
           "file": '{"name":"book.css","text":"p { margin: 0 }"}',
           "cover": '{"kind":"firstPage"}',
           "metadata": '{"modes":["textual","visual"],"sufficientModes":["textual"],"features":["tableOfContents"]}'}
# Of the documents of the examples, by the command's name and the parameter's.
NAMED = {"set-anchor-data-guid": {"anchor": "anchor-end"},
         "delete-index-topic": {"topics": "Animals/Whales"},
         "rename-index-topic": {"topic": "Ships", "name": "Vessels"},
         "set-index-topic-guid": {"topic": "Ships", "guid": "topic-ships"},
         "set-index-topic-sort": {"topic": "Animals/Whales/Sperm whale", "sort": "Whale, sperm"},
         "reparent-index-topic": {"topic": "Animals/Whales", "parent": "Sea"},
         "set-index-language": {"language": "sv"},
         "add-index-cross-reference": {"topic": "Sea", "related": "Animals/Whales"},
         "delete-index-cross-reference": {"topic": "Ships", "related": "Sea"},
         "reparent-index-cross-reference": {"topic": "Ships", "related": "Animals/Whales", "oldRelated": "Sea"},
         "delete-custom-field": {"field": "Title"}, "rename-custom-field": {"field": "Title", "name": "Name"},
         "add-custom-field": {"guid": "year", "name": "Year", "value": "1851"},
         "create-custom-field-from-text": {"guid": "words", "name": "Words", "value": "words of"},
         "caption-counter-type": {"name": "Chart"},
         "delete-export-article": {"article": "article:2"}, "move-export-articles": {"entries": "article:2"},
         "rename-export-article": {"entry": "article:2", "name": "The middle"},
         "reparent-export-articles": {"entries": "#5", "article": "article:0"},
         "set-hide-export-article-from-reader": {"entries": "article:0"},
         "set-metadata-tag": {"key": "title", "value": "Seen from the south"},
         "remove-css-file": {"index": "0"},
         "delete-toc-style": {"style": "Book"}, "rename-toc-style": {"style": "Book", "newName": "Novel"},
         "update-toc-style": {"style": "Book"},
         "add-data-merge-filter-rule": {"filter": "source:0/filter:1"},
         "delete-data-merge-filter": {"filter": "source:0/filter:0"},
         "delete-data-merge-filter-clause": {"filter": "source:0/filter:1"},
         "set-data-merge-fetcher-options": {"options": '{"path":"people.csv"}'},
         "set-data-merge-parser-options": {"options": '{"delimiter":";","header":"present"}'},
         "set-data-merge-filter-enabled": {"filter": "source:0/filter:0", "enabled": "false"},
         "set-data-merge-enabled": {"enabled": "false"},
         "set-data-merge-output-pages": {"startPage": "0", "endPage": "0"},
         "set-data-merge-filter-allowed-records": {"filter": "source:0/filter:0"},
         "set-data-merge-value-filter-rule-combine": {"filter": "source:0/filter:1"},
         "set-data-merge-value-filter-field-id": {"field": "name"},
         "set-data-merge-value-filter-match-value": {"value": "Oslo"},
         "set-data-merge-value-filter-match-values": {"value": "Oslo"},
         "set-data-merge-java-script-filter-name": {"filter": "source:0/filter:3", "name": "Long names"},
         "set-data-merge-java-script-filter-script": {"filter": "source:0/filter:3",
                                                      "script": "return record.name.length > 4;"},
         "set-data-merge-process-filter-action": {"filter": "source:0/filter:2"},
         "set-data-merge-process-filter-warning-message": {"filter": "source:0/filter:2", "message": "See {name}"},
         "set-data-merge-process-filter-replacement-field": {"filter": "source:0/filter:2", "field": "name"},
         "set-data-merge-process-filter-replacement-value": {"filter": "source:0/filter:2", "value": "Gent"},
         "set-data-merge-sort-filter-field-id": {"filter": "source:0/filter:4", "field": "age"},
         "set-data-merge-sort-filter-ascending": {"filter": "source:0/filter:4", "ascending": "false"},
         "generate-image": {"prompt": "a lighthouse at dusk"},
         "generate-vector": {"prompt": "a lighthouse, flat colours"}}
# Of the call, by the command's name.
OPTIONS = {"generate-image": ["--generator", "cat photo.png"], "generate-vector": ["--generator", "cat photo.png"]}


def choose_call(command, symbol):
    """The words of a call of the command, or None where no form has values for all that it needs."""
    for form in describe_parameters(command["parameters"]):
        words = [command["name"]]
        for parameter in form:
            if "default" in parameter:
                continue
            value = NAMED.get(command["name"], {}).get(parameter["name"], SAMPLES.get(parameter["type"]))
            if parameter["name"] in NAMED.get(command["name"], {}):
                pass
            elif parameter["type"] == "name":
                value = re.split(", | or ", parameter["notation"])[-1]
            elif parameter["type"] == "symbol":
                value = symbol
            elif parameter["type"] == "record":
                value = RECORDS.get(parameter["name"])
            if value is None:
                break
            words.append(f"{parameter['name']}={value}")
        else:
            return words
    return None


class Calls:
    """Runs the calls of the pages, each on a document of its own."""

    def __init__(self, program, drawer, plugin, folder):
        self.program, self.drawer, self.folder = pathlib.Path(program).resolve(), drawer, pathlib.Path(folder)
        plugins = self.folder / "plugins"
        plugins.mkdir()
        shutil.copy(plugin, plugins / "squareblur.so")
        self.environment = dict(os.environ, FREI0R_PATH=str(plugins), XDG_DATA_HOME=str(self.folder / "data"),
                                XDG_CACHE_HOME=str(self.folder / "cache"), LC_ALL="C.UTF-8")
        subprocess.run([drawer, "documents", folder], check=True)
        self.run("export", "FillHolesCommand.redraft", "--select", "all", "--scale", "1", "-o", "photo.png")

    def run(self, *words):
        return subprocess.run([self.program, *words], cwd=self.folder, env=self.environment, capture_output=True,
                              text=True)

    def find_symbol(self, document):
        def walk(nodes):
            for node in nodes:
                if node.get("type") == "SymbolNode":
                    return f"#{node['id']}"
                if found := walk(node.get("children", [])):
                    return found
            return None
        tree = json.loads(self.run("tree", document, "--json").stdout)
        return walk(tree if isinstance(tree, list) else [tree])

    def make(self, command):
        """The lines of a page about the call of a command, which has been run. Empty for commands that have none."""
        document = f"{command['class']}.redraft"
        if "reason" in command:
            return []
        if not (self.folder / document).exists():
            sys.exit(f"{command['class']} has no example")
        words = choose_call(command, self.find_symbol(document))
        if words is None:
            sys.exit(f"{command['class']}: there is no sample of a value that it needs")
        words += OPTIONS.get(command["name"], [])
        done = self.run("do", document, *words, "-o", f"{command['class']}-after.redraft")
        idle = done.returncode == 1 and done.stderr.endswith(": nothing to do\n")
        if done.returncode != 0 and not idle:
            sys.exit(f"the call of {command['class']} does not run: {shlex.join(words)}: {done.stderr.strip()}")
        return ["For example, on a document where there is nothing to do:" if idle else "For example:", "",
                "    redraft do drawing.redraft " + shlex.join(words), ""]

    def draw(self, out):
        """The pictures of all calls that were made."""
        subprocess.run([self.drawer, "pictures", self.folder, out], check=True)
        return {path.name for path in pathlib.Path(out).glob("*.png")}


def make_page(command, comments, call, pictures):
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
                    lines += parameter_rows(parameter, "")
                lines.append("")
    lines += call
    if f"{command['class']}-after.png" in pictures:
        lines += ["| before | after |", "|---|---|",
                  "| " + " | ".join(f"![{when}](pictures/{command['class']}-{when}.png)" for when in ("before", "after"))
                  + " |", ""]
    if "kept" in command:
        lines += [f"What undo leaves changed, on purpose: {command['kept']}", ""]
    return "\n".join(lines).rstrip() + "\n"


def make_pages(program, calls, out):
    commands = json.loads(subprocess.run([program, "commands", "--json"], check=True, capture_output=True).stdout)
    # Pages are for the library's classes; several roads lead to one inner class.
    commands = [command for command in commands if "inner" not in command]
    comments = read_class_comments()
    made = {command["class"]: calls.make(command) for command in commands}
    pictures = calls.draw(out)
    pages = {f"{command['class']}.md": make_page(command, comments, made[command["class"]], pictures)
             for command in commands}
    index = ["# Commands", "", "Made by `make command-pages` from the program and the headers.", ""]
    index += [f"* [{c['class']}]({c['class']}.md){': ' + comments[c['class']].split('. ')[0].rstrip('.') if c['class'] in comments else ''}"
              for c in commands]
    pages["README.md"] = "\n".join(index) + "\n"
    return pages


def main():
    program, drawer, plugin = sys.argv[1:4]
    with tempfile.TemporaryDirectory() as folder:
        calls = Calls(program, pathlib.Path(drawer).resolve(), plugin, folder)
        drawn = pathlib.Path(folder) / "pictures"
        pages = make_pages(program, calls, drawn)
        names = {path.name for path in drawn.glob("*.png")}
        if "--check" in sys.argv[4:]:
            present = {path.name: path.read_text() for path in PAGES.glob("*.md")}
            stale = sorted(name for name in pages.keys() | present.keys() if pages.get(name) != present.get(name))
            stale += sorted(names ^ {path.name for path in PICTURES.glob("*.png")})
            if stale:
                sys.exit("docs/commands is behind the program (" + ", ".join(stale) + "); run 'make command-pages'")
            print("OK command pages")
            return
        shutil.rmtree(PAGES, ignore_errors=True)
        PICTURES.mkdir(parents=True)
        for name, text in pages.items():
            (PAGES / name).write_text(text)
        for name in names:
            shutil.copy(drawn / name, PICTURES / name)


main()
