# SPDX-License-Identifier: MIT
"""Kills a download again and again and compares what is there in the end.

    kill_resume.py HOST MODULE KILLS [FILES]

HOST is engine_host, MODULE the engine. A group of small files and a few large ones is fetched from a server in this
program, which sends as slowly as it takes for a second or two for each kill; the process is killed at KILLS random moments, a
second apart at least, and then runs to its end. Exit code 0: every file is identical to its source, nothing else is
left, and the server sent at most 1.2 times the size of the files.
"""
import hashlib
import http.server
import json
import pathlib
import random
import shutil
import socketserver
import subprocess
import sys
import tempfile
import threading
import time

SMALL = 64 * 1024
LARGE = 8 * 1024 * 1024
LARGE_FILES = 4
PIECE = 4096
MOST_FETCHED = 1.2


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True
    request_queue_size = 64
    sent = 0
    rate = 0  # bytes per second over all connections, 0: as fast as it goes
    due = 0.0
    lock = threading.Lock()

    def pace(self, length):
        """Waits until so many more bytes may be sent."""
        with self.lock:
            self.sent += length
            if self.rate == 0:
                return
            self.due = max(self.due, time.monotonic()) + length / self.rate
            wait = self.due - time.monotonic()
        time.sleep(max(0.0, wait))

    def handle_error(self, request, client_address):
        pass  # the other side is killed again and again


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    contents = {}

    def log_message(self, *args):
        pass

    def do_GET(self):
        content = self.contents[self.path]
        tag = f'"{hashlib.md5(content).hexdigest()}"'
        first, last, status = 0, len(content) - 1, 200
        wanted = self.headers.get("Range")
        if wanted and self.headers.get("If-Range", tag) == tag:
            begin, end = wanted.removeprefix("bytes=").split("-")
            first, last, status = int(begin), min(int(end or last), last), 206
        self.send_response(status)
        self.send_header("ETag", tag)
        self.send_header("Content-Length", str(last - first + 1))
        if status == 206:
            self.send_header("Content-Range", f"bytes {first}-{last}/{len(content)}")
        self.end_headers()
        for start in range(first, last + 1, PIECE):
            piece = content[start:min(start + PIECE, last + 1)]
            self.server.pace(len(piece))
            self.wfile.write(piece)


def main():
    host, module, kills = sys.argv[1], sys.argv[2], int(sys.argv[3])
    files = int(sys.argv[4]) if len(sys.argv) > 4 else 2000
    seed = int(time.time())
    print(f"{files} files, {kills} kills, seed {seed}", flush=True)
    chance = random.Random(seed)
    sizes = [SMALL] * (files - LARGE_FILES) + [LARGE] * LARGE_FILES
    Handler.contents = {f"/f{i}": chance.randbytes(size) for i, size in enumerate(sizes)}
    total = sum(sizes)
    server = Server(("127.0.0.1", 0), Handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()

    work = pathlib.Path(tempfile.mkdtemp(prefix="orvel-kill."))
    target = work / "target"
    items = [{"url": f"http://127.0.0.1:{server.server_port}{path}", "name": path[1:], "size": str(len(content)),
              "checksum": hashlib.md5(content).hexdigest(), "relative_path": f"{target}/"}
             for path, content in Handler.contents.items()]
    (work / "list").write_text(json.dumps({"download_items": items}))

    def start():
        policy = {"download_policy": {"progress_callback_interval": 1000}}
        return subprocess.Popen([host, module, str(work / "list"), str(work / "out"), "--config", json.dumps(policy)],
                                stderr=subprocess.DEVNULL)

    # A second and a half between kills on average, and a tenth left for the last run.
    server.rate = max(64 * 1024, int(total * 0.9 / (1.5 * kills))) if kills else 0
    killed = 0
    for _ in range(kills):
        process = start()
        try:
            process.wait(chance.uniform(1.0, 2.0))
            break  # done before its time
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            killed += 1
    server.rate = 0
    if start().wait(600) != 0:
        sys.exit("the last run failed")

    wrong = [path for path, content in Handler.contents.items() if (target / path[1:]).read_bytes() != content]
    others = sorted(path.name for path in target.iterdir() if f"/{path.name}" not in Handler.contents)
    print(f"killed {killed} times, sent {server.sent / total:.3f} times the {total / 2**20:.0f} MiB")
    shutil.rmtree(work)
    if wrong or others or server.sent > MOST_FETCHED * total:
        sys.exit(f"differing files: {wrong}, left files: {others}")


if __name__ == "__main__":
    main()
