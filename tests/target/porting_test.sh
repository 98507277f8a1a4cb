#!/usr/bin/env bash
# Builds, installs and runs the tool as docs/porting.md says:
# porting_test.sh SOURCE STUB-LIBRARIES TOOLCHAIN-FILE QEMU CONTRACT-RUNNER RECORDING-LIBRARIES SERVER
set -euo pipefail
source=$1 stubs=$2 toolchain=$3 qemu=$4 runner=$5 recording=$6 server=$7
here=$(dirname "${BASH_SOURCE[0]}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sysroot=$work/sysroot
mkdir -p "$sysroot/usr/lib"
cp "$stubs"/*.so "$sysroot/usr/lib"

cmake -S "$source" -B "$work/build" --toolchain "$toolchain" -D TOLVANE_CPU=e300c3 -D TOLVANE_BIND_NOW=ON \
  -D TOLVANE_SWITCH_LIBRARIES="$sysroot/usr/lib" -D TOLVANE_EMULATOR=OFF -D TOLVANE_TESTS=OFF \
  -D CMAKE_INSTALL_PREFIX=/usr
cmake --build "$work/build" --parallel 2
DESTDIR=$sysroot cmake --install "$work/build" --component tool --strip

tool=$sysroot/usr/sbin/tolvane
"$here/../startup/binary_test.sh" "$tool" now 40960

launcher="$qemu -cpu e300c3 -L /usr/powerpc-linux-gnu"
# shellcheck disable=SC2086 # the words of the launcher
output=$(LD_LIBRARY_PATH=$sysroot/usr/lib $launcher "$tool" create vlan sales vid 10)
expected='<response>
  <result>OK</result>
</response>'
[ "$output" = "$expected" ] || {
  echo "FAILED: $tool printed: $output"
  exit 1
}
CONTRACT_TOOL=$tool CONTRACT_LAUNCHER=$launcher CONTRACT_LIBRARIES=$recording CONTRACT_SERVER=$server \
  "$runner" --gtest_brief=1 '--gtest_filter=vlan_lifecycle.*:stream_shaping.*'
