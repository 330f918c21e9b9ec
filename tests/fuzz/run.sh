#!/usr/bin/env bash
# Fuzzes each target for some seconds on one core. What was learnt stays in the build folder; an
# input that breaks something is kept there too and ends the run with its name.
# usage: run.sh BUILD_FOLDER [SECONDS [TARGET...]]
set -euo pipefail
build=$(realpath "$1")
seconds=${2:-60}
shift $(($# < 2 ? $# : 2))
cd "$(dirname "${BASH_SOURCE[0]}")"

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for fuzzer in *_fuzzer.cpp; do
        targets+=("${fuzzer%_fuzzer.cpp}")
    done
fi

status=0
for target in "${targets[@]}"; do
    printf '\n==> fuzzing: %s for %s s\n' "$target" "$seconds"
    learnt=$build/learnt/$target
    findings=$build/findings/$target
    mkdir -p "$learnt" "$findings"
    options=(-max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=20000
        -artifact_prefix="$findings/" -print_final_stats=1 -verbosity=0)
    [ ! -f "$target.dict" ] || options+=(-dict="$target.dict")
    "$build/tests/fuzz/fuzz_$target" "${options[@]}" "$learnt" "corpus/$target" || status=1
done
[ $status -eq 0 ] || printf '\nrun.sh: broken inputs are in %s/findings\n' "$build" >&2
exit $status
