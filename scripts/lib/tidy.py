#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs clang-tidy over the project's sources, several at a time, and only over those that changed.

usage: tidy.py BUILD_FOLDER CACHE_FOLDER FILE...

FILE is a source below the current folder; those that the build in BUILD_FOLDER does not compile (the other
platform's) are counted and left out. A file that was found clean leaves a mark in CACHE_FOLDER, named after everything
the result depends on: the checks, the program, the compiler's command and each file that is read on the way. While the
mark is there the file is not checked again. Findings are never remembered.

Exit code: 0 when every file is clean, 1 otherwise.
"""

import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys
import time
from pathlib import Path

TIDY = "clang-tidy"
FILE_TIMEOUT_SECONDS = 300
# What clang-tidy says about the warnings in system headers that it did not show.
NOISE = re.compile(r"^\d+ warnings?(?: and \d+ errors?)? generated\.\n", re.MULTILINE)
MARK_LIFETIME_SECONDS = 30 * 24 * 3600


class Checker:
    def __init__(self, build_folder, cache_folder):
        self.build_folder = Path(build_folder).resolve()
        self.cache_folder = Path(cache_folder)
        self.cache_folder.mkdir(parents=True, exist_ok=True)
        self.root = Path.cwd().resolve()
        database = json.loads((self.build_folder / "compile_commands.json").read_text(encoding="utf-8"))
        self.entries = {str(Path(e["directory"], e["file"]).resolve()): e for e in database}
        self.common = self._digest(
            subprocess.run([TIDY, "--version"], check=True, capture_output=True).stdout,
            (self.root / ".clang-tidy").read_bytes(),
        )

    @staticmethod
    def _digest(*parts):
        digest = hashlib.sha256()
        for part in parts:
            digest.update(str(len(part)).encode() + b":" + part)
        return digest.digest()

    def compiles(self, file):
        return str(Path(file).resolve()) in self.entries

    def dependencies(self, entry):
        """The files that the compiler reads for this source, by asking it; None when it cannot tell."""
        arguments = shlex.split(entry["command"])
        if os.path.basename(arguments[0]) == "ccache":
            arguments = arguments[1:]
        arguments[arguments.index("-o") + 1] = "-"
        arguments.remove("-c")
        result = subprocess.run(arguments + ["-M"], cwd=entry["directory"], capture_output=True, text=True)
        if result.returncode != 0:
            return None
        words = result.stdout.replace("\\\n", " ").split()
        return sorted({os.path.normpath(os.path.join(entry["directory"], w)) for w in words if not w.endswith(":")})

    def mark(self, entry):
        """Where the note of a clean result is kept, or None when it must be found anew."""
        files = self.dependencies(entry)
        if files is None:
            return None
        parts = [self.common, entry["command"].encode()]
        for name in files:
            path = Path(name)
            if path.is_relative_to(self.root):
                parts += [name.encode(), path.read_bytes()]
            else:
                # A system header changes with its package, and then so do its time and size.
                status = path.stat()
                parts.append(f"{name} {status.st_size} {status.st_mtime_ns}".encode())
        return self.cache_folder / self._digest(*parts).hex()

    def check(self, file):
        """(clean, from the cache, what clang-tidy said)"""
        entry = self.entries[str(Path(file).resolve())]
        mark = self.mark(entry)
        if mark is not None and mark.exists():
            mark.touch()
            return True, True, ""
        command = [TIDY, "--quiet", "-p", str(self.build_folder), str(Path(file).resolve())]
        try:
            result = subprocess.run(
                command, capture_output=True, text=True, timeout=FILE_TIMEOUT_SECONDS, stdin=subprocess.DEVNULL
            )
        except subprocess.TimeoutExpired:
            return False, False, f"{file}: clang-tidy did not end within {FILE_TIMEOUT_SECONDS} seconds\n"
        if result.returncode != 0:
            return False, False, result.stdout + NOISE.sub("", result.stderr)
        # A source that was edited meanwhile has not been checked as it is now.
        if mark is not None and mark == self.mark(entry):
            mark.touch()
        return True, False, result.stdout

    def forget_old_marks(self):
        oldest = time.time() - MARK_LIFETIME_SECONDS
        for mark in self.cache_folder.iterdir():
            if mark.stat().st_mtime < oldest:
                mark.unlink(missing_ok=True)


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    checker = Checker(sys.argv[1], sys.argv[2])
    files = [f for f in sys.argv[3:] if checker.compiles(f)]
    left_out = len(sys.argv) - 3 - len(files)
    if not files:
        sys.exit("tidy.py: the build compiles none of the files named")

    dirty, cached = [], 0
    jobs = int(os.environ.get("QCOMM_JOBS", 0)) or len(os.sched_getaffinity(0))
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for file, (clean, from_cache, text) in zip(files, pool.map(checker.check, files)):
            cached += from_cache
            if not clean:
                dirty.append(file)
            if text:
                print(text, end="", flush=True)
    checker.forget_old_marks()

    print(f"clang-tidy: {len(files)} files, {cached} of them unchanged since they were found clean; "
          f"{left_out} not part of this build left out")
    for file in dirty:
        print(f"clang-tidy: findings in {file}")
    return 1 if dirty else 0


if __name__ == "__main__":
    sys.exit(main())
