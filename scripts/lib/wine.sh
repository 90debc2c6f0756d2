# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Wine as the cross build uses it: one prefix in the cache, shared by all runs. Needs common.sh.

export WINEPREFIX="$QCOMM_CACHE/wine-prefix"
export WINEDEBUG="${WINEDEBUG:--all}"
# No offers to fetch .NET and a browser, no menu entries on the developer's desktop.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=;winemenubuilder.exe=d}"

# Debian puts a starter called wine on the path; with the 64-bit package alone there is only the program itself.
wine_program() {
    command -v wine || command -v wine64 || {
        [[ -x /usr/lib/wine/wine64 ]] && printf '/usr/lib/wine/wine64'
    } || die "Wine is not installed. Run scripts/setup first."
}

# Debian's starter makes the Wine server end with its last client, so that every test would wait for a new one. Started
# here it stays for some seconds; when one is running already, this one gives way to it.
start_lingering_wine_server() {
    local server=/usr/lib/wine/wineserver64
    [[ ! -x $server ]] || "$server" -p5 >/dev/null 2>&1 </dev/null || true
}

wine_make_prefix() {
    [[ ! -d $QCOMM_CACHE/wine-prefix ]] || return 0
    local new=$QCOMM_CACHE/wine-prefix.new wine
    wine=$(wine_program)
    rm -rf "$new"
    # Into a folder of its own and renamed at the end: an interrupted run leaves no half-made prefix behind.
    WINEPREFIX=$new "$wine" wineboot --init || die "Wine could not make its prefix"
    WINEPREFIX=$new wineserver -w
    mv -T "$new" "$QCOMM_CACHE/wine-prefix"
}

# Makes the prefix unless it is there; of several runs at a time, one makes it and the others wait.
ensure_wine_prefix() {
    [[ ! -d $WINEPREFIX ]] || return 0
    mkdir -p "$QCOMM_CACHE"
    # shellcheck disable=SC2016 # the shell that flock starts expands these
    # The lock is held by flock alone (-o): the Wine server outlives this run and must not keep it.
    flock -o "$QCOMM_CACHE/wine-prefix.lock" \
        "$BASH" -c '. "$1/common.sh"; . "$1/wine.sh"; wine_make_prefix' - "$(dirname "${BASH_SOURCE[0]}")" \
        >"$QCOMM_CACHE/wine-prefix.log" 2>&1 </dev/null || {
        cat "$QCOMM_CACHE/wine-prefix.log" >&2
        die "Wine could not make its prefix $WINEPREFIX"
    }
}

# windows_path UNIX_PATH: the same file as a Windows program names it.
windows_path() {
    local absolute
    absolute=$(realpath -m -s -- "$1")
    printf 'Z:%s' "${absolute//\//\\}"
}
