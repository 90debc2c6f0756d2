# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Downloads of the reference engine beside those of other programs: same server, same disk, in turns. Needs common.sh.

# shellcheck source=demo-server.sh
. "$(dirname "${BASH_SOURCE[0]}")/demo-server.sh"

# bench_engine BUILD REPETITIONS SCALE [CASE...]: prints a table for each case. SCALE 1 is the full size.
bench_engine() (
    build=$1 repetitions=$2 scale=$3
    shift 3
    work=$(mktemp -d "${TMPDIR:-/tmp}/orvel-bench.XXXXXX")
    trap 'stop_server; rm -rf "$work"' EXIT
    mkdir "$work/files"
    for _ in 1 2 3 4 5; do
        start_server "$work" "$work/files" "$(free_port)" && break
    done
    [[ -n $server_pid ]] || die "nginx did not start"
    LD_LIBRARY_PATH="$build/bin/engine${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" \
        python3 "$(dirname "${BASH_SOURCE[0]}")/bench_engine.py" "$build/bin/bench_engine_download" \
        "$work" "$server_port" "$repetitions" "$scale" "$@"
)
