#!/usr/bin/env bash
# Builds the source on an older and on a newer Debian, each with another compiler, as optimised as the
# programs are shipped, and runs the tests there. For root; exits 75 where a fresh Debian tree can't be made.
# What the tools write goes to build/releases/*.log, and is shown if they fail.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
. scripts/fresh-tree.sh
begin_work "$PWD/build/releases"

# Runs the tests on a release: test_on RELEASE COMPILER'S-PACKAGE CONFIGURATION'S-COMMAND...
test_on() {
  local release=$1 compiler=$2
  shift 2
  make_tree "$release" "$compiler" ninja-build "${library_packages[@]}" "${test_packages[@]}"
  copy_source "$scratch/$release/vexamgr"
  echo "Running the tests there, built with $compiler"
  logged "tests-$release" apart --root="$scratch/$release" --wd=/vexamgr sh -ec '
    "$@" -DCMAKE_BUILD_TYPE=MinSizeRel
    cmake --build build/dev
    cd build/dev
    ctest --output-on-failure' sh "$@"
}

# The CMake of bullseye knows no presets.
test_on bullseye g++ cmake -S . -B build/dev -G Ninja
test_on trixie clang env CC=clang CXX=clang++ cmake --preset dev -DCMAKE_COMPILE_WARNING_AS_ERROR=ON
echo "The tests pass on both."
