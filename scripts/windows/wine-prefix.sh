#!/usr/bin/env bash
# The Wine prefix that Windows programs are tested in.
#
# usage: wine-prefix.sh            prints the shared prefix, making it first (about ten seconds)
#        wine-prefix.sh clone DIR  makes DIR a light copy: a registry of its own, the drive shared
#
# Sockets live in the network namespace in which a prefix's server was started, so whoever runs in a
# namespace, or changes the registry, works in a copy. A copy passes itself off as the Windows that
# VIREON_WINDOWS_VERSION names (win7, win81, win10).
set -euo pipefail
cache=${XDG_CACHE_HOME:-$HOME/.cache}/vireon
prefix=$cache/wine-prefix
export WINEDEBUG=-all

make_prefix() {
    local new
    mkdir -p "$cache"
    new=$(mktemp -d "$cache/wine-prefix.XXXXXX")
    printf 'Making a Wine prefix\n' >&2
    export WINEPREFIX=$new
    # No Mono, no Gecko and no menu entries: none is used, each would ask or take time.
    export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
    wineboot --init >/dev/null 2>&1
    # A crash must show as an exit code, not as a debugger's back-trace on standard output.
    wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' \
        /v Debugger /t REG_SZ /d none /f >/dev/null 2>&1
    wineserver -k || true
    wineserver -w || true
    mv -T "$new" "$prefix" 2>/dev/null || rm -rf "$new"
}

[ -f "$prefix/system.reg" ] || make_prefix

case ${1-} in
    '') printf '%s\n' "$prefix" ;;
    clone)
        mkdir -p "$2"
        cp -a "$prefix"/*.reg "$prefix/.update-timestamp" "$prefix/dosdevices" "$2/"
        ln -sfn "$prefix/drive_c" "$2/drive_c"
        printf '\n[Software\\\\Wine]\n"Version"="%s"\n' "${VIREON_WINDOWS_VERSION:-win10}" >>"$2/user.reg"
        ;;
    *)
        printf 'usage: wine-prefix.sh [clone DIR]\n' >&2
        exit 2
        ;;
esac
