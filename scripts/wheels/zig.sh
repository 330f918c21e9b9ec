#!/usr/bin/env bash
# Prints the path of the compiler that builds the wheels for Linux (zig.txt), which is fetched when the
# cache has none yet. The cache lies outside the source tree, under XDG_CACHE_HOME; the folder's name is
# made from what goes into it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/cache.sh
. "$here/../cache.sh"

fetch() { # FOLDER
    say 'Fetching the compiler of the wheels for Linux'
    fetch_wheels "$here/zig.txt" manylinux2010_x86_64 cp311 "$1"
    # A wheel's files come without their permissions.
    chmod +x "$1/ziglang/zig"
}

cached zig "$here/zig.txt" "$here/zig.sh" "$here/../cache.sh" "$here/../fetch-wheels.sh"
printf '%s/ziglang/zig\n' "$cached"
