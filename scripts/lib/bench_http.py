# SPDX-License-Identifier: MIT
"""Measures the HTTP back-end side by side with curl, md5sum and the bare network layer, and prints tables.

bench_http.py PROGRAM BASE_URL WWW WORK REPETITIONS MIB

PROGRAM is bench_http; WWW the folder that BASE_URL serves, WORK one for what is downloaded, on the same disk. Single
files have MIB MiB. Every contestant is a process of its own; they take turns, and the median of the turns counts.
"""
import hashlib
import os
import pathlib
import random
import resource
import shutil
import statistics
import subprocess
import sys
import time

MIB = 1 << 20
ROW = "{:<26} {:>10} {:>10} {:>12} {:>10}"


class Run:
    """Wall and processor seconds, peak memory in MiB (None when it does not tell) and the output of one process."""

    def __init__(self, command):
        os.sync()  # what the run before has left to be written is not this run's
        began = time.monotonic()
        with subprocess.Popen(command, stdout=subprocess.PIPE) as process:
            self.output = process.stdout.read().decode()
            _, status, usage = os.wait4(process.pid, 0)
            self.wall = time.monotonic() - began
            process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            sys.exit(f"failed with {process.returncode}: {command}")
        self.cpu = usage.ru_utime + usage.ru_stime
        told = dict(line.split() for line in self.output.splitlines() if line.startswith(("peak ", "wall ")))
        # ru_maxrss would count this interpreter, too.
        self.peak = int(told["peak"]) / 1024 if "peak" in told else None
        # Our own programs may wait at their end for a name server that does not answer, long after the file is there.
        if "wall" in told:
            self.wall = int(told["wall"]) / 1000


def make_file(path, size):
    source = random.Random(size)
    with open(path, "wb") as file:
        while size > 0:
            size -= file.write(source.randbytes(min(size, MIB)))


def take_turns(contestants, repetitions, clean):
    """{name: [Run]}; the order changes from turn to turn."""
    runs = {name: [] for name in contestants}
    for turn in range(repetitions):
        names = list(contestants)
        for name in names[turn % len(names):] + names[:turn % len(names)]:
            clean()
            runs[name].append(Run(contestants[name]))
    clean()
    return runs


def median(runs, field):
    return statistics.median(getattr(run, field) for run in runs)


def show(runs):
    print(ROW.format("", "wall s", "CPU s", "peak MiB", "spread s"))
    for name, list_of_runs in runs.items():
        walls = [run.wall for run in list_of_runs]
        print(ROW.format(name, f"{median(list_of_runs, 'wall'):.2f}", f"{median(list_of_runs, 'cpu'):.2f}",
                         f"{median(list_of_runs, 'peak'):.1f}" if list_of_runs[0].peak else "-", f"{max(walls) - min(walls):.2f}"))


def ratios(runs, ours, others):
    for other in others:
        wall = median(runs[ours], "wall") / median(runs[other], "wall")
        cpu = median(runs[ours], "cpu") / median(runs[other], "cpu")
        print(f"  {ours} to {other}: {wall:.2f} times the wall time, {cpu:.2f} times the CPU time")


def main():
    program, base, www, work, repetitions, mib = sys.argv[1:]
    # Every file of a group is open while it waits.
    most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    www, work, repetitions, mib = pathlib.Path(www), pathlib.Path(work), int(repetitions), int(mib)

    def clean():
        shutil.rmtree(work, ignore_errors=True)
        work.mkdir()

    print(f"== One file of {mib} MiB (median of {repetitions})")
    large = www / "large.bin"
    make_file(large, mib * MIB)
    url = f"{base}/large.bin"
    runs = take_turns({
        "curl": ["curl", "-s", "-o", str(work / "curl.bin"), url],
        "bare network layer": [program, "bare", url, str(work / "bare.bin")],
        "DownloadManager": [program, "get", url, str(work), str(mib * MIB)],
    }, repetitions, clean)
    show(runs)
    ratios(runs, "DownloadManager", ["curl", "bare network layer"])

    print(f"\n== MD5 of that file (median of {repetitions})")
    runs = take_turns({"md5sum": ["md5sum", str(large)], "MD5CheckWorker": [program, "md5", str(large)]},
                      repetitions, clean)
    show(runs)
    ratios(runs, "MD5CheckWorker", ["md5sum"])
    digests = {run.output.split()[0] for list_of_runs in runs.values() for run in list_of_runs}
    if len(digests) != 1:
        sys.exit(f"the digests differ: {digests}")

    print("\n== Peak memory by size of the file")
    for part in (16, 4, 1):
        size = mib * MIB // part
        make_file(www / "part.bin", size)
        clean()
        peak = Run([program, "get", f"{base}/part.bin", str(work), str(size)]).peak
        print(f"{size / MIB:>8.0f} MiB {peak:>8.1f} MiB")
    (www / "part.bin").unlink()

    print("\n== Groups of files of 1 KiB, each with its MD5")
    content = bytes(range(256)) * 4
    md5 = hashlib.md5(content).hexdigest()
    counts = [100, 1000, 10000] if repetitions > 1 else [10, 100]
    (www / "small").mkdir()
    for i in range(counts[-1]):
        (www / "small" / f"f{i}").write_bytes(content)
    group_row = "{:>8} {:>10} {:>12} {:>16} {:>10}"
    print(group_row.format("files", "ms", "ms per file", "CPU ms per file", "peak MiB"))
    for count in counts:
        times, cpus, peak = [], [], 0
        for _ in range(min(repetitions, 3)):
            clean()
            run = Run([program, "group", f"{base}/small/f", str(work), str(count), str(len(content)), md5])
            times.append(int(run.output.split()[0]))
            cpus.append(1000 * run.cpu / count)
            peak = max(peak, run.peak)
        ms, cpu = statistics.median(times), statistics.median(cpus)
        print(group_row.format(count, ms, f"{ms / count:.3f}", f"{cpu:.3f}", f"{peak:.1f}"))

    print("\n== SetTask, and the same again when another group has all files")
    print("{:>8} {:>10} {:>10}".format("models", "ms", "again ms"))
    for count in (1000, 10000, 100000):
        first, again = Run([program, "settask", str(count), str(work)]).output.split()[:2]
        print(f"{count:>8} {first:>10} {again:>10}")

    seconds = 10 if repetitions > 1 else 2
    print(f"\n== Speed limit: what arrives within {seconds} s")
    print("{:>12} {:>14} {:>8}".format("limit KiB/s", "reached KiB/s", "times"))
    for limit in (256, 1024, 8192):
        clean()
        reached = int(Run([program, "limit", url, str(work), str(limit), str(seconds)]).output.split()[0]) / 1024 / seconds
        print(f"{limit:>12} {reached:>14.0f} {reached / limit:>8.2f}")
    clean()


main()
