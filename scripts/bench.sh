#!/usr/bin/env bash
# Builds and runs the benchmarks, in memory and on the disk of the build folder, and prints one table.
# An argument names another folder for the disk.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

install_packages g++ cmake ninja-build libsqlite3-dev libtinyxml2-dev libbenchmark-dev
cmake --preset release >/dev/null
cmake --build --preset release --target vexamgr_bench

# The CSV reporter wants the same counters in each line, so each kind is run by itself.
table() {
  build/release/vexamgr_bench --benchmark_format=csv --benchmark_filter="^$1" "${2:-build}" \
    2>/dev/null | tr -d '"' | awk -F, '
    /^name,/ { for (i = 1; i <= NF; ++i) column[$i] = i; next }
    { sub("/(iterations|manual_time).*", "", $1) }
    /^Population/ {
      printf "%-24s %8.0f clips/s %7.1f us CPU a clip   ratio to the libraries: time %.2f, CPU %.2f\n",
        $1, $column["clips_per_s"], $column["cpu_us"], $column["time_ratio"], $column["cpu_ratio"]
    }
    /^RoundTrip/ {
      printf "%-24s %8.1f us median %8.1f us 99th percentile   %5d KiB resident, %5d private\n",
        $1, $column["median_us"], $column["p99_us"], $column["resident_kib"], $column["private_kib"]
    }
    /^Parse/ { printf "%-24s %8.0f ns\n", $1, $column["real_time"] }'
}
for kind in Population RoundTrip Parse; do
  table $kind "$@"
done
