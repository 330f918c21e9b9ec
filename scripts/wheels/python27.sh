#!/usr/bin/env bash
# Prints the folder of the packages that make and install wheels for Python 2.7 (python27.txt), for PYTHONPATH.
# They are fetched when the cache has none yet. The cache lies outside the source tree, under XDG_CACHE_HOME;
# the folder's name is made from what goes into it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/wheels/cache.sh
. "$here/cache.sh"

fetch() { # FOLDER
    fetch_wheels "$here/python27.txt" manylinux2014_x86_64 cp27mu "$1"
}

cached wheel-tools "$here/python27.txt" "$here/python27.sh" "$here/cache.sh" "$here/../fetch-wheels.sh"
printf '%s\n' "$cached"
