#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Proves that wrong includes do not compile: each room finds exactly those of the project's headers that its level allows.

  tests/levels_test.py LIST COMPILER

LIST has a line a room, as the build makes it: target|folder|include folder;...
"""
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tools"))
from check_levels import Levels  # noqa: E402


def list_headers():
    """The project's headers by the paths that they are included by."""
    for base, folders in ((ROOT / "src", [ROOT / "src"]), (ROOT, [ROOT / "engine", ROOT / "formats", ROOT / "shell"])):
        for folder in folders:
            for header in sorted(folder.rglob("*.h")):
                yield header.relative_to(base).as_posix()


def compiles(compiler, folders, header):
    command = [compiler, "-std=c++20", "-E", "-x", "c++", "-o", "/dev/null", "-", *(f"-I{folder}" for folder in folders)]
    return subprocess.run(command, input=f'#include "{header}"\n', text=True, capture_output=True).returncode == 0


def main():
    levels = Levels()
    headers = list(list_headers())
    failures = []
    refused = 0
    for line in pathlib.Path(sys.argv[1]).read_text().splitlines():
        target, room, joined = line.split("|")
        folders = [pathlib.Path(folder) for folder in joined.split(";") if folder]
        allowed = {header for header in headers if levels.allows(room, header)}
        found = {header for header in headers if any((folder / header).exists() for folder in folders)}
        failures += [f"{target} finds {header}, which {room} may not include" for header in sorted(found - allowed)]
        failures += [f"{target} does not find {header}, which {room} may include" for header in sorted(allowed - found)]
        # One of each kind by the compiler itself.
        forbidden = next(header for header in headers if header not in allowed)
        if compiles(sys.argv[2], folders, forbidden):
            failures.append(f"{target} compiles {forbidden}")
        else:
            refused += 1
        # The engine's own selection commands include templates that rooms below the frame do not see.
        if allowed and not any(compiles(sys.argv[2], folders, header) for header in sorted(allowed)[:8]):
            failures.append(f"{target} does not compile {min(allowed)}")
    print("\n".join(failures) or f"OK {refused} rooms")
    # Without rooms nothing has been tried.
    return 1 if failures or refused == 0 else 0


sys.exit(main())
