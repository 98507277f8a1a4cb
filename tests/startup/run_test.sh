#!/usr/bin/env bash
# Counts what a run costs: run_test.sh TOOL BARE-PROGRAM STUB-LIBRARIES NO-HEAP-LIBRARY
#
# One write, at most two system calls more than a program that does nothing, no allocation. (`add classify` is left out:
# the C library reads its protocol database for it.)
set -euo pipefail
tool=$1 bare=$2 no_heap=$4
export LD_LIBRARY_PATH=$3

command -v strace >/dev/null || {
  echo "strace is missing; install the package strace"
  [ -z "${CI:-}" ] || exit 1 # nothing is left out there
  exit 77
}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() {
  echo "FAILED: tolvane $sentence: $*"
  failures=$((failures + 1))
}

calls_of() { grep -c '^[a-z_0-9]*(' "$1"; }

strace -o "$work/bare" "$bare"
at_most=$(($(calls_of "$work/bare") + 2))

while read -r sentence; do
  # shellcheck disable=SC2086 # the words of the sentence
  strace -o "$work/calls" "$tool" $sentence >"$work/output"
  calls=$(calls_of "$work/calls")
  [ "$calls" -le "$at_most" ] ||
    fail "$calls system calls, at most $at_most allowed:" $'\n' "$(diff "$work/bare" "$work/calls" || true)"
  writes=$(grep -c '^writev\?(' "$work/calls" || true)
  [ "$writes" = 1 ] || fail "$writes writes, not one"
  grep -q . "$work/output" || fail "printed nothing"

  # shellcheck disable=SC2086
  LD_PRELOAD=$no_heap "$tool" $sentence >/dev/null || fail "allocated memory"
done <<'SENTENCES'
create vlan sales vid 10
create port 3 npport 3 portType ether
add port 3 to vlan sales tag off
set stream 1/1 shaping on rate 64-100000 burst 8-16 kbyte
create queue 1/1/7
remove classify from clslist 1 line all
create vlan all
set port 99999999999 aging 1
create vlan
create vlan sales vid 10 surplus
SENTENCES

sentence=
if (LD_PRELOAD=$no_heap /bin/ls /) >/dev/null 2>&1; then fail "the preloaded library does not notice an allocation"; fi
[ "$failures" = 0 ]
