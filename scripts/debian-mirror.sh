#!/usr/bin/env bash
# Prints the mirror that this machine's apt already gets Debian 12's main component from.
set -euo pipefail
# shellcheck disable=SC2016 # apt's own fields, not variables
apt-get indextargets --format '$(CODENAME)|$(ORIGIN)|$(COMPONENT)|$(REPO_URI)' \
    'Identifier: Packages' |
    awk -F'|' '$1 == "bookworm" && $2 == "Debian" && $3 == "main" && $4 !~ /^cdrom:/ && !mirror {
            mirror = $4
        }
        END {
            if (!mirror) { print "apt names no mirror for Debian 12" > "/dev/stderr"; exit 1 }
            print mirror
        }'
