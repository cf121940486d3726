#!/usr/bin/env bash
# Installs what is missing and runs the tests on the 32-bit target, emulated.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

install_packages "${build_packages[@]}" g++-arm-linux-gnueabihf qemu-user
./scripts/armhf-sysroot.sh
cmake --preset armhf >/dev/null
cmake --build --preset armhf
ctest --preset armhf
