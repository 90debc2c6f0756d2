#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# bench-package.sh BUILD MIB
#
# A package of MIB mebibytes installed with the reference engine, against the same bytes as one archive fetched with curl
# and unpacked with 7-Zip; then an update after 1 % of the bytes has changed. From nginx on this machine, with the
# programs of the build folder BUILD. Prints wall times.
set -euo pipefail
here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
# shellcheck source=common.sh
. "$here/common.sh"
# shellcheck source=demo-server.sh
. "$here/demo-server.sh"

build=$1
mib=$2
repetitions=${BENCH_REPETITIONS:-3}
sevenzip=$(command -v 7zz || command -v 7z) || die "7-Zip is not installed"

work=$(mktemp -d "${TMPDIR:-/tmp}/orvel-bench.XXXXXX")
clean_up() {
    stop_server
    rm -rf "$work"
}
trap clean_up EXIT

now_ms() { date +%s%3N; }
timed() { # LABEL COMMAND...: sets took
    local label=$1 begin
    shift
    begin=$(now_ms)
    "$@" >"$work/last.log" 2>&1 || {
        cat "$work/last.log" >&2
        die "$label failed"
    }
    took=$(($(now_ms) - begin))
    say "$(printf '%-46s %8d ms' "$label" "$took")"
}

# Half of the bytes cannot be compressed, the other half shrinks to a third or so, as the files of games do.
make_files() {
    python3 - "$work/v1" "$mib" <<'PYTHON'
import os, random, sys
folder, mib = sys.argv[1], int(sys.argv[2])
source = random.Random(1)
words = [source.randbytes(5) for _ in range(4096)]
sizes = [mib // 4, mib // 4, mib // 8, mib // 8] + [1] * (mib // 4)
for number, size in enumerate(sizes):
    path = f"{folder}/{number % 16}/{number}.dat"
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        for _ in range(size):
            if number % 2 == 0:
                file.write(source.randbytes(1 << 20))
            else:
                file.write(b"".join(source.choices(words, k=(1 << 20) // 5 + 1))[: 1 << 20])
PYTHON
}

# 1 % of the bytes in ten places of the two largest files.
change_files() {
    cp -r "$work/v1" "$work/v2"
    python3 - "$work/v2" "$mib" <<'PYTHON'
import random, sys
folder, mib = sys.argv[1], int(sys.argv[2])
source = random.Random(2)
piece = mib * (1 << 20) // 100 // 10
for number in (0, 1):
    with open(f"{folder}/{number}/{number}.dat", "r+b") as file:
        size = mib // 4 << 20
        for place in range(5):
            file.seek(size * (2 * place + 1) // 11)
            file.write(source.randbytes(piece))
PYTHON
}

launcher() { # ACTION FOLDER
    LD_LIBRARY_PATH=$build/bin/engine XDG_CACHE_HOME=$work/cache "$build/bin/launcher" package "$1" --package bench \
        --dir "$2" --server "http://127.0.0.1:$server_port" --lang en-us
}

pack() { # FOLDER VERSION
    "$build/bin/vantor-pack" "$1" "$work/published" --package bench --branch main --version "$2" --level 1
}

fetch_and_unpack() { # FOLDER
    curl -sS -o "$work/fetched.7z" "http://127.0.0.1:$server_port/package.7z"
    "$sevenzip" x -y -bd "-o$1" "$work/fetched.7z"
    rm "$work/fetched.7z"
}

say "== A package of $mib MiB"
make_files
timed "vantor-pack, level 1" pack "$work/v1" 1
(cd "$work/v1" && timed "7z a -mx=1" "$sevenzip" a -mx=1 -bd "$work/published/package.7z" .)
start_server "$work" "$work/published" "$(free_port)" || die "nginx does not start"
say "$(printf '%-46s %8d MiB' "published chunks" "$(($(du -sm "$work/published/bench" | cut -f1)))")"
say "$(printf '%-46s %8d MiB' "published archive" "$(($(stat -c %s "$work/published/package.7z") >> 20))")"

for ((i = 1; i <= repetitions; ++i)); do
    rm -rf "$work/unpacked" "$work/installed"
    timed "curl + 7z x" fetch_and_unpack "$work/unpacked"
    timed "normal_download" launcher install "$work/installed"
done
diff -r "$work/v1" "$work/unpacked"
diff -r --exclude=.vantor "$work/v1" "$work/installed"
timed "normal_download, nothing to do" launcher install "$work/installed"
timed "repair_download, nothing broken" launcher repair "$work/installed"

change_files
timed "vantor-pack, 1 % changed" pack "$work/v2" 2
lines=$(server_log_lines "$work")
timed "normal_download, 1 % changed" launcher install "$work/installed"
sent=$(server_bytes_since "$work" "$lines")
diff -r --exclude=.vantor "$work/v2" "$work/installed"
say "$(awk -v sent="$sent" -v mib="$mib" 'BEGIN {
    printf "the update fetched %.1f MiB, %.2f %% of the package", sent / 1048576, 100 * sent / mib / 1048576 }')"
