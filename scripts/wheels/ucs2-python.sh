#!/usr/bin/env bash
# Prints the path of a Python 2.7 that keeps two bytes for a character, as those of Linux distributions do not,
# and which the wheels for Linux serve as well: built from its source when the cache has none yet, which
# takes some minutes. The cache lies outside the source tree, under XDG_CACHE_HOME; the folder's name is made
# from what goes into it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/cache.sh
. "$here/../cache.sh"

# It finds its library beside itself, wherever the folder ends up.
build_python() { # FOLDER
    mkdir "$work/tree" &&
        tar xz --no-same-owner --strip-components=1 -f "$work"/source/python2.7_*.orig.tar.gz -C "$work/tree" &&
        cd "$work/tree" &&
        ./configure --prefix="$1" --enable-unicode=ucs2 --enable-ipv6 --without-ensurepip &&
        make -j"$(nproc)" && make install &&
        # pip unpacks wheels by the one, the tests look at memory by the other.
        "$1/bin/python2.7" -c 'import sys, zlib, ctypes; sys.exit(sys.maxunicode != 0xFFFF)'
}

fetch() { # FOLDER
    say 'Building a Python 2.7 for UCS2'
    step "could not fetch CPython's source package from this machine's mirror; is the network there?" \
        "$here/../python2-source.sh" "$work/source"
    step "could not build a Python 2.7 for UCS2" build_python "$1"
}

cached ucs2-python "$here/ucs2-python.sh" "$here/../cache.sh" "$here/../python2-source.sh"
printf '%s/bin/python2.7\n' "$cached"
