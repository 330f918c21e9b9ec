#!/bin/sh
# Runs a command in a network namespace of its own, with one interface that leads nowhere.
#
# A checked build's runtime, which comes by LD_PRELOAD, is for the command and not for these tools.
PRELOAD=${LD_PRELOAD-}
export PRELOAD
unset LD_PRELOAD
# shellcheck disable=SC2016 # the inner shell expands these
exec "$(dirname "$0")/../../scripts/private-network.sh" sh -c '
    ip link set lo up &&
    ip link add here type veth peer name there &&
    ip address add 10.77.0.1/24 brd + dev here &&
    ip link set here up && ip link set there up &&
    exec env -u PRELOAD ${PRELOAD:+"LD_PRELOAD=$PRELOAD"} "$@"
' sh "$@"
