#!/usr/bin/env bash
# Builds and runs the benchmarks, in memory and on the disk of the build folder, and prints one table.
# An argument names another folder for the disk. The service that is measured writes some 70,000 lines
# to the system log, if there is one.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

install_packages g++ cmake ninja-build libsqlite3-dev libtinyxml2-dev libbenchmark-dev
cmake --preset release >/dev/null
cmake --build --preset release --target vexamgr_bench

namespace=(--ipc)
if [ "$(id -u)" -ne 0 ]; then
  namespace+=(--user --map-current-user)
fi
errors=$(mktemp)
trap 'rm -f "$errors"; rm -rf /dev/shm/vexamgr-bench-?????? "${1:-build}"/vexamgr-bench-??????' EXIT

# The CSV reporter wants the same counters in each line, so each kind is run by itself.
table() {
  unshare "${namespace[@]}" build/release/vexamgr_bench --benchmark_format=csv \
    --benchmark_filter="^$1" "${2:-build}" 2>"$errors" | tr -d '"' | awk -F, '
    /^name,/ { for (i = 1; i <= NF; ++i) column[$i] = i; next }
    { sub("/(iterations|manual_time).*", "", $1) }
    /^Population/ {
      printf "%-24s %8.0f clips/s %7.1f us CPU a clip   ratio to the libraries: time %.2f, CPU %.2f\n",
        $1, $column["clips_per_s"], $column["cpu_us"], $column["time_ratio"], $column["cpu_ratio"]
    }
    /^RoundTrip/ {
      printf "%-24s %8.1f us median %8.1f us 99th percentile", $1, $column["median_us"], $column["p99_us"]
      if ($1 !~ /echo/)
        printf "   then %5d KiB resident, %5d private", $column["resident_kib"], $column["private_kib"]
      print ""
    }
    /^Parse/ { printf "%-24s %8.0f ns\n", $1, $column["real_time"] }'
}
for kind in Population RoundTrip Parse; do
  table $kind "$@" || { cat "$errors" >&2; exit 1; }
done
