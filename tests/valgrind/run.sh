#!/usr/bin/env bash
# run.sh BUILD_FOLDER [--short]
#
# Runs the C++ tests under Valgrind: memcheck for memory, helgrind and drd for threads. Fails when a test
# fails, or when one of the tools has something to say. The short form is memcheck alone, on the programs
# that it is through with in some seconds.
#
# left_out.txt names tests that cannot pass here, each with its reason.
set -euo pipefail
build=$(realpath "$1")
form=${2-}
cd "$(dirname "${BASH_SOURCE[0]}")"

# Says less than gtest's own failure code, so that the two are told apart.
readonly kFound=99
# A test's own operator new stays, which refuses memory when it is told to.
readonly kOptions=(-q "--error-exitcode=$kFound" --child-silent-after-fork=yes --fair-sched=yes
    --soname-synonyms=somalloc=nouserintercepts "--suppressions=$PWD/harmless.supp")
# Which lock is taken before which: a mutex of the C++ library is gone without a word, and the next one at its
# place would be taken for it.
readonly kHelgrindOptions=(--track-lockorders=no)

tools=(memcheck helgrind drd)
programs=()
case $form in
    '')
        mapfile -t programs < <(find "$build/src" -name '*_test' -type f -executable | sort)
        ;;
    --short)
        tools=(memcheck)
        programs=("$build"/src/{net/net_scripted,device/device,binding/interpreter/interpreter,binding/binding}_test)
        ;;
    *)
        printf 'run.sh: no such option: %s\n' "$form" >&2
        exit 2
        ;;
esac
[ ${#programs[@]} -gt 0 ] || {
    printf 'run.sh: no tests were built in %s\n' "$build" >&2
    exit 1
}

# The tests that a tool is not given, as GoogleTest wants them named.
left_out() { # TOOL
    sed -n -E "s/^($1|all) +([^ ]+) .*/\2/p" left_out.txt | paste -sd :
}

status=0
for tool in "${tools[@]}"; do
    options=("${kOptions[@]}" "--tool=$tool")
    [ "$tool" != helgrind ] || options+=("${kHelgrindOptions[@]}")
    [ "$tool" != memcheck ] || options+=(--leak-check=full '--errors-for-leak-kinds=definite,indirect'
        '--show-leak-kinds=definite,indirect')
    for program in "${programs[@]}"; do
        name=${program##*/}
        start=$SECONDS
        outcome=clean
        if ! output=$(valgrind "${options[@]}" "$program" "--gtest_filter=-$(left_out "$tool")" 2>&1); then
            outcome='not clean'
            status=1
            printf '%s\n' "$output" | grep -E '^==|\[  FAILED|Failure|error:' || true
        fi
        ran=$(sed -n 's/^\[==========\] \([0-9]*\) tests\? .* ran\..*/\1/p' <<<"$output")
        printf '%s %s: %s, %s tests in %s s\n' "$tool" "$name" "$outcome" "${ran:-no}" $((SECONDS - start))
        [ -n "$ran" ] || status=1
    done
done
exit $status
