# shellcheck shell=bash
# What scripts share that fetch or make something once, for those to read: a cache outside the source tree,
# under XDG_CACHE_HOME.
kCache=${XDG_CACHE_HOME:-$HOME/.cache}/vireon

say() { printf '%s\n' "$*" >&2; }
die() {
    say "$(basename "$0" .sh): $*"
    exit 1
}

# Runs a step; its output is of interest only when it fails.
step() { # SENTENCE COMMAND...
    local sentence=$1 said
    shift
    said=$("$@" 2>&1) || {
        say "$said"
        die "$sentence"
    }
}

# Sets `cached` to a folder that the function `fetch FOLDER` has filled, now or once before. Its name is
# made from the files that decide what goes into it, and from the words in `cached_words`.
cached() { # NAME FILE...
    local name=$1 key
    shift
    key=$(printf '%s\n' "${cached_words-}" | cat - "$@" | sha256sum | cut -c1-16)
    cached=$kCache/$name-$key
    [ -d "$cached" ] || fill_cached "$name"
}

fill_cached() { # NAME
    mkdir -p "$kCache" || die "cannot make $kCache"
    work=$(mktemp -d "$kCache/$1.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    mkdir "$work/result"
    fetch "$work/result" >&2
    # Renamed only when whole, so that nothing that looks finished ever is not. Another run may be first.
    mv -T "$work/result" "$cached" 2>/dev/null || [ -d "$cached" ] || die "could not put $1 into $kCache"
    rm -rf "$work"
    trap - EXIT
}

# What the file pins, unpacked; of each package, only what lies below PREFIX.
fetch_wheels() { # REQUIREMENTS PLATFORMS ABI FOLDER [PREFIX]
    "${BASH_SOURCE[0]%/*}/fetch-wheels.sh" "$1" "$work/wheels" "$2" "$3" || exit 1
    step "could not unpack what ${1##*/} pins into $kCache" unpack_wheels "$4" "${5-}"
    rm -rf "$work/wheels"
}

unpack_wheels() { # FOLDER PREFIX
    python3 - "$1" "$2" "$work"/wheels/*.whl <<'PYTHON'
import sys, zipfile
folder, prefix = sys.argv[1:3]
for file in sys.argv[3:]:
    wheel = zipfile.ZipFile(file)
    wheel.extractall(folder, [name for name in wheel.namelist() if name.startswith(prefix)])
PYTHON
}
