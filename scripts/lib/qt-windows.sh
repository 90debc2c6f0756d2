# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Qt for Windows in the cache: unpacked from a prebuilt archive when there is one, else built from Debian's source
# package. Needs common.sh and packages.sh.

QT_WINDOWS_VERSION=5.15.8
QT_SOURCE_PACKAGE=qtbase-opensource-src
QT_PREBUILT_ARCHIVE=qt-$QT_WINDOWS_VERSION-mingw-x64.tar.xz

# The configuration. The install paths are not part of it: the result is relocatable.
QT_CONFIGURE=(
    -xplatform win32-g++ -device-option CROSS_COMPILE=x86_64-w64-mingw32-
    -opensource -confirm-license -release -shared -nomake examples -nomake tests
    -no-opengl -no-vulkan -no-direct2d -no-dbus -no-icu
    -qt-zlib -qt-pcre -qt-freetype -qt-harfbuzz -qt-libpng -no-libjpeg -no-gif
    -no-openssl -schannel
    -no-feature-sql -no-feature-printer -no-feature-tabletevent -no-feature-concurrent
)
# The cross linker finds system libraries by their file names, which are lower case.
QT_SSL_EDIT='s/-lSecur32/-lsecur32/g; s/-lCrypt32/-lcrypt32/g'

# Compiler calls of a whole build, for the percentage.
QT_COMPILE_STEPS=1250

qt_configuration_hash() {
    printf '%s\n' "${QT_CONFIGURE[@]}" "$QT_SSL_EDIT" | sha256sum | cut -c1-12
}

# qt_is_complete FOLDER
qt_is_complete() {
    [[ -f $1/lib/cmake/Qt5/Qt5Config.cmake && -x $1/bin/moc && -f $1/bin/Qt5Core.dll ]]
}

# Folder names carry the version and the configuration, so that a change of either makes a new folder.
qt_folder_name() { printf 'qt-%s-mingw-x64-%s' "$QT_WINDOWS_VERSION" "$(qt_configuration_hash)"; }

qt_link_is_current() {
    [[ $(readlink "$QCOMM_CACHE/qt-windows") == "$(qt_folder_name)" ]] && qt_is_complete "$QCOMM_CACHE/qt-windows"
}

# The link is replaced in one step, so that a build reading it never finds it missing.
qt_set_link() {
    ln -sfn "$(qt_folder_name)" "$QCOMM_CACHE/qt-windows.new"
    mv -T "$QCOMM_CACHE/qt-windows.new" "$QCOMM_CACHE/qt-windows"
}

qt_unpack_prebuilt() { # ARCHIVE FOLDER
    local archive=$1 folder=$2 started=$SECONDS temporary
    say "Qt for Windows: unpacking the prebuilt archive $archive (a few seconds)"
    temporary=$(mktemp -d "$QCOMM_CACHE/.unpack.XXXXXX")
    tar -xJf "$archive" -C "$temporary" || die "cannot unpack $archive"
    local unpacked=$temporary/qt-$QT_WINDOWS_VERSION-mingw-x64
    qt_is_complete "$unpacked" || die "$archive does not hold a complete Qt"
    mv -T "$unpacked" "$folder"
    rm -rf "$temporary"
    say "Qt for Windows: unpacked in $(elapsed $((SECONDS - started)))"
}

# A source list of its own with a deb-src line for each of Debian's binary lines, in a folder of its own, so that the
# machine's apt configuration stays as it is.
qt_fetch_source() { # FOLDER
    local folder=$1 keyring=/usr/share/keyrings/debian-archive-keyring.gpg option=
    [[ -f $keyring ]] && option="[signed-by=$keyring] "
    mkdir -p "$folder/lists/partial" "$folder/cache/archives/partial" "$folder/parts"
    # shellcheck disable=SC2016 # apt expands these, not the shell
    apt-get indextargets --format '$(ORIGIN) $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
        sort -u | sed -n "s|^Debian |deb-src $option|p" >"$folder/sources.list"
    if [[ ! -s $folder/sources.list ]]; then
        return 1
    fi
    cat >"$folder/apt.conf" <<EOF
Dir::Etc::SourceList "$folder/sources.list";
Dir::Etc::SourceParts "$folder/parts";
Dir::State::Lists "$folder/lists";
Dir::Cache "$folder/cache";
Acquire::Languages "none";
EOF
    # As root, apt downloads as the user _apt, who must be able to write here.
    if ((EUID == 0)) && id _apt >/dev/null 2>&1; then
        chown -R _apt "$folder"
    fi
    APT_CONFIG=$folder/apt.conf apt-get -q update
    (cd "$folder" && APT_CONFIG=$folder/apt.conf apt-get -q source --download-only --only-source "$QT_SOURCE_PACKAGE")
}

qt_unpack_source() { # WORK
    local work=$1 download
    download=$(mktemp -d)
    if ! qt_fetch_source "$download"; then
        # Without package lists apt does not know which of its sources are Debian's.
        as_root apt-get -q update
        qt_fetch_source "$download" || die "apt has no source of Debian packages to fetch $QT_SOURCE_PACKAGE from"
    fi
    rm -rf "$work/source"
    dpkg-source --no-check -x "$download"/"$QT_SOURCE_PACKAGE"_*.dsc "$work/source"
    rm -rf "$download"
    local version
    version=$(sed -n 's/^MODULE_VERSION = //p' "$work/source/.qmake.conf")
    [[ $version == "$QT_WINDOWS_VERSION" ]] ||
        die "Debian's source package is Qt $version; this script knows how to build $QT_WINDOWS_VERSION (Debian 12)"
    sed -i "$QT_SSL_EDIT" "$work/source/src/network/ssl/ssl.pri"
}

