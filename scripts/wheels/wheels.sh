#!/usr/bin/env bash
# wheels.sh linux|aarch64|windows|source ...
#
# Makes what is installed by pip, in build/wheels: a wheel for Linux on x86_64 or on 64-bit ARM, one for 64-bit
# Windows, the source distribution. Each wheel is looked at by what a package
# index asks of one, and installed into an empty folder by each interpreter that it is tried with, where the
# script tests then run with it. Whatever is wrong ends it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
readonly kWheels=$PWD/build/wheels
# A test that takes longer hangs.
readonly kLongestTest=1800

say() { printf '\n==> %s\n' "$*"; }
die() {
    printf 'wheels: %s\n' "$*" >&2
    exit 1
}

build() { # PRESET
    local fresh=()
    say "building: $1"
    mkdir -p "build/$1"
    # CMake keeps to the compiler that it found first, and the cache may have another one by now.
    [[ $1 != manylinux-* ]] || fresh=(--fresh)
    cmake "${fresh[@]}" --preset "$1" >"build/$1/configure.log" 2>&1 || {
        cat "build/$1/configure.log" >&2
        die "could not configure: $1"
    }
    # The module, and what the script tests import beside it.
    cmake --build --preset "$1" --parallel "$(nproc)" --target _vireon vireon_probe vireon_sibling ||
        die "could not build: $1"
}

# Runs setup.py in the folder, with all that it makes on the way; what it says is of interest only then.
set_up() { # FOLDER COMMAND...
    local folder=$1
    shift
    mkdir -p "$folder"
    PYTHONPATH=$tools "$python" -B setup.py --quiet egg_info --egg-base "$folder" "$@" >"$folder/log" 2>&1 || {
        cat "$folder/log" >&2
        die 'setup.py failed'
    }
}

# Sets `wheel` to it.
pack() { # PRESET TAGS
    local work=$kWheels/work
    rm -rf "$work"
    set_up "$work" build --build-base "$work/build" build_ext --built "build/$1" \
        bdist_wheel --bdist-dir "$work/bdist" --dist-dir "$work/dist" --tags "$2"
    wheel=$kWheels/$(basename "$work"/dist/*.whl)
    mv "$work"/dist/*.whl "$wheel"
    rm -rf "$work"
    say "made: ${wheel#"$PWD"/}, $(stat -c %s "$wheel") bytes"
}

look_at() { # FILE
    PYTHONPATH=$checks python3 -B -m twine check --strict "$1" || die "twine finds fault with ${1##*/}"
    [[ $1 == *.whl ]] || return 0
    python3 -B tests/packaging/wheel_file_test.py "$1" || die "not as it should be: ${1##*/}"
    [[ $1 == *manylinux* ]] || return 0
    # In its own words, which name the oldest system that the module may be loaded on.
    PYTHONPATH=$checks python3 -B -m auditwheel show "$1" | tee "$kWheels/audit.log"
    tr '\n' ' ' <"$kWheels/audit.log" | grep -q 'consistent with the following platform tag: *"manylinux_2_17_' ||
        die "auditwheel finds fault with ${1##*/}"
    rm "$kWheels/audit.log"
}

# Runs what follows with no package on the path but those in the folder.
with_path() { # FOLDER COMMAND...
    local folder=$1
    shift
    env PYTHONPATH="$folder" VIREON_SCRIPT_PATH="$folder" "$@"
}

