#!/usr/bin/env bash
# demo.sh [MODULE_FOLDER] [--lan] [--seconds N]
#
# Shows a search: a sample media server in one private network namespace, the module in another, a
# cable between them. Nothing leaves the machine, and nothing stays behind: all of it goes with the
# last program in it. With --lan the module searches the network that the machine is on instead, for
# people who have real servers.
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
inside=no # --inside is for the script itself: it runs in its private namespace
seconds=8
folder=${VIREON_MODULE_DIR:-$here/../build/release}
while [ $# -gt 0 ]; do
    case $1 in
        --lan) lan=yes ;;
        --inside) inside=yes ;;
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
    exec "$VIREON_PYTHON" -B "$here/timed_search.py" --seconds "$seconds"
fi

if [ "$inside" = no ]; then
    command -v ip >/dev/null || die 'network namespaces need the program ip: install iproute2'
    # For the check alone, which may ask for a password and tells what stands in the way.
    "$here/../scripts/private-network.sh" --ask true ||
        die "'./dev demo --lan' needs no such network, and searches the one that this machine is on"
    exec "$here/../scripts/private-network.sh" "$here/demo.sh" --inside "$folder" --seconds "$seconds"
fi

work=
server_pid=
count_pid=

# shellcheck disable=SC2317 # reached by the trap
clean_up() {
    local status=$? pid
    trap - EXIT
    set +e # whatever has gone already, the rest goes too
    for pid in $server_pid $count_pid; do
        kill "$pid" 2>/dev/null
        wait "$pid" 2>/dev/null
    done
    [ -z "$work" ] || rm -rf "$work"
    exit "$status"
}
trap clean_up EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# This is the searcher's namespace. The server's is held by a program that ends when this one does.
coproc holder { exec unshare --net sh -c 'echo made; exec cat'; }
read -r _ <&"${holder[0]}" || die 'there can be no second network namespace'
readonly in_server=(nsenter "--net=/proc/$holder_PID/ns/net" --)
ip link add name eth0 type veth peer name eth0 netns "$holder_PID"
"${in_server[@]}" ip address add 10.31.28.2/24 broadcast + dev eth0
ip address add 10.31.28.1/24 broadcast + dev eth0
"${in_server[@]}" ip link set eth0 up
ip link set eth0 up

work=$(mktemp -d)
await() { # NAME PID: until a program that runs in the background has said that it is ready
    local tries
    for ((tries = 0; tries < 100; ++tries)); do
        [ ! -s "$work/$1" ] || return 0
        kill -0 "$2" 2>/dev/null || break
        sleep 0.1
    done
    die "$1 does not start: $(tail -n 1 "$work/$1.errors")"
}
"${in_server[@]}" python3 -B "$here/media_server.py" --name 'Living room' \
    --interface 10.31.28.2 >"$work/media_server" 2>"$work/media_server.errors" &
server_pid=$!
"${in_server[@]}" python3 -B "$here/wire_count.py" eth0 >"$work/wire_count" \
    2>"$work/wire_count.errors" &
count_pid=$!
await media_server "$server_pid"
await wire_count "$count_pid"
cat "$work/media_server"

status=0
"$VIREON_PYTHON" -B "$here/timed_search.py" --seconds "$seconds" || status=$?

kill -TERM "$count_pid"
wait "$count_pid" || true
count_pid=
tail -n 1 "$work/wire_count"
exit "$status"
