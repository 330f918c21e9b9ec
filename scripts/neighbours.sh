#!/usr/bin/env bash
# neighbours.sh linux|windows
#
# Prints the folder with the packages that the module is tested beside (neighbours-PLATFORM.txt), which
# are fetched when the cache has none yet. The cache lies outside the source tree, under XDG_CACHE_HOME;
# the folder's name is made from what goes into it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# shellcheck source=scripts/cache.sh
. "$here/cache.sh"

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

fetch() { # FOLDER
    say 'Fetching the packages that the module is tested beside'
    fetch_wheels "$pinned" "$platforms" "$abi" "$1"
}

cached "neighbours-$1" "$pinned" "$here/neighbours.sh" "$here/cache.sh" "$here/fetch-wheels.sh"
printf '%s\n' "$cached"
