#!/usr/bin/env bash
# A program that writes files into a folder writes the same in two builds, and prints the same: that of this machine, and
# one for the switch's processor or with other compilers' options.
# same_bytes_test.sh PROGRAM LAUNCHER OTHER_PROGRAM, whose launcher may be empty.
set -euo pipefail

here=$(mktemp -d)
trap 'rm -rf "$here"' EXIT
mkdir "$here/host" "$here/other"

"$1" "$here/host" >"$here/host/printed"
# shellcheck disable=SC2086 # the launcher is a command with its options
$2 "$3" "$here/other" >"$here/other/printed"
diff -r "$here/host" "$here/other"
