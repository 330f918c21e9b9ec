#!/usr/bin/env bash
# packages.sh python27|checks
#
# Prints the folder, for PYTHONPATH, of the packages that NAME.txt pins: what makes and installs wheels for
# Python 2.7, or what looks at one before it goes out, for Python 3. They are fetched when the cache has none
# yet. The cache lies outside the source tree, under XDG_CACHE_HOME; the folder's name is made from what goes
# into it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/cache.sh
. "$here/../cache.sh"

case ${1-} in
    python27) abi=cp27mu ;;
    checks) abi=cp311 ;;
    *) die 'usage: packages.sh python27|checks' ;;
esac
pinned=$here/$1.txt

fetch() { # FOLDER
    say "Fetching the packages that ${pinned##*/} pins"
    fetch_wheels "$pinned" manylinux2014_x86_64 "$abi" "$1"
}

cached "wheels-$1" "$pinned" "$here/packages.sh" "$here/../cache.sh" "$here/../fetch-wheels.sh"
printf '%s\n' "$cached"
