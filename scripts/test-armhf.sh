#!/usr/bin/env bash
# Runs the tests on the 32-bit target, emulated, and then those of vexactl with the 64-bit programs at
# one end of the queue and the 32-bit ones at the other, both ways round.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

install_packages g++ cmake ninja-build libsqlite3-dev libtinyxml2-dev libgtest-dev \
  g++-arm-linux-gnueabihf qemu-user
./scripts/armhf-sysroot.sh
for preset in dev armhf; do
  cmake --preset $preset >/dev/null
  cmake --build --preset $preset
done
ctest --preset armhf

echo "64-bit vexactl, 32-bit vexamgr"
emulated() { qemu-arm -L build/armhf-sysroot build/armhf/vexamgr_tests --gtest_filter='VexactlTest.*'; }
VEXACTL=$PWD/build/dev/vexactl emulated
echo "32-bit vexactl, 64-bit vexamgr"
VEXAMGR="env LD_PRELOAD=$PWD/build/dev/libsyslog_capture.so $PWD/build/dev/vexamgr" emulated
