#!/usr/bin/env bash
# Builds and runs every test suite: host (Release), host with ASan+UBSan, the concurrency tests
# under ThreadSanitizer, the host build with SSSE3/SSE4.1 as the compile-time baseline (Android
# x86_64), AArch64 under qemu built with g++ and with clang (the NDK's compiler), and
# every fuzz target under libFuzzer (clang, ASan+UBSan) for a bounded time. The host suite also
# builds examples/ against its installed package and runs them (scripts/examples.sh).
#   scripts/test.sh [host] [asan] [tsan] [x86-ssse3] [arm64] [arm64-clang] [fuzz]     (default: all)
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
suites=("$@")
[ ${#suites[@]} -gt 0 ] || suites=(host asan tsan x86-ssse3 arm64 arm64-clang fuzz)
packages=("${OZMU_HOST_PACKAGES[@]}")
[[ " ${suites[*]} " == *" arm64"* ]] && packages+=("${OZMU_CROSS_PACKAGES[@]}")
[[ " ${suites[*]} " == *" arm64-clang "* ]] && packages+=(clang)
[[ " ${suites[*]} " == *" fuzz "* ]] && packages+=(clang libclang-rt-dev)
ozmu_need_packages "${packages[@]}"
for suite in "${suites[@]}"; do
  echo "=== $suite"
  cmake --workflow --preset "$suite"
  if [ "$suite" = host ]; then scripts/examples.sh build/host; fi
done
