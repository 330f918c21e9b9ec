#!/bin/sh
# beside.sh linux|windows before|after COMMAND [ARGUMENT ...]
#
# Runs a command in which each Python 2.7 that has the module on its path loads the neighbours, either
# as it starts, before the module, or as soon as the module was imported (sitecustomize.py).
here=$(cd "$(dirname "$0")" && pwd)
VIREON_NEIGHBOURS_FOLDER=$("$here/../../scripts/neighbours.sh" "$1") || exit 1
VIREON_NEIGHBOURS=$2
VIREON_SCRIPT_PATH=$here${VIREON_SCRIPT_PATH:+:$VIREON_SCRIPT_PATH}
export VIREON_NEIGHBOURS_FOLDER VIREON_NEIGHBOURS VIREON_SCRIPT_PATH
shift 2
exec "$@"
