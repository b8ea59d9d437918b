#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares how drawings look with how they should.

    tools/compare_drawings.py FOLDER [--program REDRAFT] [--fonts FOLDER] [--peer COMMAND] [--keep FOLDER] [--limit N]

Every .svg below FOLDER that has a .png of its name beside it is imported, rendered at the picture's size and compared
with it. With --peer, drawings without a picture are compared with what COMMAND makes of them: it is called with the
words {in}, {out} and {width} replaced, as in --peer 'rsvg-convert -w {width} -o {out} {in}'.

A pixel looks right when each of its channels lies between the smallest and the largest of the nine pixels around the
same place of the reference, 24 of 255 more or less: edges may be smoothed in another way, shapes may not differ. A
drawing looks right when that holds for all but 2 of 1,000 pixels, and for all but 1 in 20 of those that the reference
paints. Scripts and animation are no part of this: drawings with either are listed apart.
"""
import argparse
import json
import os
import pathlib
import re
import shlex
import struct
import subprocess
import sys
import tempfile
import zlib

TOLERANCE = 24
MOST_WRONG = 0.002
MOST_WRONG_PAINTED = 0.05
PEER_WIDTH = 300


def read_png(path):
    """Width, height and rows of (r, g, b) laid over white, one bytearray a row."""
    data = pathlib.Path(path).read_bytes()
    width, height, depth, kind, _, _, interlace = struct.unpack(">IIBBBBB", data[16:29])
    if interlace:
        raise ValueError(f"{path}: not a plain PNG")
    packed, palette, clear, at = b"", b"", b"", 8
    while at < len(data):
        size, name = struct.unpack(">I4s", data[at:at + 8])
        chunk = data[at + 8:at + 8 + size]
        packed += chunk if name == b"IDAT" else b""
        palette = chunk if name == b"PLTE" else palette
        clear = chunk if name == b"tRNS" else clear
        at += size + 12
    channels = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[kind]
    step, stride = max(channels * depth // 8, 1), (width * channels * depth + 7) // 8
    raw, before, rows = zlib.decompress(packed), bytearray(stride), []
    for y in range(height):
        start = y * (stride + 1)
        row, rule = bytearray(raw[start + 1:start + 1 + stride]), raw[start]
        for i in range(stride if rule else 0):
            a = row[i - step] if i >= step else 0
            b, c = before[i], before[i - step] if i >= step else 0
            if rule == 4:
                pa, pb, pc = abs(b - c), abs(a - c), abs(a + b - 2 * c)
                guess = a if pa <= pb and pa <= pc else b if pb <= pc else c
            else:
                guess = (0, a, b, (a + b) // 2)[rule]
            row[i] = (row[i] + guess) & 255
        before = row
        samples = row[::2] if depth == 16 else row
        if depth < 8:
            full = (1 << depth) - 1
            each = 255 // full if kind == 0 else 1
            samples = [(v >> shift & full) * each for v in row for shift in range(8 - depth, -1, -depth)]
        pixels = bytearray()
        for x in range(width):
            s = samples[x * channels:(x + 1) * channels]
            if kind == 3:
                alpha = clear[s[0]] if s[0] < len(clear) else 255
                s = palette[3 * s[0]:3 * s[0] + 3]
            else:
                alpha = s[-1] if channels in (2, 4) else 255
                s = s[:1] * 3 if channels < 3 else s[:3]
            pixels += bytes((v * alpha + 255 * (255 - alpha)) // 255 for v in s)
        rows.append(pixels)
    return width, height, rows


def widen(rows, pick):
    """The smallest, or largest, value of each channel around each pixel."""
    across = [bytearray(map(pick, row, row[:3] + row[:-3], row[3:] + row[-3:])) for row in rows]
    last = len(rows) - 1
    return [bytearray(map(pick, across[y], across[max(y - 1, 0)], across[min(y + 1, last)])) for y in range(len(rows))]


def find_difference(made, wanted):
    """Empty where the picture looks right, else the reason."""
    if made[:2] != wanted[:2]:
        return f"size {made[0]}x{made[1]} instead of {wanted[0]}x{wanted[1]}"
    low, high = widen(wanted[2], min), widen(wanted[2], max)
    wrong = painted = 0
    for row, least, most, reference in zip(made[2], low, high, wanted[2]):
        bad = [v + TOLERANCE < a or v - TOLERANCE > b for v, a, b in zip(row, least, most)]
        wrong += sum(map(lambda *channels: any(channels), bad[::3], bad[1::3], bad[2::3]))
        painted += sum(reference[i:i + 3] != b"\xff\xff\xff" for i in range(0, len(reference), 3))
    share = wrong / (made[0] * made[1])
    if share <= MOST_WRONG and wrong <= max(MOST_WRONG_PAINTED * painted, 4):
        return ""
    return f"{100 * share:.1f} % of the pixels differ"


def run(words, environment):
    result = subprocess.run(words, capture_output=True, text=True, env=environment, timeout=120)
    lines = [line for line in result.stderr.splitlines() if line.strip()]
    return result.returncode, lines


def compare(drawing, options, environment, folder):
    """The reason why a drawing does not look right, and the program's messages about it."""
    reference = drawing.with_suffix(".png")
    if not reference.exists():
        reference = folder / "reference.png"
        reference.unlink(missing_ok=True)
        words = [w.format(**{"in": drawing, "out": reference, "width": PEER_WIDTH}) for w in shlex.split(options.peer)]
        code, lines = run(words, environment)
        if code != 0 or not reference.exists():
            return "the peer makes no picture of it", lines
    wanted = read_png(reference)
    document, picture = folder / "drawing.redraft", folder / "drawing.png"
    code, lines = run([options.program, "import", str(drawing), "-o", str(document), "--force"], environment)
    if code != 0:
        return "not imported", lines
    listed = subprocess.run([options.program, "info", str(document), "--json"], capture_output=True, text=True,
                            env=environment).stdout
    box = json.loads(listed)["spreads"][0]["box"]
    scale = wanted[0] / (box[2] - box[0])
    code, errors = run([options.program, "render", str(document), "-o", str(picture), "--scale", repr(scale),
                         "--background", "none", "--force"],
                       environment)
    if code != 0:
        return "not rendered", lines + errors
    made = read_png(picture)
    # Sizes are rounded up here and to the nearest elsewhere.
    width, height = min(made[0], wanted[0]), min(made[1], wanted[1])
    if abs(made[0] - wanted[0]) <= 1 and abs(made[1] - wanted[1]) <= 1:
        made, wanted = ((width, height, [row[:3 * width] for row in p[2][:height]]) for p in (made, wanted))
    reason = find_difference(made, wanted)
    if options.keep and reason:
        name = str(drawing.relative_to(options.folder).with_suffix("")).replace("/", "__")
        kept = pathlib.Path(options.keep)
        kept.mkdir(parents=True, exist_ok=True)
        (kept / f"{name}.made.png").write_bytes(picture.read_bytes())
        (kept / f"{name}.wanted.png").write_bytes(reference.read_bytes())
    return reason, lines


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--program", default="build/dev/shell/redraft")
    parser.add_argument("--fonts", help="a folder of fonts that drawings may use; the system's without it")
    parser.add_argument("--peer")
    parser.add_argument("--keep", help="a folder for the pictures of those that do not look right")
    parser.add_argument("--limit", type=float, help="fails when a smaller share, in percent, looks right")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        environment = dict(os.environ)
        if options.fonts:
            (folder / "fonts.conf").write_text(
                '<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd"><fontconfig>'
                f"<dir>{pathlib.Path(options.fonts).resolve()}</dir><cachedir>{folder}/cache</cachedir>"
                "<alias><family>sans-serif</family><prefer><family>Noto Sans</family></prefer></alias>"
                "</fontconfig>")
            environment["FONTCONFIG_FILE"] = str(folder / "fonts.conf")
        drawings = [d for d in sorted(options.folder.rglob("*.svg")) if options.peer or d.with_suffix(".png").exists()]
        moving, right, wrong = [], [], []
        for drawing in drawings:
            if re.search(rb"<(script|animate|animateTransform|animateMotion|set)\b", drawing.read_bytes()):
                moving.append(drawing)
                continue
            reason, lines = compare(drawing, options, environment, folder)
            (wrong if reason else right).append(drawing)
            if reason:
                said = "; ".join(line.split(": ", 2)[-1] for line in lines)
                print(f"{drawing.relative_to(options.folder)}: {reason}{' (' + said + ')' if said else ''}")
    count = len(right) + len(wrong)
    share = 100 * len(right) / count if count else 100
    print(f"{len(right)} of {count} look right, {share:.1f} %; {len(moving)} with scripts or animation left out")
    return 1 if options.limit is not None and share < options.limit else 0


if __name__ == "__main__":
    sys.exit(main())
