#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that each folder includes only what its level allows. See docs/architecture.md."""
import pathlib
import re
import subprocess
import sys

# Folder -> what its files may include, by the first folders of the path. A folder may always include itself.
FRAME_TEMPLATES = (
    "frame/selection/selection_command.h", "frame/selection/story_selection_command.h", "frame/selection/visitor.h")
ENGINE_ORDER = ["kernel", "geometry", "raster", "renderer", "story", "document"]
ALLOWED = {
    "src/platform": ["platform/", *FRAME_TEMPLATES],
    "src/frame": ["platform/"],
    "src/shapes": ["platform/", "frame/", "raster/pipeline/"],
    "src/lines": ["platform/", "frame/"],
    "src/raster": ["platform/", "frame/"],
    "src/generative": ["platform/", "frame/", "raster/"],
    "src/text": ["platform/", "frame/"],
    "src/export": ["platform/", "frame/"],
    "src/merge": ["platform/", "frame/"],
    "formats": ["platform/"],
    "engine/store": ["platform/kernel/", "engine/kernel/"],
}
for index, room in enumerate(ENGINE_ORDER):
    ALLOWED[f"engine/{room}"] = [f"engine/{name}/" for name in ENGINE_ORDER[:index]] + [
        f"platform/{name}/" for name in ENGINE_ORDER[: index + 1]]
# The kernel stores transforms, which are plain numbers; the document writes to the store.
ALLOWED["engine/kernel"] += ["platform/raster/affine_transform.h"]
ALLOWED["engine/geometry"] += ["platform/raster/affine_transform.h"]
ALLOWED["engine/document"] += ["engine/store/", *FRAME_TEMPLATES]
# Names of third-party headers never stand in src.
STANDARD = re.compile(r"^<([a-z_0-9]+|sys/single_threaded\.h)>$")
INCLUDE = re.compile(r'^\s*#\s*include\s+([<"][^>"]+[>"])')


def own_prefix(folder: str) -> str:
    return folder.removeprefix("src/") + "/"


def main() -> int:
    files = subprocess.run(["git", "ls-files", "src", "formats", "engine"], capture_output=True, text=True, check=True).stdout
    failures = 0
    for name in files.split():
        if not name.endswith((".h", ".cpp")):
            continue
        folder = "formats" if name.startswith("formats/") else "/".join(name.split("/")[:2])
        if folder not in ALLOWED:
            continue
        for number, line in enumerate(pathlib.Path(name).read_text().splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            target = match.group(1)
            if target.startswith("<"):
                bad = folder.startswith("src/") and not STANDARD.match(target)
            else:
                path = target.strip('"')
                bad = not any(path.startswith(prefix) for prefix in [own_prefix(folder), *ALLOWED[folder]])
            if bad:
                print(f"{name}:{number}: {folder} may not include {target}")
                failures += 1
    print("FAIL levels" if failures else "OK levels")
    return 1 if failures else 0


sys.exit(main())
