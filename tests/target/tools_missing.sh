#!/usr/bin/env bash
# In place of the tests for the switch where its compiler is not installed.
echo "Nothing was tested for the switch: powerpc-linux-gnu-g++, qemu-ppc or /usr/src/googletest is missing."
echo "Install g++-powerpc-linux-gnu, libc6-dev-powerpc-cross, qemu-user and libgtest-dev, and configure again."
[ -z "${CI:-}" ] || exit 1 # nothing is left out there
exit 77
