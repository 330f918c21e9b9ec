#!/usr/bin/env bash
# debian-python.sh amd64|arm64
#
# Prints the folder of the Python 2.7 of Debian 11, the last Debian that carries one, for that processor:
#   python     runs it, with the C library and all others of its Debian; another processor's by qemu
#   include/   its headers, which need no others of Debian's
#   root/      its packages and what they depend on, unpacked
# Nothing is installed, so nobody has to be root. Fetched from the mirror that this machine's apt already
# uses when the cache has none yet. The cache lies outside the source tree, under XDG_CACHE_HOME; the
# folder's name is made from what goes into it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/cache.sh
. "$here/../cache.sh"

# An apt of its own, to which nothing is installed, so that it names all that the packages depend on.
fetch_packages() {
    local state=$work/apt mirror
    mirror=$("$here/../debian-mirrors.sh") || return
    mirror=${mirror%%$'\n'*}
    mkdir -p "$state/lists/partial" "$state/archives/partial"
    : >"$state/status"
    printf 'deb [arch=%s signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] %s bullseye main\n' \
        "$architecture" "$mirror" >"$state/sources.list"
    local apt=(apt-get -q -o "Dir::Etc::sourcelist=$state/sources.list" -o Dir::Etc::sourceparts=-
        -o Dir::Etc::preferences=- -o Dir::Etc::preferencesparts=- -o "Dir::State::status=$state/status"
        -o "Dir::State::lists=$state/lists" -o "Dir::Cache=$state" -o "Dir::Cache::archives=$state/archives"
        -o "APT::Architecture=$architecture" -o "APT::Architectures=$architecture"
        -o Acquire::Languages=none -o APT::Sandbox::User= -o APT::Update::Error-Mode=any
        -o Debug::NoLocking=true)
    "${apt[@]}" update &&
        "${apt[@]}" --yes --no-install-recommends --download-only install python2.7 &&
        cd "$state/archives" && "${apt[@]}" download libpython2.7-dev
}

unpack_packages() { # FOLDER
    local package
    mkdir "$1/root" "$work/headers"
    for package in "$work"/apt/archives/*.deb; do
        case ${package##*/} in
            libpython2.7-dev_*) dpkg-deb --extract "$package" "$work/headers" ;;
            *) dpkg-deb --extract "$package" "$1/root" ;;
        esac || return
    done
    # pyconfig.h in place of the one that chooses among the processors' by Debian's own folders, and without
    # a library that the C library no longer has everywhere, and that no module needs.
    mv "$work/headers/usr/include/python2.7" "$1/include" &&
        sed '/^#define HAVE_CRYPT_H /d' "$work/headers/usr/include/$machine-linux-gnu/python2.7/pyconfig.h" \
            >"$1/include/pyconfig.h"
}

fetch() { # FOLDER
    say "Fetching Debian 11's Python 2.7 for $architecture"
    step "could not fetch Debian 11's packages from this machine's mirror; is the network there?" fetch_packages
    step "could not unpack Debian 11's packages into $kCache" unpack_packages "$1"
    cat >"$1/python" <<END
#!/bin/sh
here=\$(cd "\$(dirname "\$0")" && pwd)
root=\$here/root
exec $command "\$root/usr/bin/python2.7" "\$@"
END
    chmod +x "$1/python"
}

architecture=${1-}
case $architecture in
    amd64)
        machine=x86_64
        # shellcheck disable=SC2016 # the script that it goes into expands it
        command='"$root/lib/x86_64-linux-gnu/ld-linux-x86-64.so.2" --library-path "$root/lib/x86_64-linux-gnu:$root/usr/lib/x86_64-linux-gnu"'
        ;;
    arm64)
        machine=aarch64
        # shellcheck disable=SC2016 # the same
        command='qemu-aarch64-static -L "$root"'
        ;;
    *) die 'usage: debian-python.sh amd64|arm64' ;;
esac
cached_words=$architecture
cached "debian11-python-$architecture" "$here/debian-python.sh" "$here/../cache.sh"
printf '%s\n' "$cached"
