#!/usr/bin/env bash
# demo.sh [MODULE_FOLDER] [--lan [--seconds N]]
#
# Shows a search among media servers that come and go, in network namespaces of its own (demo.py). Nothing
# leaves the machine, and nothing stays behind: all of it goes with the last program in it. With --lan the
# module searches the network that the machine is on instead, for people who have real servers.
#
# MODULE_FOLDER or VIREON_MODULE_DIR holds _vireon.so, VIREON_PYTHON is the Python 2.7 to load it;
# unless given, build/release and the interpreter that it was built for.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
readonly here

die() {
    printf 'demo: %s\n' "$*" >&2
    exit 1
}

lan=no
seconds=
folder=${VIREON_MODULE_DIR:-$here/../build/release}
while [ $# -gt 0 ]; do
    case $1 in
        --lan) lan=yes ;;
        --seconds)
            seconds=${2:?--seconds takes a number}
            shift
            ;;
        -*) die "unknown option: $1" ;;
        *) folder=$1 ;;
    esac
    shift
done

[ -f "$folder/_vireon.so" ] || die "no _vireon.so in $folder: build it with ./dev build"
VIREON_MODULE_DIR=$(cd "$folder" && pwd)
if [ -z "${VIREON_PYTHON-}" ]; then
    VIREON_PYTHON=python2.7
    [ ! -x "$VIREON_MODULE_DIR/python" ] || VIREON_PYTHON=$VIREON_MODULE_DIR/python
fi
export VIREON_MODULE_DIR VIREON_PYTHON
"$VIREON_PYTHON" -c 'import sys; sys.exit(sys.version_info[:2] != (2, 7))' 2>/dev/null ||
    die "no Python 2.7: VIREON_PYTHON is '$VIREON_PYTHON'"

if [ "$lan" = yes ]; then
    exec "$VIREON_PYTHON" -B "$here/timed_search.py" --seconds "${seconds:-8}"
fi
[ -z "$seconds" ] || die '--seconds goes with --lan'

command -v ip >/dev/null || die 'network namespaces need the program ip: install iproute2'
# For the check alone, which may ask for a password and tells what stands in the way.
"$here/../scripts/private-network.sh" --ask true ||
    die "'./dev demo --lan' needs no such network, and searches the one that this machine is on"
exec "$here/../scripts/private-network.sh" python3 -B "$here/demo.py"
