# SPDX-License-Identifier: MIT
"""Times FileOperator against cp and rsync on the same trees, in turns.

bench_copy.py BENCH_COPY FOLDER REPETITIONS: the program, a folder for the trees, how often each is run.
"""
import os
import shutil
import statistics
import subprocess
import sys
import time

BLOCK = 1 << 20


def make_small(root, folders=100, files=100):
    for folder in range(folders):
        path = os.path.join(root, str(folder))
        os.makedirs(path)
        for number in range(files):
            with open(os.path.join(path, str(number)), "wb") as file:
                file.write(os.urandom(number * 40))


def make_large(root, files=6, megabytes=64):
    os.makedirs(root)
    for number in range(files):
        with open(os.path.join(root, str(number)), "wb") as file:
            for _ in range(megabytes):
                file.write(os.urandom(BLOCK))


def seconds(command):
    os.sync()  # what others have written must not be waited for here
    started = time.perf_counter()
    subprocess.run(command, check=True)
    return time.perf_counter() - started


def measure(program, source, work, repetitions):
    """{run: {program: [seconds]}} of a first copy, and of a second one with nothing changed."""
    def target(name):
        return os.path.join(work, name)

    rsync = ["rsync", "-a", "-c", source + "/"]
    first = {
        "FileOperator": [program, source, target("own")],
        "cp -r": ["cp", "-r", source, target("cp")],
        "rsync -c": rsync + [target("rsync")],
    }
    second = {
        "FileOperator": first["FileOperator"],
        "rsync -c": first["rsync -c"],
        "rsync -c, MD5": rsync + ["--checksum-choice=md5", target("rsync")],
    }
    times = {"first": {name: [] for name in first}, "second": {name: [] for name in second}}
    for turn in range(repetitions):
        shutil.rmtree(work, ignore_errors=True)
        os.makedirs(work)
        for run, commands in (("first", first), ("second", second)):
            names = list(commands)
            for place in range(len(names)):  # each is the first now and then
                name = names[(turn + place) % len(names)]
                times[run][name].append(seconds(commands[name]))
    shutil.rmtree(work)
    return times


def main():
    program, folder, repetitions = sys.argv[1], sys.argv[2], int(sys.argv[3])
    shutil.rmtree(folder, ignore_errors=True)
    row = "{:<26} {:<7} {:<14} {:>9} {:>26}"
    print(row.format("tree", "copy", "program", "ms", "FileOperator is so many times"))
    for tree, make in (("10,000 files, 20 MB", make_small), ("6 files, 384 MB", make_large)):
        source = os.path.join(folder, "source")
        make(source)
        for run, programs in measure(program, source, os.path.join(folder, "work"), repetitions).items():
            own = statistics.median(programs["FileOperator"])
            for name, values in programs.items():
                middle = statistics.median(values)
                print(row.format(tree, run, name, f"{1000 * middle:.0f}", f"{own / middle:.2f}"))
        shutil.rmtree(source)


if __name__ == "__main__":
    main()
