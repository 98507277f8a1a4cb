#!/usr/bin/env bash
# Has the compiler turn down malformed texts: malformed_texts_test.sh COMPILER SOURCE INCLUDE-FOLDER
set -euo pipefail
compiler=$1 source=$2 include=$3
compile() { "$compiler" -std=c++20 -fsyntax-only -I "$include" "$@" "$source"; }

compile
cases=$(grep -c 'MALFORMED ==' "$source")
[ "$cases" -gt 0 ]
for number in $(seq "$cases"); do
  if output=$(compile -D MALFORMED="$number" 2>&1); then
    echo "FAILED: case $number of $source compiles"
    exit 1
  fi
  grep -qE 'text_is_malformed|static assertion|static_assert' <<<"$output" || {
    echo "FAILED: case $number of $source does not compile for another reason:"
    echo "$output"
    exit 1
  }
done
