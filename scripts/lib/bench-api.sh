# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Web API calls against curl, both with keep-alive and from the same nginx. Read in by scripts/bench.

# start_api_server FOLDER: nginx on a free port; sets api_url and api_server.
start_api_server() {
    local folder=$1 port
    port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
    mkdir -p "$folder"
    cat >"$folder/nginx.conf" <<EOT
daemon off; master_process off; pid $folder/nginx.pid; error_log $folder/error.log;
events { worker_connections 256; }
http {
    access_log off; keepalive_requests 10000000; keepalive_timeout 600;
    client_body_temp_path $folder/t1; proxy_temp_path $folder/t2; fastcgi_temp_path $folder/t3;
    uwsgi_temp_path $folder/t4; scgi_temp_path $folder/t5;
    server {
        listen 127.0.0.1:$port;
        default_type application/json;
        location / { return 200 '{"name":"stable","version":"1.2.3","size":1234567890}'; }
    }
}
EOT
    "$(PATH=$PATH:/usr/sbin command -v nginx)" -c "$folder/nginx.conf" &
    api_server=$!
    api_url=http://127.0.0.1:$port/call
    local tries
    for ((tries = 0; tries < 100; ++tries)); do
        curl -fs -o /dev/null "$api_url" && return
        sleep 0.1
    done
    die "nginx did not start, see $folder/error.log"
}

# curl_seconds CALLS [OPTIONS...]: what curl takes for so many calls, without its start and its first call.
curl_seconds() {
    local calls=$1
    shift
    python3 - "$api_url" "$calls" "$@" <<'EOT'
import subprocess
import sys
import time

url, calls, options = sys.argv[1], int(sys.argv[2]), sys.argv[3:]


def seconds(count):
    command = ["curl", "-fs", "--no-progress-meter", "-o", "/dev/null", *options, f"{url}?[1-{count}]"]
    start = time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return time.perf_counter() - start


first = min(seconds(1) for _ in range(5))
print(f"{seconds(calls + 1) - first:.6f}")
EOT
}

# report_api_calls FILE MODE CALLS: medians of lines with the seconds of ours, curl's and Qt's own calls.
report_api_calls() {
    python3 - "$@" <<'EOT'
import statistics
import sys

path, mode, calls = sys.argv[1], sys.argv[2], int(sys.argv[3])
with open(path, encoding="utf-8") as file:
    rows = [tuple(map(float, line.split())) for line in file]


def compare(column, name):
    times = [row[column] for row in rows]
    ratios = sorted(row[0] / row[column] for row in rows)
    print(f"  {name} {1e6 * statistics.median(times) / calls:.0f} us, ratio {statistics.median(ratios):.2f} "
          f"({ratios[0]:.2f} to {ratios[-1]:.2f})")


ours = statistics.median(row[0] for row in rows)
print(f"{calls} {mode} calls: {1e6 * ours / calls:.0f} us each")
compare(1, "curl")
if len(rows[0]) > 2:
    compare(2, "Qt's network access alone")
EOT
}

# bench_api PROGRAM FOLDER REPETITIONS CALLS MANY
bench_api() {
    local program=$1 folder=$2 repetitions=$3 calls=$4 many=$5 mode i
    start_api_server "$folder"
    # shellcheck disable=SC2064 # the process of now
    trap "kill $api_server 2>/dev/null || true" EXIT
    for mode in sequential concurrent; do
        # As many connections as the network layer opens to one host.
        local options=(--parallel --parallel-max 6) base=
        [[ $mode == concurrent ]] || options=()
        : >"$folder/$mode"
        for ((i = 0; i < repetitions; ++i)); do
            [[ $mode == concurrent ]] || base=$("$program" plain "$api_url" "$calls")
            printf '%s %s %s\n' "$("$program" "$mode" "$api_url" "$calls")" \
                "$(curl_seconds "$calls" "${options[@]}")" "$base" >>"$folder/$mode"
        done
        report_api_calls "$folder/$mode" "$mode" "$calls"
    done
    "$program" endurance "$api_url" "$many"
    kill "$api_server"
    trap - EXIT
}
