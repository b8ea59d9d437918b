#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the pixels of a small PNG of 8 or 16 bits in hexadecimal, a line a row."""

import struct
import sys
import zlib


def paeth(left, above, corner):
    """ISO/IEC 15948, 9.4."""
    estimate = left + above - corner
    distances = [(abs(estimate - value), order, value) for order, value in enumerate((left, above, corner))]
    return min(distances)[2]


def read_rows(data):
    at, packed, header = 8, b"", None
    while at < len(data):
        size, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + size]
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            packed += body
        at += size + 12
    width, height, depth, colours = header[:4]
    pixel = {0: 1, 2: 3, 4: 2, 6: 4}[colours] * depth // 8
    samples, pitch = zlib.decompress(packed), width * pixel
    above = bytes(pitch)
    for y in range(height):
        start = y * (pitch + 1)
        kind, row = samples[start], bytearray(samples[start + 1:start + 1 + pitch])
        for i in range(pitch):
            left = row[i - pixel] if i >= pixel else 0
            corner = above[i - pixel] if i >= pixel else 0
            guess = (0, left, above[i], (left + above[i]) // 2, paeth(left, above[i], corner))[kind]
            row[i] = (row[i] + guess) & 255
        above = bytes(row)
        yield [row[i:i + pixel].hex() for i in range(0, pitch, pixel)]


with open(sys.argv[1], "rb") as file:
    for line in read_rows(file.read()):
        print(*line)
