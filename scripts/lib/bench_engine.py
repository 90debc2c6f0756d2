# SPDX-License-Identifier: MIT
"""Downloads the same files with the library's engine, Qt alone, aria2c and curl, in turns, and prints medians.

    bench_engine.py PROGRAM WORK PORT REPETITIONS SCALE [CASE...]

PROGRAM is bench_engine_download, WORK a folder with an empty folder "files" that is served on PORT. SCALE 1 is the
full size; 8 makes the files, or their number, an eighth. Every program gets its own URL list in its own format, the
same number of connections (six), and an empty folder on the same disk. The last case, "limit", is the engine's alone:
what it puts on the disk with a bandwidth limit.
"""
import asyncio
import hashlib
import json
import multiprocessing
import os
import pathlib
import random
import shutil
import socket
import statistics
import subprocess
import sys
import time

MIB = 1024 * 1024
CONNECTIONS = "6"
LATENCY_SECONDS = 0.040
LIMITS = (64 * 1024, MIB, 16 * MIB, 100 * MIB)


def write_file(path, size, seed):
    """Writes pseudo-random bytes, block by block, and returns their MD5."""
    source = random.Random(seed)
    digest = hashlib.md5()
    block = source.randbytes(min(size, MIB))
    with open(path, "wb") as file:
        for start in range(0, size, MIB):
            # One random block, made unlike its neighbours: enough for whoever mixes blocks up.
            part = start.to_bytes(8, "little") + block[8:min(MIB, size - start)]
            file.write(part[:size - start])
            digest.update(part[:size - start])
    return digest.hexdigest()


class Files:
    """The files of one benchmark: what they are called, how large they are, their MD5."""

    def __init__(self, folder, name, count, size):
        self.name = name
        self.entries = []
        (folder / name).mkdir()
        for number in range(count):
            path = folder / name / f"f{number:05d}"
            self.entries.append((f"/{name}/{path.name}", size, write_file(path, size, number)))


async def pass_on(reader, writer, delay):
    """Passes bytes on, each `delay` seconds after it came."""
    loop = asyncio.get_running_loop()
    queue = asyncio.Queue(maxsize=512)

    async def write_late():
        while True:
            due, data = await queue.get()
            late = due - loop.time()
            if late > 0:
                await asyncio.sleep(late)
            if not data:
                writer.close()
                return
            writer.write(data)
            await writer.drain()

    task = asyncio.create_task(write_late())
    try:
        while True:
            data = await reader.read(256 * 1024)
            await queue.put((loop.time() + delay, data))
            if not data:
                break
        await task
    except (ConnectionError, asyncio.CancelledError):
        task.cancel()
        writer.close()


def run_proxy(listener, port):
    """A server that hands everything to and from `port` with half the added latency in each direction."""
    async def serve(reader, writer):
        try:
            far_reader, far_writer = await asyncio.open_connection("127.0.0.1", port, limit=MIB)
        except OSError:
            writer.close()
            return
        await asyncio.gather(pass_on(reader, far_writer, LATENCY_SECONDS / 2),
                             pass_on(far_reader, writer, LATENCY_SECONDS / 2), return_exceptions=True)

    async def main():
        server = await asyncio.start_server(serve, sock=listener, limit=MIB)
        async with server:
            await server.serve_forever()

    asyncio.run(main())


def start_proxy(port):
    listener = socket.socket()
    listener.bind(("127.0.0.1", 0))
    listener.listen(64)
    process = multiprocessing.Process(target=run_proxy, args=(listener, port), daemon=True)
    process.start()
    return process, listener.getsockname()[1]


def measure(command, environment, log):
    """Wall seconds, CPU seconds and peak memory in MiB of one run; exits when it fails."""
    started = time.monotonic()
    pid = os.fork()
    if pid == 0:
        null = os.open(os.devnull, os.O_WRONLY)
        os.dup2(null, 1)
        os.dup2(os.open(log, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644), 2)
        os.execvpe(command[0], command, environment)
    _, status, usage = os.wait4(pid, 0)
    wall = time.monotonic() - started
    if status != 0:
        sys.exit(f"failed with status {status}: {' '.join(command)}\n{log.read_text(errors='replace')}")
    return wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


