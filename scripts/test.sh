#!/usr/bin/env bash
# Installs what is missing, builds everything and runs the tests.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

install_packages g++ cmake ninja-build libsqlite3-dev libtinyxml2-dev libgtest-dev
echo "Building into build/dev"
cmake --preset dev
cmake --build --preset dev
ctest --preset dev
