#!/usr/bin/env bash
# Runs a Windows program: wine.sh PROGRAM [ARGUMENT ...]. The exit code is the program's.
# WINEPREFIX chooses the prefix; the shared one (wine-prefix.sh) is taken otherwise. Programs that are
# an interpreter find the Windows one's library and modules; VIREON_SCRIPT_PATH names more folders to
# import from, separated by colons.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

windows_path() { printf 'Z:%s' "${1//\//\\}"; }

if [ -z "${WINEPREFIX-}" ]; then
    WINEPREFIX=$("$here/wine-prefix.sh")
    export WINEPREFIX
fi
python=$("$here/interpreter.sh")
export WINEDEBUG=${WINEDEBUG--all}
# Not what Wine starts of its own beside each first program and no test needs, which is nearly half of
# what a start costs: menu entries, a desktop, devices that come and go, an event log.
export WINEDLLOVERRIDES='winemenubuilder.exe,explorer.exe,plugplay.exe,svchost.exe=d'
# An inherited setting for another interpreter would change how the Windows one behaves.
unset PYTHONUNBUFFERED PYTHONDONTWRITEBYTECODE PYTHONPATH
PYTHONHOME=$(windows_path "$python")
export PYTHONHOME WINEPATH=$PYTHONHOME
if [ -n "${VIREON_SCRIPT_PATH-}" ]; then
    PYTHONPATH=$(windows_path "${VIREON_SCRIPT_PATH//:/;Z:}")
    export PYTHONPATH
fi
exec wine "$@"
