#!/bin/sh
# private-network.sh [--ask] COMMAND [ARGUMENT ...]
#
# Runs a command in a network namespace of its own, as one who may do everything there: make
# interfaces and further namespaces, capture, send anything. All of it goes with its last process.
#
# A user namespace is tried first, which takes no privileges; then root's own, then sudo, which may
# ask for its password only with --ask. Where none of them works the reasons are told and the exit code
# is 77.
ask=no
if [ "$1" = --ask ]; then
    ask=yes
    shift
fi

# shellcheck disable=SC2317 # reached by try
by_sudo() {
    if [ "$ask" = yes ]; then sudo "$@"; else sudo -n "$@"; fi
}

# What the command will do most of all, and what part of the privileges does not suffice for.
trial='ip link add here type veth peer name there && nsenter --net=/proc/self/ns/net true'

reasons=
try() { # NAME COMMAND...: whether the command makes such a namespace
    name=$1
    shift
    said=$("$@" sh -c "$trial" 2>&1) && return 0
    reasons="$reasons
    $name: ${said:-no reason given}"
    return 1
}

if try 'in a user namespace' unshare --user --map-root-user --net; then
    exec unshare --user --map-root-user --net "$@"
elif try 'with the privileges there are' unshare --net; then
    exec unshare --net "$@"
elif try 'by sudo' by_sudo unshare --net; then
    exec sudo -E env "PATH=$PATH" "HOME=$HOME" unshare --net "$@"
fi
printf '%s\n' "private-network: cannot make a network with interfaces of its own:$reasons" >&2
exit 77
