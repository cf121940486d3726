#!/usr/bin/env bash
# Builds and runs the benchmarks, in memory and in the build folder or the folder that is given.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

install_packages "${build_packages[@]}"
cmake --preset release >/dev/null
cmake --build --preset release --target vexamgr_bench
folder=$(realpath "${1:-build}")
trap 'rm -rf {/dev/shm,"$folder"}/vexamgr-bench-??????' EXIT
echo "This takes a minute, and longer on a slow disk."
in_ipc_namespace build/release/vexamgr_bench "$folder"
