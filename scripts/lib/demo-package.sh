# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154 # the variables are the demonstration's
# The demonstration of packages, for scripts/demo, whose functions and variables it uses.

# The programs of the build under test.
package_tool() { # PROGRAM ARGUMENT...
    local program=$1
    shift
    if [[ $windows == yes ]]; then
        env QCOMM_DLL_PATH="$build/bin:$build/bin/engine" QCOMM_WINE_STREAM=1 \
            "$here/wine-run" "$build/bin/$program.exe" "$@"
    else
        env LD_LIBRARY_PATH="$build/bin/engine${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" "$build/bin/$program" "$@"
    fi
}

publish() { # FOLDER VERSION
    package_tool vantor-pack "$(native_path "$1")" "$(native_path "$work/package")" \
        --package demo --branch main --version "$2" | tr -d '\r' | sed 's/^/  /'
}

package_action() { # ACTION OPTION...
    local action=$1
    shift
    package_tool launcher package "$action" --package demo --dir "$(native_path "$work/target")" \
        --server "http://127.0.0.1:$server_port" --log "$(native_path "$work/launcher.log")" --lang en-us "$@"
}

# The first version is the download demonstration's files in folders, the second has one file changed in its middle,
# one moved, one gone and one new.
make_versions() {
    local divisor=$((4 * package_divisor)) first=$work/version-1 second=$work/version-2
    mkdir -p "$first/data/sound" "$first/saves"
    python3 "$here/lib/demo_package.py" "$first" "$work/package.list" http://unused "$divisor"
    mv "$first"/*.pak "$first"/*.map "$first/data"
    mv "$first/data/music.pak" "$first/data/voices.pak" "$first/data/sound"
    cp -r "$first" "$second"
    python3 - "$second/data/world_00.pak" <<'PYTHON'
import sys
with open(sys.argv[1], "r+b") as file:
    content = file.read()
    middle = len(content) // 2
    file.seek(0)
    file.write(content[:middle] + b"a new scene" * 1000 + content[middle + 100:])
PYTHON
    mkdir "$second/video"
    mv "$second/intro.video" "$second/video/opening.video"
    rm "$second/data/sounds.pak"
    printf 'what is new\n' >"$second/news.txt"
}

compare_trees() { # FOLDER
    diff -r --exclude=.vantor "$1" "$work/target" || fail "the installation differs from $(basename "$1")"
    [[ $(cd "$1" && find . | sort) == $(cd "$work/target" && find . -name .vantor -prune -o -print | sort) ]] ||
        fail "the installation holds other files than $(basename "$1")"
}

# install_version VERSION: sets sent.
install_version() {
    local lines
    lines=$(server_log_lines "$work")
    package_action install || fail "the launcher ended with exit code $?"
    sent=$(server_bytes_since "$work" "$lines")
    compare_trees "$work/version-$1"
}

# A byte that is flipped without a trace, a file that is cut off, and one that is gone.
damage_files() {
    local world=$work/target/data/world_00.pak time
    time=$(stat -c %y "$world")
    python3 - "$world" <<'PYTHON'
import sys
with open(sys.argv[1], "r+b") as file:
    file.seek(1000000)
    byte = file.read(1)[0]
    file.seek(1000000)
    file.write(bytes([byte ^ 1]))
PYTHON
    touch -d "$time" "$world"
    truncate -s -100000 "$work/target/data/textures.pak"
    rm "$work/target/settings.json"
}

demonstrate_packages() {
    local lines sent damaged
    make_versions
    serve_package
    publish "$work/version-1" 1.0 || fail "publishing failed"
    done_step "Published version 1.0: $(find "$work/version-1" -type f | wc -l) files, $(megabytes "$(bytes_in "$work/version-1")")"
    package_action size || fail "the launcher ended with exit code $?"
    install_version 1
    done_step "Installed it: the server sent $(megabytes "$sent"), every file is identical to its source"

    publish "$work/version-2" 2.0 || fail "publishing failed"
    install_version 2
    ((sent < $(bytes_in "$work/version-2") / 4)) || fail "the update fetched $(megabytes "$sent")"
    done_step "Updated to version 2.0: one file changed, one moved, one gone, one new; the server sent $(megabytes "$sent")"

    damage_files
    ! diff -rq --exclude=.vantor "$work/version-2" "$work/target" >"$work/damage.txt" || fail "nothing is damaged"
    damaged=$(wc -l <"$work/damage.txt")
    ((damaged == 3)) || fail "$damaged files are damaged instead of 3"
    lines=$(server_log_lines "$work")
    package_action repair || fail "the launcher ended with exit code $?"
    sent=$(server_bytes_since "$work" "$lines")
    compare_trees "$work/version-2"
    ((sent < $(bytes_in "$work/version-2") / 4)) || fail "the repair fetched $(megabytes "$sent")"
    done_step "Repaired a flipped byte, a cut and a missing file; the server sent $(megabytes "$sent")"

    package_action remove --with-files || fail "the launcher ended with exit code $?"
    [[ ! -e $work/target ]] || fail "the folder is still there"
    done_step "Removed the installation"
    say "Everything was as it should be ($(elapsed $((SECONDS - started))))."
}
