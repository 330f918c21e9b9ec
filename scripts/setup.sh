#!/usr/bin/env bash
# setup.sh build|test|coverage|bench|windows|wheels|peers|docs|record
#
# Installs what building the module, testing it, counting what the tests come to, measuring it, building
# and testing it for Windows, making wheels of it, searching among others' programs, making pages of its
# headers, or recording its demo needs and is not there yet. Safe to run again: what is in place is left
# alone, and a machine that has everything is not asked for root.
#
# Everything comes from Debian 12 but Python 2.7, which Debian 12 no longer has. Unless a Python 2.7
# with headers is on PATH already, it comes from Debian 11's suite of the mirror this machine uses
# anyway, by a source list of our own and pinned so that nothing else is ever taken from there.
set -euo pipefail

readonly kSourceList=/etc/apt/sources.list.d/vireon-python27.list
readonly kPreferences=/etc/apt/preferences.d/vireon-python27
readonly kKeyring=/usr/share/keyrings/debian-archive-keyring.gpg
readonly kScripts=${BASH_SOURCE[0]%/*}

# Python 2.7 and the two libraries it needs in the versions of its time; its Tk, with what that depends on.
readonly kPythonPackages='python2.7 python2.7-* libpython2.7 libpython2.7-* libssl1.1 libffi7
 python-tk python2 python2-minimal libpython2-stdlib'

readonly kBuildPackages=(g++ cmake ninja-build python3 iproute2 util-linux)
readonly kTestPackages=(
    clang libclang-rt-14-dev clang-format clang-tidy shellcheck black pyflakes3 ccache
    googletest
    libxml2-utils libxml2-dev valgrind
    python3-pytest python3-pytest-xdist python3-pytest-rerunfailures
    xvfb
)
# What the module is measured with, and beside.
readonly kBenchPackages=(
    pkg-config strace python3-matplotlib
    libbenchmark-dev libhttp-parser-dev liburiparser-dev libpugixml-dev libgssdp-1.6-dev libupnp-dev
)
readonly kWindowsPackages=(g++-mingw-w64-x86-64-posix wine wine64)
# Another processor's interpreter runs by the first; one that is built takes the others.
readonly kWheelPackages=(qemu-user-static gcc make zlib1g-dev)

say() { printf '==> %s\n' "$*"; }
die() {
    printf 'setup: %s\n' "$*" >&2
    exit 1
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        die "needs root to run: $* (run it as root or install sudo)"
    fi
}

apt_get() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -q \
        -o DPkg::Lock::Timeout=600 -o DPkg::Use-Pty=0 -o Acquire::Retries=3 "$@"
}

is_installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Prints those of its arguments that are not installed.
missing_packages() {
    local package
    for package; do
        is_installed "$package" || printf '%s\n' "$package"
    done
}

# True when apt knows a version of the package that it would install.
has_candidate() {
    local policy
    policy=$(LC_ALL=C apt-cache policy "$1" 2>/dev/null) && [[ $policy == *'Candidate: '[!\(]* ]]
}

updated=
update_once() {
    [ -z "$updated" ] || return 0
    say 'reading the package lists (apt-get update)'
    # One bad source among the machine's own says nothing about the others.
    apt_get update || say 'some package lists could not be read, going on with the others'
    updated=yes
}

install_packages() {
    local package
    for package; do
        has_candidate "$package" || {
            update_once
            break
        }
    done
    say "installing: $*"
    # Lists of some days ago may name versions that the mirror has replaced.
    apt_get install -y --no-install-recommends "$@" || {
        [ -z "$updated" ] || die "could not install: $*"
        update_once
        apt_get install -y --no-install-recommends "$@" || die "could not install: $*"
    }
}

# Reads only our own list, so that a fault there never touches what apt knows of the other sources.
read_python_list() {
    apt_get update -o Dir::Etc::SourceList="$kSourceList" -o Dir::Etc::SourceParts=/dev/null \
        -o APT::Get::List-Cleanup=0 -o APT::Update::Error-Mode=any
}

write_preferences() {
    as_root tee "$kPreferences" >/dev/null <<END
Explanation: Debian 11 is here for Python 2.7 alone. (Written by Vireon's set-up.)
Package: $kPythonPackages
Pin: release o=Debian,n=bullseye
Pin-Priority: 100

Explanation: Nothing else may come from it.
Package: *
Pin: release o=Debian,n=bullseye
Pin-Priority: -1
END
}

forget_python_source() {
    as_root rm -f "$kSourceList" "$kPreferences"
}

# Where nothing was read yet apt cannot tell which of its sources are Debian 12's.
know_mirrors() {
    "$kScripts/debian-mirrors.sh" >/dev/null 2>&1 || update_once
}

# Makes Debian 11's Python 2.7 known to apt: the first of the machine's mirrors that has it.
add_python_source() {
    local mirror mirrors
    know_mirrors
    mirrors=$("$kScripts/debian-mirrors.sh")

    write_preferences
    while IFS= read -r mirror; do
        say "looking for Debian 11's Python 2.7 at $mirror"
        printf '# Python 2.7 alone comes from here, see %s.\ndeb [arch=%s signed-by=%s] %s bullseye main\n' \
            "$kPreferences" "$(dpkg --print-architecture)" "$kKeyring" "$mirror" |
            as_root tee "$kSourceList" >/dev/null
        if read_python_list && has_candidate python2.7-dev; then
            return 0
        fi
    done <<<"$mirrors"

    forget_python_source
    die "none of this machine's mirrors has Debian 11's Python 2.7 (tried: ${mirrors//$'\n'/, });
put a Python 2.7 with headers on PATH instead"
}

has_python() {
    "$kScripts/find-python2.sh" "$@" >/dev/null 2>&1
}

# The interpreter with its headers; for testing the debug interpreter as well.
set_up_python() {
    local wanted=()
    has_python || wanted+=(python2.7-dev)
    [ "$1" = build ] || has_python --debug || wanted+=(python2.7-dbg)
    [ ${#wanted[@]} -gt 0 ] || return 0
    # A machine whose own sources have it already gets no source of ours.
    has_candidate python2.7-dev || add_python_source
    install_packages "${wanted[@]}"
    has_python || die 'the installed Python 2.7 does not run'
}

# What the example with a window takes. Any interpreter but Debian's brings its own, or has none.
set_up_tk() {
    local python
    python=$("$kScripts/find-python2.sh" | sed -n 's/^EXECUTABLE=//p')
    ! "$python" -c 'import Tkinter' 2>/dev/null || return 0
    if [ "$python" = /usr/bin/python2.7 ]; then
        has_candidate python-tk || add_python_source
        install_packages python-tk
    else
        say "$python has no Tkinter: the example with a window is not tested"
    fi
}

set_up_packages() {
    local missing
    mapfile -t missing < <(missing_packages "$@")
    [ ${#missing[@]} -eq 0 ] || install_packages "${missing[@]}"
}

# Whichever it is: it fetches wheels that are pinned.
set_up_pip() {
    pip3 --version >/dev/null 2>&1 || set_up_packages python3-pip
}

# The same of a library for it.
set_up_node() {
    local program
    for program in node npm; do
        "$program" --version >/dev/null 2>&1 || set_up_packages nodejs npm
    done
}

# What is only fetched (peers.sh) has to be known to apt.
know_peers() {
    local package
    while IFS= read -r package; do
        has_candidate "$package" || update_once
    done < <(grep -v '^#' "$kScripts/peers-debian.txt")
}

command -v apt-get >/dev/null || die 'only Debian 12 is set up by this script (no apt-get here)'
case ${1-} in
    build) set_up_packages "${kBuildPackages[@]}" ;;
    test)
        set_up_packages "${kBuildPackages[@]}" "${kTestPackages[@]}"
        set_up_pip
        ;;
    coverage) set_up_packages "${kBuildPackages[@]}" "${kTestPackages[@]}" gcovr ;;
    bench) set_up_packages "${kBuildPackages[@]}" "${kTestPackages[@]}" "${kBenchPackages[@]}" ;;
    windows)
        set_up_packages "${kBuildPackages[@]}" "${kTestPackages[@]}" "${kWindowsPackages[@]}"
        set_up_pip
        # The library of Windows' interpreter comes from the same mirrors.
        know_mirrors
        exit
        ;;
    wheels)
        set_up_packages "${kBuildPackages[@]}" "${kTestPackages[@]}" "${kWheelPackages[@]}"
        set_up_pip
        # Debian 11's packages come from the same mirrors.
        know_mirrors
        ;;
    peers)
        set_up_packages "${kBuildPackages[@]}" "${kTestPackages[@]}"
        set_up_pip
        set_up_node
        know_peers
        ;;
    docs)
        set_up_packages doxygen
        exit
        ;;
    record)
        set_up_packages asciinema python3-lxml python3-pyte
        set_up_pip
        exit
        ;;
    *) die 'usage: setup.sh build|test|coverage|bench|windows|wheels|peers|docs|record' ;;
esac
set_up_python "$1"
[ "$1" = build ] || set_up_tk
