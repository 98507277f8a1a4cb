#!/usr/bin/env bash
# A program that writes files into a folder writes the same on this machine and on the switch's processor, and prints
# the same: same_bytes_test.sh PROGRAM LAUNCHER PROGRAM_OF_THE_SWITCH
set -euo pipefail

here=$(mktemp -d)
trap 'rm -rf "$here"' EXIT
mkdir "$here/host" "$here/target"

"$1" "$here/host" >"$here/host/printed"
# shellcheck disable=SC2086 # the launcher is a command with its options
$2 "$3" "$here/target" >"$here/target/printed"
diff -r "$here/host" "$here/target"