# Sets `folder` to a new one into which the interpreter's pip has installed the file.
install() { # NAME INTERPRETER FILE [PIP_OPTION ...]
    local name=$1 interpreter=$2 file=${3##*/}
    shift 3
    folder=$kWheels/try-$name
    rm -rf "$folder"
    mkdir "$folder"
    say "trying $file: $name"
    # By relative paths, which mean the same on both platforms.
    (cd "$kWheels" && with_path "$tools" "$interpreter" -B -m pip install \
        --quiet --no-python-version-warning --disable-pip-version-check --no-compile "$@" \
        --target "try-$name" "./$file") || die "pip refuses $file"
    with_path "$folder" "$interpreter" -B tests/packaging/installed.py "$folder" ||
        die "not installed as it should be"
}

# Runs a script test, of what is installed in the folder. The log keeps what it says; FAILED, its name if it fails.
run_script_test() { # TEST LOG FAILED COMMAND...
    local test=$1 log=$2 failed=$3
    shift 3
    timeout "$kLongestTest" "$@" -B "tests/script/$test" --verbose >"$log" 2>&1 </dev/null ||
        echo "$test" >>"$failed"
}

# Installs the wheel by an interpreter and runs the script tests there, one on each processor. What follows is the
# command for those, which may search.
try() { # NAME PRESET INTERPRETER [TESTS_INTERPRETER ...]
    local name=$1 preset=$2 interpreter=$3 logs log
    shift 3
    [ $# -gt 0 ] || set -- "$interpreter"
    install "$name" "$interpreter" "$wheel" --no-index --no-deps
    cp -r "build/$preset/script_test_modules" "$folder"
    logs=$kWheels/logs-$name
    rm -rf "$logs"
    mkdir "$logs"
    # The longest first, so that the others run beside it.
    sed 's,^,tests/script/,' "build/$preset/script_tests.txt" | xargs ls -S | xargs -n 1 basename |
        VIREON_MODULE_DIR=$folder VIREON_PYTHON=$interpreter with_path "$folder" \
            xargs -P "$(nproc)" -I '{}' bash -c 'run_script_test "$@"' bash '{}' "$logs/{}" "$logs/failed" "$@"
    log=$kWheels/try-$name.log
    cat "$logs"/test_* >"$log"
    awk '/^Ran [0-9]+ tests? in/ { ran += $2 } /\.\.\. skipped / { skipped++ }
        END { printf "%d tests, %d of them skipped\n", ran, skipped }' "$log"
    grep -h '\.\.\. skipped ' "$log" || true
    [ ! -f "$logs/failed" ] || die "failed with $name: $(paste -sd ' ' "$logs/failed"); see ${log#"$PWD"/}"
    if [ "${CI-}" = true ] && grep '\.\.\. skipped ' "$log" | grep -qv 'platform: '; then
        die 'nothing may be skipped where CI=true'
    fi
    rm -rf "$folder" "$logs"
}

# By the interpreter that this machine has; by Debian 11's with its libraries, so that nothing is asked of the
# system that a later one brought; by one of the other width.
make_linux() {
    local debian11 ucs2
    build manylinux-x86_64
    pack manylinux-x86_64 cp27-cp27m.cp27mu-manylinux_2_17_x86_64.manylinux2014_x86_64
    look_at "$wheel"
    try here manylinux-x86_64 "$python"
    debian11=$(scripts/wheels/debian-python.sh amd64)
    try debian11 manylinux-x86_64 "$debian11/python"
    ucs2=$(scripts/wheels/ucs2-python.sh)
    try ucs2 manylinux-x86_64 "$ucs2"
}

make_aarch64() {
    local debian11
    build manylinux-aarch64
    pack manylinux-aarch64 cp27-cp27m.cp27mu-manylinux_2_17_aarch64.manylinux2014_aarch64
    look_at "$wheel"
    debian11=$(scripts/wheels/debian-python.sh arm64)
    # Whatever runs there takes many times as long.
    VIREON_TIME_FACTOR=${VIREON_TIME_FACTOR:-4} try debian11-arm64 manylinux-aarch64 "$debian11/python"
}

make_windows() {
    local windows
    windows=$(scripts/windows/interpreter.sh)
    build windows
    pack windows cp27-cp27m-win_amd64
    look_at "$wheel"
    printf '#!/bin/sh\nexec "%s" "%s" "$@"\n' "$PWD/scripts/windows/wine.sh" "$windows/python.exe" \
        >"$kWheels/wine-python"
    chmod +x "$kWheels/wine-python"
    VIREON_ISOLATED=1 try windows windows "$kWheels/wine-python" \
        tests/script/isolated.sh scripts/windows/wine-isolated.sh "$windows/python.exe"
    rm "$kWheels/wine-python"
}

make_source() {
    local work=$kWheels/work archive
    rm -rf "$work"
    set_up "$work" sdist --dist-dir "$work/dist"
    archive=$kWheels/$(basename "$work"/dist/*.tar.gz)
    mv "$work"/dist/*.tar.gz "$archive"
    rm -rf "$work"
    say "made: ${archive#"$PWD"/}, $(stat -c %s "$archive") bytes"
    look_at "$archive"
    # pip fetches what builds it, and keeps nothing of what it built.
    install source "$python" "$archive" --no-cache-dir
    rm -rf "$folder"
}

export -f run_script_test
export kLongestTest
mkdir -p "$kWheels"
python=$(scripts/find-python2.sh | sed -n 's/^EXECUTABLE=//p')
tools=$(scripts/wheels/packages.sh python27)
checks=$(scripts/wheels/packages.sh checks)
for kind; do
    "make_$kind"
done
