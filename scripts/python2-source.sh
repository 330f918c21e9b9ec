#!/usr/bin/env bash
# python2-source.sh FOLDER
#
# Puts CPython 2.7's own source, as Debian 11's source package has it (python2.7_*.orig.tar.gz), into FOLDER,
# from the mirror that this machine's apt already uses.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
mkdir -p "$1/lists/partial"
folder=$(cd "$1" && pwd)
mirror=$("$here/debian-mirrors.sh")
mirror=${mirror%%$'\n'*}
printf 'deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] %s bullseye main\n' \
    "$mirror" >"$folder/sources.list"
apt=(apt-get -q -o "Dir::Etc::sourcelist=$folder/sources.list" -o Dir::Etc::sourceparts=-
    -o "Dir::State::lists=$folder/lists" -o Acquire::Languages=none -o APT::Sandbox::User=root
    -o APT::Update::Error-Mode=any)
"${apt[@]}" update
cd "$folder"
"${apt[@]}" source --tar-only python2.7
