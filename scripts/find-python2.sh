#!/usr/bin/env bash
# find-python2.sh [--debug] [INTERPRETER]
#
# Prints what building against Python 2.7 takes, as CMake-style NAME=VALUE lines, for the first
# interpreter on PATH that really runs (an empty shim of a version manager does not), is a UCS4 build
# and has its headers; fails when there is none. --debug looks for the debug interpreter instead. An
# INTERPRETER that is named is the only one looked at, and may be a UCS2 build.
set -euo pipefail

# shellcheck disable=SC2016 # Python, not shell
readonly kProbe='
import os, sys
from distutils import sysconfig
debug = hasattr(sys, "gettotalrefcount")
include = sysconfig.get_python_inc()
values = sysconfig.get_config_vars()
if sys.version_info[:2] != (2, 7) or debug != (sys.argv[1] == "debug"):
    sys.exit(1)
if sys.argv[2:] != ["named"] and sys.maxunicode != 0x10FFFF:
    sys.exit(1)
if not os.path.isfile(os.path.join(include, "Python.h")):
    sys.exit(1)
library = ""
for folder in (values.get("LIBDIR"), values.get("LIBPL")):
    for name in (values.get("LDLIBRARY"), values.get("LIBRARY")):
        if folder and name and not library:
            for path in (os.path.join(folder, values.get("MULTIARCH") or "", name),
                         os.path.join(folder, name)):
                if os.path.isfile(path):
                    library = path
                    break
print("EXECUTABLE=" + sys.executable)
print("INCLUDE=" + include)
print("PLATFORM_INCLUDE=" + sysconfig.get_python_inc(plat_specific=True))
print("LIBRARY=" + library)
print("SYSTEM_LIBRARIES=" + " ".join((values.get("LIBS") or "", values.get("SYSLIBS") or "")).strip())
print("VERSION=" + sys.version.split()[0])
'

kind=plain
names=(python2.7 python2 python)
if [ "${1-}" = --debug ]; then
    kind=debug
    names=(python2.7-dbg python2-dbg python2.7 python2)
    shift
fi

if [ $# -gt 0 ]; then
    "$1" -c "$kProbe" "$kind" named </dev/null || {
        echo "find-python2: no $kind Python 2.7 with headers: $1" >&2
        exit 1
    }
    exit 0
fi

IFS=: read -ra folders <<<"$PATH"
for name in "${names[@]}"; do
    for folder in "${folders[@]}"; do
        [ -x "$folder/$name" ] || continue
        if found=$("$folder/$name" -c "$kProbe" "$kind" 2>/dev/null </dev/null); then
            printf '%s\n' "$found"
            exit 0
        fi
    done
done
echo "find-python2: no $kind Python 2.7 (UCS4, with headers) on PATH" >&2
exit 1
