#!/usr/bin/env bash
# Prints the folder of what looks at a wheel before it goes out (checks.txt), for Python 3's PYTHONPATH. Fetched
# when the cache has none yet. The cache lies outside the source tree, under XDG_CACHE_HOME; the folder's name
# is made from what goes into it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/wheels/cache.sh
. "$here/cache.sh"

fetch() { # FOLDER
    fetch_wheels "$here/checks.txt" manylinux2014_x86_64 cp311 "$1"
}

cached wheel-checks "$here/checks.txt" "$here/checks.sh" "$here/cache.sh" "$here/../fetch-wheels.sh"
printf '%s\n' "$cached"
