#!/usr/bin/env bash
# Installs what is missing, builds everything and runs the tests. Arguments go to cmake.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

if [ $# -eq 1 ] && [[ $1 == -h || $1 == --help ]]; then
  echo "Usage: test.sh [<argument of cmake, such as -DCMAKE_CXX_COMPILER=clang++>...]

Installs what is missing from Debian's packages, builds everything into build/dev and runs the tests."
  exit
fi

if ! unshare --ipc --net true 2>/dev/null && ! reason=$(unshare --user --ipc --net true 2>&1); then
  echo "The tests need namespaces of their own, which can't be made here: $reason" >&2
  exit 1
fi
install_packages "${build_packages[@]}" "${test_packages[@]}"
echo "Building into build/dev"
cmake --preset dev "$@"
cmake --build --preset dev
ctest --preset dev
