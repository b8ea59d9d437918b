#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes a small colour profile (ICC.1:2001-04): make_profile.py gamma|ink|paper OUT.icc.

gamma: RGB with sRGB's primaries and a gamma of 1.8. ink: CMYK. paper: the same without the way from other colours to
ink, as small profiles have it.
"""

import itertools
import struct
import sys


def fixed(value):
    return struct.pack(">i", round(value * 65536))


def xyz(x, y, z):
    return b"XYZ \0\0\0\0" + fixed(x) + fixed(y) + fixed(z)


def text_description(text):
    ascii_text = text.encode() + b"\0"
    return b"desc\0\0\0\0" + struct.pack(">I", len(ascii_text)) + ascii_text + bytes(78)


def table(inputs, outputs, corners):
    """A lut16Type with two points along each input; `corners` are the outputs, the last input running fastest."""
    ramp = struct.pack(">HH", 0, 65535)
    identity = b"".join(fixed(float(row == column)) for row in range(3) for column in range(3))
    values = b"".join(struct.pack(">H", min(65535, max(0, round(value)))) for corner in corners for value in corner)
    return (b"mft2\0\0\0\0" + bytes([inputs, outputs, 2, 0]) + identity + struct.pack(">HH", 2, 2) + ramp * inputs +
            values + ramp * outputs)


def lab(lightness, a, b):
    """As version 2 writes it in 16 bits."""
    return (lightness * 652.8, (a + 128) * 256, (b + 128) * 256)


def ink_to_lab(cyan, magenta, yellow, black):
    light = (1 - 0.4 * cyan) * (1 - 0.5 * magenta) * (1 - 0.1 * yellow) * (1 - 0.9 * black)
    fade = 1 - black
    return lab(95 * light, fade * (-35 * cyan + 70 * magenta - 5 * yellow), fade * (-45 * cyan + 85 * yellow))


def lab_to_ink(lightness, a, b):
    # Corners of the cube of Lab: dark ones are black, light ones a primary.
    return (65535 * (1 - a), 65535 * a, 65535 * b, 65535 * (1 - lightness))


def write(path, space, tags):
    tags = [(name, body + bytes(-len(body) % 4)) for name, body in tags]
    at = 132 + 12 * len(tags)
    listed, bodies = struct.pack(">I", len(tags)), b""
    for name, body in tags:
        listed += name + struct.pack(">II", at + len(bodies), len(body))
        bodies += body
    connection = b"XYZ " if space == b"RGB " else b"Lab "
    kind = b"mntr" if space == b"RGB " else b"prtr"
    header = (struct.pack(">I", at + len(bodies)) + bytes(4) + b"\x02\x40\0\0" + kind + space + connection +
              struct.pack(">6H", 2000, 1, 1, 0, 0, 0) + b"acsp" + bytes(28) + fixed(0.9642) + fixed(1) + fixed(0.8249))
    header += bytes(128 - len(header))
    with open(path, "wb") as out:
        out.write(header + listed + bodies)


def main():
    kind, path = sys.argv[1:]
    white = (b"wtpt", xyz(0.9642, 1, 0.8249))
    if kind == "gamma":
        curve = b"curv\0\0\0\0" + struct.pack(">IH", 1, round(1.8 * 256))
        write(path, b"RGB ", [(b"desc", text_description("Gamma 1.8")), white,
                              (b"rXYZ", xyz(0.4361, 0.2225, 0.0139)), (b"gXYZ", xyz(0.3851, 0.7169, 0.0971)),
                              (b"bXYZ", xyz(0.1431, 0.0606, 0.7141)), (b"rTRC", curve), (b"gTRC", curve),
                              (b"bTRC", curve)])
        return
    tags = [(b"desc", text_description("Test " + kind)), white,
            (b"A2B0", table(4, 3, [ink_to_lab(*ink) for ink in itertools.product((0, 1), repeat=4)]))]
    if kind == "ink":
        tags.append((b"B2A0", table(3, 4, [lab_to_ink(*corner) for corner in itertools.product((0, 1), repeat=3)])))
    write(path, b"CMYK", tags)


if __name__ == "__main__":
    main()
