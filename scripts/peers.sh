#!/usr/bin/env bash
# peers.sh
#
# Prints the folder with the programs and libraries of others that the module searches among, which are
# fetched when the cache has none yet:
#   programs/  Debian's (peers-debian.txt), with whatever they depend on that this machine has not installed
#   python/    libraries for Debian 12's Python 3 (peers-python.txt)
#   node/      a library for Node.js (peers-node/)
# Debian's are unpacked, not installed, so that no service of theirs ever starts. The cache lies outside the
# source tree, under XDG_CACHE_HOME; the folder's name is made from what goes into it.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

die() {
    printf 'peers: %s\n' "$*" >&2
    exit 1
}

mapfile -t packages < <(grep -v '^#' "$here/peers-debian.txt")
cache=${XDG_CACHE_HOME:-$HOME/.cache}/vireon

# Nothing is installed, so nobody has to be kept from installing, and nobody has to be root.
apt_get() {
    apt-get -qq -o Debug::NoLocking=true -o APT::Sandbox::User= "$@" --no-install-recommends install "${packages[@]}"
}

# The files that apt would fetch, each with its size and hash.
wanted=$(apt_get --print-uris) || die "apt-get knows not all of: ${packages[*]}"
wanted=$(printf '%s\n' "$wanted" | cut -d' ' -f2-)
key=$(cat - "$here"/peers-*.txt "$here"/peers-node/* "$here/peers.sh" "$here/fetch-wheels.sh" <<<"$wanted" |
    sha256sum | cut -c1-16)
result=$cache/peers-$key

fetch_programs() { # FOLDER
    local package part
    mkdir -p "$work/packages/partial" "$1/usr" "$1/etc"
    apt_get --download-only --yes -o Dir::Cache::archives="$work/packages" ||
        die "apt-get could not fetch Debian's peers; is the network there, and are the package lists recent?"
    for package in "$work"/packages/*.deb; do
        dpkg-deb --extract "$package" "$1" || die "could not unpack ${package##*/}"
    done
    # Older packages still have these beside usr/; on the system they are links into it.
    for part in bin lib sbin; do
        [ ! -d "$1/$part" ] || cp -a "$1/$part" "$1/usr/"
    done
    # The links that an installation would make.
    for part in "$1"/usr/lib/*/{blas,lapack}/*.so.?; do
        [ ! -e "$part" ] || ln -sf "$part" "${part%/*/*}/"
    done
}

fetch_python() { # FOLDER
    "$here/fetch-wheels.sh" "$here/peers-python.txt" "$work/wheels" manylinux2014_x86_64 cp311 || exit 1
    python3 - "$work"/wheels/*.whl "$1" <<'PYTHON' || die 'could not unpack the libraries for Python'
import sys, zipfile
for wheel in sys.argv[1:-1]:
    zipfile.ZipFile(wheel).extractall(sys.argv[-1])
PYTHON
}

fetch_node() { # FOLDER
    cp -r "$here/peers-node" "$1"
    npm ci --prefix "$1" --cache "$work/npm" --ignore-scripts --no-audit --no-fund --silent ||
        die 'npm could not fetch what peers-node/ pins; is the network there?'
}

fetch() {
    mkdir -p "$cache" || die "cannot make $cache"
    work=$(mktemp -d "$cache/peers.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    printf 'Fetching the programs and libraries that the module searches among\n' >&2
    mkdir "$work/peers"
    fetch_programs "$work/peers/programs"
    fetch_python "$work/peers/python"
    fetch_node "$work/peers/node"
    # Renamed only when whole, so that nothing that looks finished ever is not. Another run may be first.
    mv -T "$work/peers" "$result" 2>/dev/null || [ -d "$result" ] || die "could not put the peers into $cache"
}

[ -d "$result" ] || fetch >&2
printf '%s\n' "$result"
