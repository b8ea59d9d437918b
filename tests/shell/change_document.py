#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Changes a document as any SQLite program could, and mends the checksums of its pages: change_document.py DOC SQL."""

import ctypes
import sqlite3
import struct
import sys

PAGE_SIZE = 32768
CHECKSUM_SIZE = 8

path, statement = sys.argv[1:]
with sqlite3.connect(path) as connection:
    connection.execute(statement)
connection.close()

xxhash = ctypes.CDLL("libxxhash.so.0")
xxhash.XXH3_64bits_withSeed.argtypes = [ctypes.c_char_p, ctypes.c_size_t, ctypes.c_uint64]
xxhash.XXH3_64bits_withSeed.restype = ctypes.c_uint64
with open(path, "r+b") as file:
    content = file.read()
    for start in range(0, len(content), PAGE_SIZE):
        page = content[start:start + PAGE_SIZE - CHECKSUM_SIZE]
        if any(page):
            file.seek(start + len(page))
            file.write(struct.pack("<Q", xxhash.XXH3_64bits_withSeed(page, len(page), start // PAGE_SIZE + 1)))
