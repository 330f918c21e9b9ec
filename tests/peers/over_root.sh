#!/bin/sh
# over_root.sh FOLDER COMMAND [ARGUMENT ...]
#
# Runs a command that finds the programs, libraries and settings of FOLDER as if they were installed. In a
# mount namespace of its own, so that nothing else on the machine does.
folder=$1
shift
for part in usr etc; do
    mount -t overlay peers -o "ro,lowerdir=$folder/$part:/$part" "/$part" || exit 1
done
exec "$@"
