# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2034 # the constants are for whoever reads this in
# What every script of the project shares: where things are, and how it speaks.

QCOMM_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# Everything that is made once and kept: Qt for Windows, 7-Zip for Windows, the Wine prefix, clang-tidy's results.
# Exported, because the CMake toolchain file and the scripts below read it too.
export QCOMM_CACHE="${QCOMM_CACHE:-$HOME/.cache/orvel-qcomm}"

say() { printf '%s\n' "$*"; }
warn() { printf 'warning: %s\n' "$*" >&2; }
die() {
    printf 'error: %s\n' "$*" >&2
    exit 1
}

# elapsed SECONDS: "7 s", "12 min 5 s".
elapsed() {
    if (($1 < 60)); then
        printf '%d s' "$1"
    else
        printf '%d min %d s' $(($1 / 60)) $(($1 % 60))
    fi
}

job_count() { printf '%s' "${QCOMM_JOBS:-$(nproc)}"; }
