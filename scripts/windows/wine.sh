#!/usr/bin/env bash
# Runs a Windows program: wine.sh PROGRAM [ARGUMENT ...]. The exit code is the program's.
# WINEPREFIX chooses the prefix; the shared one (wine-prefix.sh) is taken otherwise.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
if [ -z "${WINEPREFIX-}" ]; then
    WINEPREFIX=$("$here/wine-prefix.sh")
    export WINEPREFIX
fi
export WINEDEBUG=${WINEDEBUG--all}
# An inherited setting for another interpreter would change how the Windows one behaves.
unset PYTHONUNBUFFERED PYTHONDONTWRITEBYTECODE PYTHONHOME PYTHONPATH
exec wine "$@"
