#!/usr/bin/env bash
# What a machine lacks is left out of a plain build and told, with what to install; a build that is to have everything
# stops. left_out_test.sh SOURCE CMAKE GENERATOR
set -euo pipefail
source=$1 cmake=$2 generator=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

configure() {
  local lacks=$1
  shift
  "$cmake" -S "$source" -B "$work" -G "$generator" -U 'CMAKE_DISABLE_FIND_PACKAGE_*' \
    "-DCMAKE_DISABLE_FIND_PACKAGE_$lacks=ON" "$@" 2>&1
}
fail() {
  echo "FAILED: without $1 the configuration $2:"
  echo "$output"
  exit 1
}

while read -r lacks package; do
  output=$(configure "$lacks" -DTOLVANE_REQUIRE_ALL=OFF) || fail "$lacks" "ends with an error"
  grep -qE "Left out: .*apt-get install .*\b$package\b" <<<"$output" || fail "$lacks" "does not tell of $package"
  if output=$(configure "$lacks" -DTOLVANE_REQUIRE_ALL=ON); then fail "$lacks" "goes on, and is to have everything"; fi
done <<'END'
CLI11 libcli11-dev
GTest libgtest-dev
Python3 python3
SQLite3 libsqlite3-dev
nlohmann_json nlohmann-json3-dev
END
