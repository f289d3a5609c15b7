#!/usr/bin/env bash
# Builds the library and its benchmarks (Release, this host) and prints the benchmark table: each
# x86-64 tier's version of a kernel beside its reference and its peers, then the exported
# functions again with each tier removed in turn (OZMU_CPU_DISABLE), as an older CPU runs them.
#   scripts/bench.sh [--quick] [benchmark filter regex]
# --quick: only the peer comparisons, with shorter runs.
set -euo pipefail
cd "$(dirname "$0")/.."
quick=0
if [ "${1:-}" = --quick ]; then
  quick=1
  shift
fi
source scripts/deps.sh
ozmu_need_packages "${OZMU_HOST_PACKAGES[@]}" "${OZMU_BENCH_PACKAGES[@]}"
cmake --preset host >/dev/null
cmake --build --preset host --target ozmu_bench
bench=./build/host/bench/ozmu_bench
args=(--benchmark_counters_tabular=true)
peers='^(BM_yuv444_to_rgba8888|BM_rsz_yuv444_to_rgba8888|BM_irsz_rgba8888|BM_frame_(i420|nv12)_to_rgba|sad16x16|sad8x8)/'
filter=${1:-.}
if [ $quick = 1 ]; then
  args+=(--benchmark_min_time=0.05)
  filter=${1:-$peers}
fi
"$bench" --benchmark_filter="$filter" "${args[@]}"

[ "$(uname -m)" = x86_64 ] || exit 0
exported='^(BM_yuv444_to_rgba8888|BM_rsz_yuv444_to_rgba8888|BM_frame_(i420|nv12)_to_rgba|sad16x16|sad8x8)/manual_time$'
for off in avx512 avx2 ssse3; do
  echo
  echo "=== exported functions, OZMU_CPU_DISABLE=$off"
  OZMU_CPU_DISABLE=$off "$bench" --benchmark_filter="$exported" "${args[@]}"
done
