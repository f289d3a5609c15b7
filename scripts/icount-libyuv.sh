#!/usr/bin/env bash
# Instructions per pixel of Debian's arm64 libyuv under qemu, for the side-by-side figures in
# docs/performance.md. The arm64 packages are downloaded and unpacked into a scratch folder, never
# installed (an installed libc6:arm64 would break the emulator for the test suites).
#   scripts/icount-libyuv.sh [scratch-dir]      (default build/peer-arm64)
set -euo pipefail
cd "$(dirname "$0")/.."
scratch=$(realpath -m "${1:-build/peer-arm64}")
icount=${OZMU_ARM_ICOUNT:-../shared/tools/arm-icount/arm-icount}
mkdir -p "$scratch"
if [ ! -e "$scratch/root/usr/lib/aarch64-linux-gnu/libyuv.so.0" ]; then
  added=0
  if ! dpkg --print-foreign-architectures | grep -qx arm64; then
    dpkg --add-architecture arm64 && added=1 && apt-get update -qq
  fi
  (cd "$scratch" && apt-get download libyuv0:arm64 libjpeg62-turbo:arm64)
  if [ $added = 1 ]; then dpkg --remove-architecture arm64 && apt-get update -qq; fi
  for deb in "$scratch"/*.deb; do dpkg -x "$deb" "$scratch/root"; done
fi
lib="$scratch/root/usr/lib/aarch64-linux-gnu"
aarch64-linux-gnu-g++ -O2 -std=c++20 -I/usr/include -I"$(dirname "$icount")" \
  bench/peer/libyuv_icount.cpp "$lib/libyuv.so.0" "$lib/libjpeg.so.62" -Wl,--disable-new-dtags,-rpath,"$lib" \
  -o "$scratch/libyuv_icount"
counts=$(mktemp)
regions=$("$icount" -o "$counts" "$scratch/libyuv_icount")
echo "$regions" | while read -r _ name start end pixels; do
  a=$(awk -v t="$start" '$1 == t { print $2 }' "$counts")
  b=$(awk -v t="$end" '$1 == t { print $2 }' "$counts")
  awk -v n="$name" -v a="$a" -v b="$b" -v p="$pixels" 'BEGIN { printf "%-42s %8.3f instructions/pixel\n", n, (b - a) / p }'
done
rm -f "$counts"
