#!/usr/bin/env bash
# Prints the folder of a Windows CPython 2.7.18 (python.exe, python27.dll, Lib, DLLs, include, libs),
# building it first when the cache has none. About a minute on four cores; later calls are instant.
# The cache lies outside the source tree, under XDG_CACHE_HOME, keyed by what goes into the build.
# usage: build-python.sh
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
toolchain=$here/../../cmake/windows-toolchain.cmake
version=2.7.18
key=$(cat "$here/build-python.sh" "$here"/python/* "$toolchain" | sha256sum | cut -c1-16)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/vireon
result=$cache/windows-python-$key

say() { printf '%s\n' "$*" >&2; }

# The source package, from Debian 11's archive on the mirror that this machine's apt already names.
fetch_source() {
    local folder=$1 mirror
    mirror=$("$here/../debian-mirrors.sh")
    mirror=${mirror%%$'\n'*}
    mkdir -p "$folder/lists/partial" "$folder/package"
    printf 'deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] %s bullseye main\n' \
        "$mirror" > "$folder/sources.list"
    local apt=(apt-get -q -o "Dir::Etc::sourcelist=$folder/sources.list" -o Dir::Etc::sourceparts=-
        -o "Dir::State::lists=$folder/lists" -o Acquire::Languages=none -o APT::Sandbox::User=root)
    "${apt[@]}" update
    (cd "$folder/package" && "${apt[@]}" source --download-only python2.7)
}

build() {
    local work=$1
    say "Fetching CPython $version's sources"
    fetch_source "$work/source" >"$work/fetch.log" 2>&1 || { cat "$work/fetch.log" >&2; return 1; }
    tar xzf "$work"/source/package/python2.7_*.orig.tar.gz -C "$work"
    local source=$work/Python-$version
    patch -s -p1 -d "$source" < "$here/python/mingw.patch"
    say "Building CPython $version for 64-bit Windows (a minute or two)"
    if ! {
        cmake -S "$here/python" -B "$work/build" -G Ninja "-DCMAKE_TOOLCHAIN_FILE=$toolchain" \
            "-DPYTHON_SOURCE=$source" "-DCMAKE_INSTALL_PREFIX=$work/python" &&
            cmake --build "$work/build" --target install
    } >"$work/build.log" 2>&1; then
        tail -n 40 "$work/build.log" >&2
        return 1
    fi
}

if [ ! -x "$result/python.exe" ]; then
    mkdir -p "$cache"
    work=$(mktemp -d "$cache/windows-python.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    build "$work"
    # Renamed only when whole, so that an interrupted build leaves nothing that looks finished.
    rm -rf "$result"
    mv "$work/python" "$result"
fi
printf '%s\n' "$result"
