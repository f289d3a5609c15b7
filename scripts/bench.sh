#!/usr/bin/env bash
# Builds the library and its benchmarks (Release, this host) and prints the benchmark table: each
# x86-64 tier's version of a kernel beside its reference and its peers, then the exported
# functions again with each tier removed in turn (OZMU_CPU_DISABLE), as an older CPU runs them.
#   scripts/bench.sh [--quick] [benchmark filter regex]
# --quick: one headline comparison per family (colour conversion, frame conversion and the
# resizer against libyuv, SAD against FFmpeg, MD5 against OpenSSL), short runs, no tier re-runs:
# well under 30 seconds once built.
# OZMU_BENCH_BUILD_DIR picks the build directory (default build/host).
set -euo pipefail
cd "$(dirname "$0")/.."
quick=0
if [ "${1:-}" = --quick ]; then
  quick=1
  shift
fi
source scripts/deps.sh
ozmu_need_packages "${OZMU_HOST_PACKAGES[@]}" "${OZMU_BENCH_PACKAGES[@]}"
build=${OZMU_BENCH_BUILD_DIR:-build/host}
cmake --preset host -B "$build" >/dev/null
cmake --build "$build" --target ozmu_bench
bench=$build/bench/ozmu_bench
args=(--benchmark_counters_tabular=true)
filter=${1:-.}
if [ $quick = 1 ]; then
  # The resizer has no exported-function row, only one per tier: take the last (highest) one.
  resizer=$("$bench" --benchmark_list_tests --benchmark_filter='^BM_irsz_rgba8888/' | tail -n 1)
  headline="BM_yuv444_to_rgba8888/manual_time|BM_frame_i420_to_rgba/manual_time|sad16x16/manual_time"
  headline+="|BM_md5/1048576/manual_time${resizer:+|${resizer//./\\.}}"
  args+=(--benchmark_min_time=0.05)
  filter=${1:-^($headline)\$}
  found=$("$bench" --benchmark_list_tests --benchmark_filter="$filter" | wc -l)
  [ $# -gt 0 ] || [ "$found" -eq 5 ] ||
    echo "bench.sh: only $found of the 5 headline benchmarks exist in $bench" >&2
fi
"$bench" --benchmark_filter="$filter" "${args[@]}"

[ $quick = 0 ] && [ "$(uname -m)" = x86_64 ] || exit 0
exported='^(BM_yuv444_to_rgba8888|BM_rsz_yuv444_to_rgba8888|BM_frame_(i420|nv12)_to_rgba|sad16x16|sad8x8)/manual_time$'
for off in avx512 avx2 ssse3; do
  echo
  echo "=== exported functions, OZMU_CPU_DISABLE=$off"
  OZMU_CPU_DISABLE=$off "$bench" --benchmark_filter="$exported" "${args[@]}"
done
