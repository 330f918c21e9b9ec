#!/usr/bin/env bash
# fetch-wheels.sh REQUIREMENTS FOLDER PLATFORM[,PLATFORM ...] ABI
#
# Puts the packages that REQUIREMENTS pins into FOLDER, as wheels for the CPython of that ABI (cp27m, cp311)
# on one of those platforms. Only files whose hashes it names are taken. What goes wrong is told in one sentence, after
# what pip said.
set -euo pipefail
requirements=$1 folder=$2 abi=$4
[[ $abi =~ ^cp([0-9])([0-9]+) ]] && version=${BASH_REMATCH[1]}.${BASH_REMATCH[2]}
mapfile -t platforms < <(printf '%s\n' "${3//,/$'\n'}")

die() {
    printf 'fetch-wheels: %s\n' "$*" >&2
    exit 1
}

command -v pip3 >/dev/null || die "pip3 is missing: 'scripts/setup.sh test' installs it"
# pip's temporary files lie with the others, so that whoever removes FOLDER leaves none behind.
mkdir -p "$folder/tmp" || die "no room left in $folder"
if ! said=$(TMPDIR=$folder/tmp pip3 download --quiet --disable-pip-version-check --no-cache-dir \
    --no-deps --only-binary :all: "${platforms[@]/#/--platform=}" --python-version "$version" \
    --implementation cp --abi "$abi" --require-hashes --requirement "$requirements" --dest "$folder" 2>&1); then
    printf '%s\n' "$said" >&2
    case $said in
        *'DO NOT MATCH THE HASHES'*) die "pip was given other files than ${requirements##*/} pins" ;;
        *'No space left on device'*) die "no room left in $folder" ;;
        *) die "pip could not fetch what ${requirements##*/} pins; is the network there?" ;;
    esac
fi
rm -rf "$folder/tmp"