# The configuration names the cross compiler without a thread model, and on a machine with both models that is
# whichever the administrator chose. A folder in front of the path settles it.
qt_link_posix_compilers() { # FOLDER
    local tool
    mkdir -p "$1"
    for tool in gcc g++; do
        ln -sfn "$(command -v "x86_64-w64-mingw32-$tool-posix")" "$1/x86_64-w64-mingw32-$tool"
    done
}

qt_configure() { # WORK FOLDER
    local work=$1 folder=$2
    rm -rf "$work/build"
    mkdir -p "$work/build"
    cd "$work/build"
    # The folder being installed to is known to the host tools; the neutral prefix is what the target would report.
    "$work/source/configure" "${QT_CONFIGURE[@]}" -prefix /qt -extprefix "$folder" -hostprefix "$folder"
}

# Reads make's output; says module and share of the work done, on a terminal in place, elsewhere line by line.
qt_show_progress() { # COMPILED_BEFORE
    local line count=$1 percent shown=-1 module='' started=$SECONDS
    while IFS= read -r line; do
        if [[ $line =~ Entering\ directory\ \'.*/build/src/([^\']*) ]]; then
            module=${BASH_REMATCH[1]}
        elif [[ $line =~ ^(x86_64-w64-mingw32-)?g(cc|\+\+)\ -c ]]; then
            count=$((count + 1))
            percent=$((count * 100 / QT_COMPILE_STEPS))
            ((percent < 99)) || percent=99
            ((percent > shown)) || continue
            shown=$percent
            if [[ -t 1 ]]; then
                printf '\r  %3d %%  %-32s %s so far      ' "$percent" "$module" "$(elapsed $((SECONDS - started)))"
            elif ((percent % 5 == 0)); then
                printf '  %3d %%  %-32s %s so far\n' "$percent" "$module" "$(elapsed $((SECONDS - started)))"
            fi
        fi
    done
    [[ ! -t 1 ]] || printf '\n'
}

# A build that was interrupted goes on where it stopped, without the files that may be half written: everything
# newer than a minute before the end of it.
qt_drop_unfinished_outputs() { # WORK
    local work=$1 newest
    newest=$(find "$work/build" -type f -newer "$work/configured" -printf '%T@\n' | sort -n | tail -n1)
    [[ -n $newest ]] || return 0
    find "$work/build" -type f -newer "$work/configured" -newermt "@$((${newest%.*} - 60))" -delete
}

qt_stage() { # TEXT LOG COMMAND...
    local text=$1 log=$2
    shift 2
    say "Qt for Windows: $text"
    # A subshell of its own, outside any condition, so that the first failing step ends it.
    set +e
    (
        set -e
        "$@"
    ) >>"$log" 2>&1
    local result=$?
    set -e
    if ((result != 0)); then
        tail -n 30 "$log" >&2
        die "building Qt for Windows failed ($text); the whole log is $log"
    fi
}

qt_make() { # WORK LOG
    local work=$1 log=$2 compiled status
    compiled=$(find "$work/build" -name '*.o' | wc -l)
    say "Qt for Windows: compiling with $(job_count) jobs"
    set +e
    make -C "$work/build" -j"$(job_count)" 2>&1 | tee -a "$log" | qt_show_progress "$compiled"
    status=("${PIPESTATUS[@]}")
    set -e
    if ((status[0] != 0)); then
        grep -nE 'error:|Error [0-9]' "$log" | tail -n 20 >&2
        die "building Qt for Windows failed; the whole log is $log"
    fi
}

qt_install() { # WORK FOLDER
    local work=$1 folder=$2
    rm -rf "$work/stage"
    make -C "$work/build" install INSTALL_ROOT="$work/stage"
    qt_is_complete "$work/stage$folder"
}

qt_build() ( # FOLDER
    folder=$1 work=$1.work log=$QCOMM_CACHE/qt-windows-build.log started=$SECONDS
    unset QMAKESPEC XQMAKESPEC QMAKEPATH QMAKEFEATURES QTDIR MAKEFLAGS CFLAGS CXXFLAGS LDFLAGS
    export LC_ALL=C.UTF-8
    say "Qt for Windows: no prebuilt archive, so it is built from Debian's source package $QT_SOURCE_PACKAGE."
    say "                This is done once and takes a quarter to half an hour on two cores; log: $log"
    mkdir -p "$work"
    qt_link_posix_compilers "$work/bin"
    PATH=$work/bin:$PATH
    if [[ -f $work/configured ]]; then
        say "Qt for Windows: going on with the build that was interrupted"
        qt_drop_unfinished_outputs "$work"
    else
        : >"$log"
        qt_stage "fetching and unpacking the source (50 MB)" "$log" qt_unpack_source "$work"
        qt_stage "configuring (one to three minutes)" "$log" qt_configure "$work" "$folder"
        touch "$work/configured"
    fi
    qt_make "$work" "$log"
    qt_stage "installing" "$log" qt_install "$work" "$folder"
    mv -T "$work/stage$folder" "$folder"
    rm -rf "$work"
    say "Qt for Windows: built in $(elapsed $((SECONDS - started)))"
)

ensure_qt_windows() {
    qt_link_is_current && return 0
    local folder archive
    folder=$QCOMM_CACHE/$(qt_folder_name)
    archive=${QCOMM_PREBUILT:+$QCOMM_PREBUILT/$QT_PREBUILT_ARCHIVE}
    if ! qt_is_complete "$folder"; then
        rm -rf "$folder"
        if [[ -n $archive && -f $archive ]]; then
            qt_unpack_prebuilt "$archive" "$folder"
        else
            qt_build "$folder"
        fi
    fi
    qt_set_link
}
