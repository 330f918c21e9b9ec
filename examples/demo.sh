#!/usr/bin/env bash
# demo.sh [MODULE_FOLDER] [--lan] [--seconds N]
#
# Shows a search: a sample media server in one private network namespace, the module in another, a
# cable between them. Nothing leaves the machine, and nothing stays behind. With --lan the module
# searches the network that the machine is on instead, for people who have real servers.
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
seconds=8
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
    exec "$VIREON_PYTHON" -B "$here/find_servers.py" --seconds "$seconds"
fi

if [ "$(id -u)" -ne 0 ] && command -v sudo >/dev/null; then
    exec sudo -- env "VIREON_MODULE_DIR=$VIREON_MODULE_DIR" "VIREON_PYTHON=$VIREON_PYTHON" \
        "$here/demo.sh" --seconds "$seconds"
fi

# Two runs at the same time have their own.
readonly server=vireon-demo-$$-server client=vireon-demo-$$-client
work=
server_pid=
count_pid=

# shellcheck disable=SC2317 # reached by the trap
clean_up() {
    local status=$? pid name
    trap - EXIT
    set +e # whatever has gone already, the rest goes too
    for pid in $server_pid $count_pid; do
        kill "$pid" 2>/dev/null
        wait "$pid" 2>/dev/null
    done
    for name in $server $client; do
        [ ! -e "/run/netns/$name" ] || ip netns delete "$name"
    done
    [ -z "$work" ] || rm -rf "$work"
    exit "$status"
}
trap clean_up EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

command -v ip >/dev/null || die 'network namespaces need the program ip: install iproute2'
# Unlike `ip netns exec` this mounts nothing, which a chroot would refuse.
readonly in_server=(nsenter "--net=/run/netns/$server" --)
readonly in_client=(nsenter "--net=/run/netns/$client" --)
make_namespace() { # NAME
    local said
    if ! said=$(ip netns add "$1" 2>&1) || ! said=$(nsenter "--net=/run/netns/$1" true 2>&1); then
        die "network namespaces cannot be made here: ${said:-no reason given}
demo: it takes root (CAP_SYS_ADMIN and CAP_NET_ADMIN) and a kernel with network namespaces;
demo: './dev demo --lan' needs neither, and searches the network that this machine is on"
    fi
}
make_namespace "$server"
make_namespace "$client"
"${in_server[@]}" ip link add name eth0 type veth peer name eth0 netns "$client" ||
    die 'the two namespaces cannot be joined: the kernel has no veth interfaces'
"${in_server[@]}" ip address add 10.31.28.2/24 broadcast + dev eth0
"${in_client[@]}" ip address add 10.31.28.1/24 broadcast + dev eth0
"${in_server[@]}" ip link set eth0 up
"${in_client[@]}" ip link set eth0 up

work=$(mktemp -d)
await() { # FILE: until a program that runs in the background has said that it is ready
    local tries
    for ((tries = 0; tries < 100; ++tries)); do
        [ ! -s "$1" ] || return 0
        sleep 0.1
    done
    cat "$work"/*.errors >&2
    die 'the sample server does not start'
}
"${in_server[@]}" python3 -B "$here/media_server.py" --name 'Living room' \
    --interface 10.31.28.2 >"$work/server" 2>"$work/server.errors" &
server_pid=$!
"${in_server[@]}" python3 -B "$here/wire_count.py" eth0 >"$work/count" \
    2>"$work/count.errors" &
count_pid=$!
await "$work/server"
await "$work/count"
cat "$work/server"

status=0
"${in_client[@]}" "$VIREON_PYTHON" -B "$here/find_servers.py" --seconds "$seconds" || status=$?

kill -TERM "$count_pid"
wait "$count_pid" || true
count_pid=
tail -n 1 "$work/count"
exit "$status"
