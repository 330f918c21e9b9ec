#!/usr/bin/env bash
# Fuzzes each target for some seconds on one core. What was learnt stays in the build folder; an
# input that breaks something is kept there too and ends the run with its name. --keep does not fuzz
# but adds to the corpora, of what was learnt, the few inputs that reach what no other there does.
# usage: run.sh [--keep] BUILD_FOLDER [SECONDS [TARGET...]]
set -euo pipefail
keeps=
if [ "${1-}" = --keep ]; then
    keeps=yes
    shift
fi
build=$(realpath "$1")
seconds=${2:-60}
shift $(($# < 2 ? $# : 2))
cd "$(dirname "${BASH_SOURCE[0]}")"
# Most of the time would go into remembering what was freed, and who asked for it.
export ASAN_OPTIONS=quarantine_size_mb=16:malloc_context_size=4:${ASAN_OPTIONS-}

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for fuzzer in *_fuzzer.cpp; do
        targets+=("${fuzzer%_fuzzer.cpp}")
    done
fi

status=0
for target in "${targets[@]}"; do
    learnt=$build/learnt/$target
    findings=$build/findings/$target
    program=$build/tests/fuzz/fuzz_$target
    mkdir -p "$learnt" "$findings"
    if [ -n "$keeps" ]; then
        "$program" -set_cover_merge=1 -use_counters=0 -verbosity=0 "corpus/$target" "$learnt" || status=1
        continue
    fi
    printf '\n==> fuzzing: %s for %s s\n' "$target" "$seconds"
    # Longer inputs than these reach nothing more, but take longer.
    max_len=5000
    [ "$target" != response ] || max_len=20000
    options=(-max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len="$max_len"
        -artifact_prefix="$findings/" -print_final_stats=1 -verbosity=0)
    [ ! -f "$target.dict" ] || options+=(-dict="$target.dict")
    "$program" "${options[@]}" "$learnt" "corpus/$target" || status=1
done
[ $status -eq 0 ] || printf '\nrun.sh: broken inputs are in %s/findings\n' "$build" >&2
exit $status
