# shellcheck disable=SC2034 # the variables are for the scripts that source this file
# shellcheck shell=bash
#
# What the scripts share. To be sourced; the caller has set -euo pipefail.

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '%s: %s\n' "$(basename "$0")" "$*" >&2; }

# Ends with the end of a log when a command fails, so that nobody has to look for it.
quietly() {
  local log
  log=$(mktemp)
  if ! "$@" >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    say "failed: $*"
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

# Installs the Debian packages that are missing.
need_packages() {
  local missing=() package
  for package in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0

  local root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { say "needs these packages, which only root can install: ${missing[*]}"; return 1; }
    root=(sudo)
  fi
  say "installing ${missing[*]}"
  quietly "${root[@]}" apt-get -o DPkg::Lock::Timeout=300 update
  quietly "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 \
    install -y --no-install-recommends "${missing[@]}"
}

build_packages=(g++ cmake ninja-build libsqlite3-dev libcli11-dev libedit-dev nlohmann-json3-dev netbase)
test_packages=(libgtest-dev graphviz python3 mandoc libxml2-utils bash-completion strace mypy ansible-core)
variant_packages=(clang libclang-rt-14-dev) # the other compiler, the fuzzer; the sanitizers come with g++
lint_packages=(clang clang-format clang-tidy cppcheck shellcheck pyflakes3)
target_packages=(g++-powerpc-linux-gnu libc6-dev-powerpc-cross qemu-user)
package_packages=(dpkg-dev debhelper dh-python lintian man-db bash-completion python3)
bench_packages=(valgrind strace hyperfine time)

# Builds a target of the build that scripts/run and scripts/emuswitch share, and says so where there is something to do.
run_build=$top/build/run
build_to_run() {
  local target=$1 what=$2
  need_packages "${build_packages[@]}"
  mkdir -p "$run_build"
  exec {lock}>"$run_build/lock" # one build at a time
  flock "$lock"
  if [ ! -f "$run_build/build.ninja" ]; then
    say "configuring, once"
    quietly cmake -S "$top" -B "$run_build" -G Ninja -DTOLVANE_TESTS=OFF
  fi
  if ! ninja -C "$run_build" -n "$target" | grep -q 'no work to do'; then
    say "building $what"
    quietly cmake --build "$run_build" --target "$target"
  fi
  exec {lock}>&-
}
