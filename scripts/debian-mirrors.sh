#!/usr/bin/env bash
# Prints the mirrors that this machine's apt gets Debian 12's main component from, one a line in apt's
# own order, whatever form its sources are written in; fails when it knows none.
set -euo pipefail
# shellcheck disable=SC2016 # apt's own fields, not variables
apt-get indextargets --format '$(CODENAME)|$(ORIGIN)|$(COMPONENT)|$(REPO_URI)' \
    'Identifier: Packages' |
    awk -F'|' '$1 == "bookworm" && $2 == "Debian" && $3 == "main" && $4 !~ /^cdrom:/ \
            && !seen[$4]++ { print $4; count++ }
        END {
            if (!count) { print "apt names no mirror for Debian 12" > "/dev/stderr"; exit 1 }
        }'
