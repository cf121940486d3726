#!/usr/bin/env bash
# Installs what is missing, builds everything and runs the tests. Arguments go to cmake.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

if ! unshare --ipc --net true 2>/dev/null && ! reason=$(unshare --user --ipc --net true 2>&1); then
  echo "The tests need namespaces of their own, which can't be made here: $reason" >&2
  exit 1
fi
install_packages "${build_packages[@]}" libgtest-dev iproute2
echo "Building into build/dev"
cmake --preset dev "$@"
cmake --build --preset dev
ctest --preset dev