class Bench:
    def __init__(self, program, work):
        self.program = program
        self.work = work
        self.target = work / "target"

    def commands(self, files, port):
        base = f"http://127.0.0.1:{port}"
        plain, checked = self.work / "plain.list", self.work / "checked.list"
        aria, curl = self.work / "aria2.list", self.work / "curl.list"
        plain.write_text("".join(f"{base}{url} {size}\n" for url, size, _ in files.entries))
        checked.write_text("".join(f"{base}{url} {size} {md5}\n" for url, size, md5 in files.entries))
        aria.write_text("".join(f"{base}{url}\n" for url, _, _ in files.entries))
        curl.write_text("".join(f'url = "{base}{url}"\noutput = "{self.target}/{os.path.basename(url)}"\n'
                                for url, _, _ in files.entries))
        return {
            "engine": [self.program, str(plain), str(self.target)],
            "engine, MD5": [self.program, str(checked), str(self.target)],
            "bare Qt": [self.program, "--bare", str(plain), str(self.target)],
            "aria2c": ["aria2c", "-q", "-x" + CONNECTIONS, "-j" + CONNECTIONS, "--no-conf", "--file-allocation=none",
                       "-d", str(self.target), "-i", str(aria)],
            "curl": ["curl", "-q", "-s", "--parallel", "--parallel-max", CONNECTIONS, "-K", str(curl)],
        }

    def check(self, files):
        for url, size, md5 in files.entries:
            path = self.target / os.path.basename(url)
            if path.stat().st_size != size or hashlib.md5(path.read_bytes()).hexdigest() != md5:
                sys.exit(f"{path} differs from its source")

    def run(self, title, files, port, repetitions):
        environment = {name: value for name, value in os.environ.items() if not name.lower().endswith("_proxy")}
        results = {}
        for repetition in range(repetitions):
            for name, command in self.commands(files, port).items():
                shutil.rmtree(self.target, ignore_errors=True)
                self.target.mkdir()
                os.sync()
                results.setdefault(name, []).append(measure(command, environment, self.work / "stderr"))
                if repetition == 0:
                    self.check(files)
        print(f"{title}\n  {'program':<14}{'wall s':>9}{'CPU s':>9}{'peak MiB':>10}{'wall, each run':>20}")
        for name, runs in results.items():
            wall, cpu, memory = (statistics.median(run[i] for run in runs) for i in range(3))
            each = " ".join(f"{run[0]:.2f}" for run in runs)
            print(f"  {name:<14}{wall:>9.2f}{cpu:>9.2f}{memory:>10.1f}   {each}")
        print(flush=True)


def bytes_on_disk(folder):
    """Blocks, not sizes: a file that is fetched in segments has holes."""
    total = 0
    for entry in os.scandir(folder):
        try:
            total += entry.stat().st_blocks * 512
        except FileNotFoundError:
            pass  # a state file that was just replaced
    return total


def measure_limit(bench, url, size, limit, seconds):
    """Bytes a second that reach the disk, from one second after the first byte on."""
    shutil.rmtree(bench.target, ignore_errors=True)
    bench.target.mkdir()
    files = bench.work / "limit.list"
    files.write_text(f"{url} {size}\n")
    config = json.dumps({"download_policy": {"download_bandwidth": limit}})
    process = subprocess.Popen([bench.program, str(files), str(bench.target), config], stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    try:
        deadline = time.monotonic() + 30
        while bytes_on_disk(bench.target) == 0:
            if process.poll() is not None or time.monotonic() > deadline:
                sys.exit("the download with a limit did not begin")
            time.sleep(0.005)
        time.sleep(1)
        first, started = bytes_on_disk(bench.target), time.monotonic()
        time.sleep(seconds)
        last, ended = bytes_on_disk(bench.target), time.monotonic()
        if process.poll() is not None:
            sys.exit("the download with a limit ended early")
        return (last - first) / (ended - started)
    finally:
        process.kill()
        process.wait()


def run_limits(bench, served, port, repetitions, scale):
    seconds = max(2, 10 // scale)
    size = 2 * LIMITS[-1] * (seconds + 2)
    with open(served / "limit", "wb") as file:
        file.truncate(size)
    print(f"With a bandwidth limit, {seconds} s each\n  {'limit KiB/s':>12}{'on disk KiB/s':>15}{'ratio':>8}")
    for limit in LIMITS:
        rate = statistics.median(measure_limit(bench, f"http://127.0.0.1:{port}/limit", size, limit, seconds)
                                 for _ in range(min(repetitions, 3)))
        print(f"  {limit / 1024:>12.0f}{rate / 1024:>15.1f}{rate / limit:>8.3f}", flush=True)
    shutil.rmtree(bench.target)
    os.unlink(served / "limit")


def main():
    program, work, port, repetitions, scale = sys.argv[1], pathlib.Path(sys.argv[2]), *map(int, sys.argv[3:6])
    only = sys.argv[6:]
    served = work / "files"
    bench = Bench(program, work)
    cases = {
        "one": (f"One file of {1024 // scale} MiB", 1, 1024 * MIB // scale, 0),
        "many": (f"{2000 // scale} files of 64 KiB", 2000 // scale, 64 * 1024, 0),
        "far": (f"20 files of {32 // scale} MiB, 40 ms of added latency", 20, 32 * MIB // scale, 1),
    }
    proxy, far_port = start_proxy(port)
    for name, (title, count, size, is_far) in cases.items():
        if only and name not in only:
            continue
        files = Files(served, name, count, size)
        bench.run(title, files, far_port if is_far else port, repetitions)
        shutil.rmtree(served / name)
    proxy.terminate()
    if not only or "limit" in only:
        run_limits(bench, served, port, repetitions, scale)


if __name__ == "__main__":
    main()
