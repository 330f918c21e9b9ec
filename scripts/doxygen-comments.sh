#!/bin/sh
# Gives a header with its comments marked as doxygen reads them, its texts as they stand. One that begins
# the file is about the file.
exec sed -E -e '\,^ *//, { s/([@\\<>#&%$"])/\\\1/g; s,^( *)//,\1///, }' -e '1 s,^///,/// @file\n///,' "$1"
