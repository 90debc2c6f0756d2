# SPDX-License-Identifier: MIT
"""Makes the demonstration's package: files of mixed sizes, always the same content, and the list the launcher takes.

demo_package.py FOLDER LIST BASE_URL DIVISOR

FOLDER gets the files, LIST one line for each (URL, size, MD5). Sizes are those below divided by DIVISOR.
"""
import hashlib
import pathlib
import random
import sys
import urllib.parse
import zipfile

MIB = 1 << 20
BLOCK = MIB
# The sizes are chosen so that some are no multiple of any block, one is a single byte and one is nothing at all.
FILES = [
    ("world_00.pak", 88 * MIB),
    ("world_01.pak", 60 * MIB + 1),
    ("textures.pak", 48 * MIB),
    ("music.pak", 36 * MIB + 4095),
    ("intro.video", 24 * MIB),
    ("sounds.pak", 16 * MIB + 77),
    ("voices.pak", 12 * MIB),
    ("Übersicht der 世界.map", 8 * MIB + 12345),
    ("shaders.bin", 4 * MIB),
    ("levels.db", 3 * MIB // 2 + 3),
    ("settings.json", 4097),
    ("version.txt", 1),
    ("empty.flag", 0),
]


def write_file(path, size, seed):
    """Writes pseudo-random bytes and returns their MD5."""
    source = random.Random(seed)
    digest = hashlib.md5()
    with open(path, "wb") as file:
        while size > 0:
            block = source.randbytes(min(size, BLOCK))
            file.write(block)
            digest.update(block)
            size -= len(block)
    return digest.hexdigest()


def write_archive(path, divisor):
    """Writes an archive of some files and returns its size and MD5."""
    source = random.Random(len(FILES))
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, size in (("extras/wallpaper.bin", 5 * MIB), ("extras/Anhang ü.txt", 100000), ("readme.txt", 10)):
            entry = zipfile.ZipInfo(name, (2026, 1, 1, 0, 0, 0))
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, source.randbytes(-(-size // (2 * divisor))).hex())
    content = path.read_bytes()
    return len(content), hashlib.md5(content).hexdigest()


def main():
    folder, list_path, base_url, divisor = sys.argv[1:5]
    lines = ["# URL, size in bytes, MD5"]
    for seed, (name, full_size) in enumerate(FILES):
        size = -(-full_size // int(divisor))
        md5 = write_file(pathlib.Path(folder) / name, size, seed)
        lines.append(f"{base_url}/{urllib.parse.quote(name)} {size} {md5}")
    size, md5 = write_archive(pathlib.Path(folder) / "extras.zip", int(divisor))
    lines.append(f"{base_url}/extras.zip {size} {md5}")
    pathlib.Path(list_path).write_text("\n".join(lines) + "\n", encoding="utf-8")


main()
