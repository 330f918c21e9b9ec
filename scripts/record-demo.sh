#!/usr/bin/env bash
# record-demo.sh
#
# Records the demo of build/release in a terminal of a fixed size, as docs/pictures/watch.cast, and makes of that
# docs/pictures/watch.svg. Both are written by this alone, so that they show what happens. It needs what
# `setup.sh record` installs; what makes the picture is fetched each time (record-python.txt).
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
readonly here
cd "$here/.."

readonly kColumns=80
readonly kLines=16
readonly kLastPicture=4000 # ms for which it stays
readonly kLargest=100000 # bytes of the picture, which comes with the README

say() { printf '==> %s\n' "$*"; }
die() {
    printf 'record-demo: %s\n' "$*" >&2
    exit 1
}

work=$(mktemp -d)
readonly work
trap 'rm -rf "$work"' EXIT
"$here/fetch-wheels.sh" "$here/record-python.txt" "$work/wheels" any cp311 || exit 1

# Without this machine's surroundings, which a recording may keep.
say 'recording a quarter of a minute'
env -i PATH="$PATH" HOME="$work" LANG=C.UTF-8 SHELL=/bin/sh TERM=xterm-256color \
    asciinema rec --quiet --cols "$kColumns" --rows "$kLines" --title 'python -m vireon watch --dropped' \
    --command "examples/demo.sh && touch '$work/seen'" "$work/watch.cast" </dev/null || die 'asciinema failed'
# Which asciinema's exit code does not tell.
[ -e "$work/seen" ] || die "the demo failed: $(tail -n 1 "$work/watch.cast")"
for word in "$PWD" "$HOME" "$(uname -n)" "$(id -un)"; do
    ! grep -qwF -e "$word" "$work/watch.cast" || die "the recording names $word"
done

say 'making the picture'
# A wheel is a folder that Python reads as it is.
PYTHONPATH=$(echo "$work"/wheels/*.whl) /usr/bin/python3 -m termtosvg render "$work/watch.cast" \
    "$work/watch.svg" --template window_frame --loop-delay "$kLastPicture" >"$work/said" 2>&1 ||
    die "no picture: $(tail -n 1 "$work/said")"
size=$(stat -c %s "$work/watch.svg")
[ "$size" -le "$kLargest" ] || die "the picture has $size bytes"

install -m 644 "$work/watch.cast" "$work/watch.svg" docs/pictures
say "docs/pictures/watch.cast and watch.svg ($size bytes)"
