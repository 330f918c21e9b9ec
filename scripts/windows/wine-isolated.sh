#!/usr/bin/env bash
# wine.sh in a prefix of its own, which goes with the program: for programs in a network namespace,
# since a prefix's sockets live where its server was started. The program keeps this process's number,
# so whoever started it can signal it, time it and wait for it. VIREON_WINE_FOLDER has the prefix made in that
# folder, where others can join it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
prefix=${VIREON_WINE_FOLDER:-$(mktemp -d "${TMPDIR:-/tmp}/vireon-wine.XXXXXX")}
"$here/wine-prefix.sh" clone "$prefix"
export WINEPREFIX=$prefix
# Wine puts its server's socket there, in a new folder for each server, and leaves that behind.
export TMPDIR=$prefix
program=$$
(
    # However the program ends, by a kill as well, what it leaves behind ends here.
    tail "--pid=$program" --sleep-interval=0.2 -f /dev/null
    wineserver -k
    # It writes its registry last of all, which would make the folder anew.
    wineserver -w
    rm -rf "$prefix"
) </dev/null >/dev/null 2>&1 &
# Wine's own background programs start with the first one; their errors are not this program's.
"$here/wine.sh" cmd /c exit </dev/null >/dev/null 2>&1 || true
exec "$here/wine.sh" "$@"
