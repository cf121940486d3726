#!/usr/bin/env bash
# Installs what is missing, runs the tests on the 32-bit target, emulated, and checks that its programs are
# hardened. Exits 75 where the cross compiler, the emulator or the target's packages can't be had.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

if ! install_packages "${build_packages[@]}" "${test_packages[@]}" g++-arm-linux-gnueabihf qemu-user \
  devscripts ||
  ! ./scripts/armhf-sysroot.sh; then
  exit 75
fi
cmake --preset armhf >/dev/null
cmake --build --preset armhf
ctest --preset armhf
# Standard error is dropped: it only complains that this objdump knows no ARM. Faults are written to standard
# output.
hardening-check --nocfprotection --quiet build/armhf/vexamgr build/armhf/vexactl 2>/dev/null
