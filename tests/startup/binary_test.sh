#!/usr/bin/env bash
# What is in the binary of the tool: binary_test.sh TOOL {lazy|now} [MOST-BYTES]
#
# The libraries it asks for, that it has no heap, its hardening, when its imports are bound, and how large it is, text
# and data as `size` counts them.
set -euo pipefail
tool=$1 binding=$2 most_bytes=${3:-}
failures=0
fail() {
  echo "FAILED: $tool: $*"
  failures=$((failures + 1))
}

dynamic=$(readelf -dW "$tool")
symbols=$(readelf --dyn-syms -W "$tool")
segments=$(readelf -lW "$tool")
relocations=$(readelf -rW "$tool")

needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic" | sort | tr '\n' ' ')
expected="libbrgfdb.so libc.so.6 libportshm.so libqual.so libtrapevent.so "
[ "$needed" = "$expected" ] || fail "asks the loader for $needed, not for $expected"
grep -qE 'RPATH|RUNPATH' <<<"$dynamic" && fail "has a search path for libraries"
grep -qE '_Z|__cxa_(throw|guard|begin)|GLIBCXX' <<<"$symbols" && fail "needs the C++ runtime library"
grep -qE ' ((m|c|re|aligned_)alloc|strn?dup|asprintf|mmap|sbrk)@' <<<"$symbols" && fail "uses the heap"

grep -q 'Flags:.*PIE' <<<"$dynamic" || fail "is no position-independent program"
grep -q GNU_RELRO <<<"$segments" || fail "leaves relocated data writable"
grep -qE 'GNU_STACK .* RW +0x' <<<"$segments" || fail "has an executable stack"
grep -q TEXTREL <<<"$dynamic" && fail "has relocations in its code"
grep -q __stack_chk_fail <<<"$symbols" || fail "has no stack protector"
grep -q __snprintf_chk <<<"$symbols" || fail "calls no checked functions (_FORTIFY_SOURCE)"

bound=lazy
grep -qE 'BIND_NOW|Flags:.*NOW' <<<"$dynamic" && bound=now
[ "$bound" = "$binding" ] || fail "binds its imports $bound, not $binding"
# One whose address stands in data would be looked up at every start.
eager=$(grep -E ' (brgfdb_|portshm_|qual_|libev_|stdout|stderr)' <<<"$relocations" | grep -vE 'JUMP_SLO|JMP_SLOT' || true)
[ -z "$eager" ] || fail "has these looked up at every start: $eager"

# All that is loaded from the file: instructions, constants, the loader's tables, data.
if [ -n "$most_bytes" ]; then
  size "$tool"
  read -r text data _ < <(size "$tool" | tail -n 1)
  [ $((text + data)) -le "$most_bytes" ] || fail "takes $((text + data)) bytes, at most $most_bytes are allowed"
fi
[ "$failures" = 0 ]
