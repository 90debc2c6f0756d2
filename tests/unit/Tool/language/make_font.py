#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes a small TrueType font in which every Latin character is the same box. For tests that need a font whose family
they know.

usage: make_font.py FILE FAMILY
"""

import struct
import sys

UNITS_PER_EM = 1000
BOX = (100, 0, 500, 700)  # left, bottom, right, top
ADVANCE = 600
ASCENT, DESCENT = 800, -200
# Latin, as much as a text in English needs: programs ask what a font is good for.
FIRST_CHARACTER, LAST_CHARACTER = 0x20, 0x17F
POSTSCRIPT_NAME_OF_FAMILY = str.maketrans("", "", " ")


def box_glyph():
    left, bottom, right, top = BOX
    header = struct.pack(">hhhhh", 1, left, bottom, right, top)
    contour = struct.pack(">HH", 3, 0)  # index of the last point; no instructions
    flags = bytes([1, 1, 1, 1])  # on the curve, both coordinates as 16-bit differences
    xs = struct.pack(">hhhh", left, 0, right - left, 0)
    ys = struct.pack(">hhhh", bottom, top - bottom, 0, bottom - top)
    glyph = header + contour + flags + xs + ys
    return glyph + b"\0" * (-len(glyph) % 4)


def cmap():
    # Format 4: one segment in which every character is glyph 1, and the closing one.
    glyphs = struct.pack(">H", 1) * (LAST_CHARACTER - FIRST_CHARACTER + 1)
    body = struct.pack(">HHHH", 4, 4, 1, 0)
    body += struct.pack(">HH", LAST_CHARACTER, 0xFFFF) + struct.pack(">H", 0)
    body += struct.pack(">HH", FIRST_CHARACTER, 0xFFFF)
    body += struct.pack(">HH", 0, 1)
    body += struct.pack(">HH", 4, 0) + glyphs  # from here to the glyphs are four bytes
    table = struct.pack(">HHH", 4, len(body) + 6, 0) + body
    return struct.pack(">HH", 0, 1) + struct.pack(">HHI", 3, 1, 12) + table


def name(family):
    texts = {
        1: family,
        2: "Regular",
        3: family + " 1.0",
        4: family,
        5: "Version 1.0",
        6: family.translate(POSTSCRIPT_NAME_OF_FAMILY),
        13: "MIT",
    }
    records, storage = b"", b""
    for identifier, text in texts.items():
        data = text.encode("utf-16-be")
        records += struct.pack(">HHHHHH", 3, 1, 0x0409, identifier, len(data), len(storage))
        storage += data
    return struct.pack(">HHH", 0, len(texts), 6 + len(records)) + records + storage


def os2():
    table = struct.pack(">HhHHH", 4, ADVANCE, 400, 5, 0)
    table += struct.pack(">hhhhhhhhhhh", 650, 600, 0, 75, 650, 600, 0, 350, 50, 300, 0)
    table += bytes(10) + struct.pack(">IIII", 1, 0, 0, 0) + b"NONE"
    table += struct.pack(">HHH", 0x40, FIRST_CHARACTER, LAST_CHARACTER)
    table += struct.pack(">hhhHH", ASCENT, DESCENT, 0, ASCENT, -DESCENT)
    table += struct.pack(">II", 1, 0)
    return table + struct.pack(">hhHHH", 500, 700, 0, ord(" "), 1)


def head():
    table = struct.pack(">IIII", 0x00010000, 0x00010000, 0, 0x5F0F3CF5)
    table += struct.pack(">HHqq", 0x000B, UNITS_PER_EM, 0, 0)
    table += struct.pack(">hhhh", *BOX)
    return table + struct.pack(">HHhhh", 0, 8, 2, 1, 0)


def tables(family):
    glyph = box_glyph()
    left, bottom, right, top = BOX
    return {
        b"OS/2": os2(),
        b"cmap": cmap(),
        b"glyf": glyph * 2,
        b"head": head(),
        b"hhea": struct.pack(">IhhhHhhhhhhhhhhhH", 0x00010000, ASCENT, DESCENT, 0, ADVANCE, left, ADVANCE - right,
                             right, 1, 0, 0, 0, 0, 0, 0, 0, 2),
        b"hmtx": struct.pack(">HhHh", ADVANCE, left, ADVANCE, left),
        b"loca": struct.pack(">III", 0, len(glyph), 2 * len(glyph)),
        b"maxp": struct.pack(">IHHHHHHHHHHHHHH", 0x00010000, 2, 4, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0),
        b"name": name(family),
        b"post": struct.pack(">IIhhIIIII", 0x00030000, 0, -75, 50, 0, 0, 0, 0, 0),
    }


def checksum(data):
    data += b"\0" * (-len(data) % 4)
    return sum(struct.unpack(">%dI" % (len(data) // 4), data)) & 0xFFFFFFFF


def font(family):
    parts = tables(family)
    search_range, entry_selector = 128, 3  # for ten tables
    directory = struct.pack(">IHHHH", 0x00010000, len(parts), search_range, entry_selector,
                            len(parts) * 16 - search_range)
    body = b""
    head_offset = 0
    offset = 12 + 16 * len(parts)
    for tag in sorted(parts):
        data = parts[tag]
        if tag == b"head":
            head_offset = offset + len(body)
        directory += struct.pack(">4sIII", tag, checksum(data), offset + len(body), len(data))
        body += data + b"\0" * (-len(data) % 4)
    whole = directory + body
    adjustment = (0xB1B0AFBA - checksum(whole)) & 0xFFFFFFFF
    return whole[: head_offset + 8] + struct.pack(">I", adjustment) + whole[head_offset + 12 :]


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    with open(sys.argv[1], "wb") as file:
        file.write(font(sys.argv[2]))


if __name__ == "__main__":
    main()
