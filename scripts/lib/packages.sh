# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2034 # the constants are for whoever reads this in
# Debian packages: what each half needs, and the installation of what is missing. Needs common.sh.

PACKAGES_LINUX=(
    cmake ninja-build g++ ccache git
    qtbase5-dev qttools5-dev qttools5-dev-tools
    clang-format clang-tidy python3      # the format check and clang-tidy, which a small program drives
    nginx-light 7zip openssl             # what integration tests and the demo run against
    curl ca-certificates
)
PACKAGES_WINDOWS=(
    g++-mingw-w64-x86-64-posix
    wine wine64 xvfb xauth
    dpkg-dev make perl patch xz-utils    # Qt from Debian's source package
)
PACKAGES_DOCS=(doxygen graphviz) # the API reference with its diagrams
PACKAGES_BENCH=(libbenchmark-dev aria2 rsync) # the last two are compared with

as_root() {
    if ((EUID == 0)); then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        die "this needs root, and there is no sudo: $*"
    fi
}

# Prints those of the packages named that are not installed.
missing_packages() {
    local installed
    # dpkg-query complains about, and fails for, packages it has never heard of; these are missing too.
    # shellcheck disable=SC2016 # dpkg-query expands these, not the shell
    installed=$(dpkg-query -W -f='${Package} ${db:Status-Status}\n' "$@" 2>/dev/null || true)
    local package
    for package in "$@"; do
        grep -qxF "$package installed" <<<"$installed" || printf '%s\n' "$package"
    done
}

ensure_packages() {
    local missing started=$SECONDS
    mapfile -t missing < <(missing_packages "$@")
    ((${#missing[@]} > 0)) || return 0
    say "Debian packages: installing ${missing[*]}"
    local options=(-q -y --no-install-recommends -o DPkg::Lock::Timeout=600)
    as_root apt-get -q -o DPkg::Lock::Timeout=600 update || die "apt-get update failed"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get "${options[@]}" install "${missing[@]}" ||
        die "apt-get could not install: ${missing[*]}"
    stop_new_nginx_service "${missing[@]}"
    say "Debian packages: installed in $(elapsed $((SECONDS - started)))"
}

# The package starts a server on port 80, which nobody asked for: tests and the demo start nginx themselves.
stop_new_nginx_service() {
    [[ " $* " == *" nginx-light "* && -d /run/systemd/system ]] || return 0
    say "Debian packages: turning off the nginx service that came with nginx-light"
    as_root systemctl disable --now nginx || warn "the nginx service could not be turned off"
}
