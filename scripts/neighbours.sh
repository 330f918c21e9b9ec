#!/usr/bin/env bash
# neighbours.sh linux|windows
#
# Prints the folder with the packages that the module is tested beside (neighbours-PLATFORM.txt), which
# are fetched when the cache has none yet. The cache lies outside the source tree, under XDG_CACHE_HOME;
# the folder's name is made from what goes into it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

die() {
    printf 'neighbours: %s\n' "$*" >&2
    exit 1
}

case ${1-} in
    linux)
        platforms=manylinux1_x86_64,manylinux2010_x86_64
        abi=cp27mu
        ;;
    windows)
        platforms=win_amd64
        abi=cp27m
        ;;
    *) die 'usage: neighbours.sh linux|windows' ;;
esac
pinned=$here/neighbours-$1.txt
key=$(cat "$pinned" "$here/neighbours.sh" "$here/fetch-wheels.sh" | sha256sum | cut -c1-16)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/vireon
result=$cache/neighbours-$1-$key

unpack() {
    python3 - "$work"/wheels/*.whl "$work/packages" 2>&1 <<'PYTHON'
import sys, zipfile
for wheel in sys.argv[1:-1]:
    zipfile.ZipFile(wheel).extractall(sys.argv[-1])
PYTHON
}

fetch() {
    local said
    mkdir -p "$cache" || die "cannot make $cache"
    work=$(mktemp -d "$cache/neighbours.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    printf 'Fetching the packages that the module is tested beside\n' >&2
    "$here/fetch-wheels.sh" "$pinned" "$work/wheels" "$platforms" "$abi" || exit 1
    said=$(unpack) || {
        printf '%s\n' "$said" >&2
        die "could not unpack the packages into $cache"
    }
    # Renamed only when whole, so that nothing that looks finished ever is not. Another run may be first.
    mv -T "$work/packages" "$result" 2>/dev/null || [ -d "$result" ] ||
        die "could not put the packages into $cache"
}

[ -d "$result" ] || fetch
printf '%s\n' "$result"
