#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that each file includes only what cmake/levels.txt allows its folder. The build holds this for the project's own
headers; what stands in the system's include folder every compiler finds, and a file beside a source needs no folder."""
import fnmatch
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# Rooms must stand below these, and these alone are held to levels.
HELD = ("src/", "engine/", "formats/", "shell/", "examples/", "tests/support/", "tests/examples/")
INCLUDE = re.compile(r'^\s*#\s*include\s+([<"][^>"]+[>"])')
STANDARD = re.compile(r"^<[a-z_0-9]+>$")


class Levels:
    """The table of cmake/levels.txt."""

    def __init__(self):
        text = (ROOT / "cmake" / "levels.txt").read_text().replace("\\\n", " ")
        lines = [line for line in text.splitlines() if line.strip() and not line.startswith("#")]
        self.entries = {name: rest.split() for name, rest in (line.split(":", 1) for line in lines)}
        self.rooms = [name for name in self.entries if not name.startswith("@")]

    def find_room(self, path):
        """The room of a file, by the longest folder that has a line; None where no line is meant for it."""
        rooms = [room for room in self.rooms if path.startswith(room + "/")]
        room = max(rooms, key=len, default=None)
        # The line of src is for the files that stand in src itself.
        return None if room == "src" and path.count("/") != 1 else room

    def list_entries(self, room):
        """What the room may include: its own folder, then its entries, with those that @NAME stands for."""
        own = room if room != "src" else "*.h"
        pending = [own.removeprefix("src/"), *self.entries[room]]
        while pending:
            entry = pending.pop(0)
            if entry.startswith("@"):
                pending[:0] = self.entries[entry]
            else:
                yield entry

    def allows(self, room, include):
        """Whether the room may include `"path"` or `<path>`, given without quotes or with its angle brackets."""
        if include.startswith("<"):
            return bool(STANDARD.match(include)) or any(
                fnmatch.fnmatchcase(include, entry) for entry in self.list_entries(room) if entry.startswith("<"))
        if ".." in include.split("/"):
            return False
        return any(self._covers(entry, include) for entry in self.list_entries(room))

    def _covers(self, entry, include):
        if entry.startswith("<"):
            return False
        if "*" in entry or entry.endswith(".h"):
            return include.count("/") == entry.count("/") and fnmatch.fnmatchcase(include, entry)
        if not include.startswith(entry + "/"):
            return False
        # A folder's entry leaves out the rooms below it.
        below = [room.removeprefix("src/") for room in self.rooms]
        return not any(room.startswith(entry + "/") and include.startswith(room + "/") for room in below)


    def is_installed(self, include):
        return any(self._covers(entry, include) for name in ("@library", "@formats") for entry in self.entries[name])


def main():
    levels = Levels()
    files = subprocess.run(["git", "ls-files", "*.h", "*.cpp", "*.c"], capture_output=True, text=True, check=True,
                           cwd=ROOT).stdout
    failures = 0
    for name in files.split():
        if not name.startswith(HELD):
            continue
        room = levels.find_room(name)
        if room is None:
            print(f"{name}: cmake/levels.txt has no line for its folder")
            failures += 1
            continue
        for number, line in enumerate((ROOT / name).read_text().splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            include = match.group(1).strip('"')
            if not levels.allows(room, include):
                print(f"{name}:{number}: {room} may not include {match.group(1)}")
                failures += 1
            elif levels.is_installed(name.removeprefix("src/")) and include[0] != "<" and not levels.is_installed(include):
                print(f"{name}:{number}: an installed header includes {include}, which is not installed")
                failures += 1
    print("FAIL levels" if failures else "OK levels")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
