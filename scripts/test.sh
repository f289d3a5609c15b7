#!/usr/bin/env bash
# Builds and runs every test suite: host (Release), host with ASan+UBSan, the concurrency tests
# under ThreadSanitizer, and AArch64 under qemu built with g++ and with clang (the NDK's compiler).
#   scripts/test.sh [host] [asan] [tsan] [arm64] [arm64-clang]     (default: all)
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
suites=("$@")
[ ${#suites[@]} -gt 0 ] || suites=(host asan tsan arm64 arm64-clang)
packages=("${OZMU_HOST_PACKAGES[@]}")
[[ " ${suites[*]} " == *" arm64"* ]] && packages+=("${OZMU_CROSS_PACKAGES[@]}")
[[ " ${suites[*]} " == *" arm64-clang "* ]] && packages+=(clang)
ozmu_need_packages "${packages[@]}"
for suite in "${suites[@]}"; do
  echo "=== $suite"
  cmake --workflow --preset "$suite"
done
