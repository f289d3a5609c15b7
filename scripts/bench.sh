#!/usr/bin/env bash
# Builds the library and its benchmarks (Release, this host) and prints the benchmark table.
#   scripts/bench.sh [benchmark filter regex]
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
ozmu_need_packages "${OZMU_HOST_PACKAGES[@]}" "${OZMU_BENCH_PACKAGES[@]}"
cmake --preset host >/dev/null
cmake --build --preset host --target ozmu_bench
./build/host/bench/ozmu_bench --benchmark_filter="${1:-.}" --benchmark_counters_tabular=true
