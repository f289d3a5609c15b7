#!/usr/bin/env bash
# Builds the example programs against an installed library, as a user's project would
# (find_package), and runs each on the committed media, checking what it prints.
#   scripts/examples.sh [BUILD_DIR]      (a built tree, default build/host)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/host}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

if ! { cmake --install "$build" --prefix "$work/prefix" &&
       cmake -S examples -B "$work/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
         -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_C_FLAGS=-Werror &&
       cmake --build "$work/build"; } >"$work/build.log" 2>&1; then
  cat "$work/build.log"
  echo "examples: installing the library or building the examples failed"
  exit 1
fi
bin=$work/build
fails=0
check() {  # check WHAT COMMAND...: runs COMMAND, which must succeed
  local what=$1
  shift
  if ! "$@" >"$work/out" 2>&1; then
    echo "FAIL $what: $*"
    cat "$work/out"
    fails=$((fails + 1))
    return 1
  fi
}

# parse_sps: the size it prints must be the one FFmpeg reported for each H.264 stream.
n=0
while IFS=$'\t' read -r file codec _ _ _ _ width height _; do
  [ "$codec" = h264 ] || continue
  check "parse_sps $file" "$bin/parse_sps" "tests/data/bitstream/$file" || continue
  if ! grep -qx "size ${width}x${height}" "$work/out"; then
    echo "FAIL parse_sps $file: expected size ${width}x${height}, printed:"
    cat "$work/out"
    fails=$((fails + 1))
  fi
  n=$((n + 1))
done < <(tail -n +2 tests/data/bitstream/streams.tsv)
echo "parse_sps: $n streams"

# keyframe_scan: as many access units as FFmpeg's packets, where its answers are recorded.
n=0
for stream in tests/data/bitstream/*.h264 tests/data/bitstream/*.hevc \
              tests/data/media/keyframes_h264_*.*264 tests/data/media/keyframes_hevc_*.hevc; do
  case $stream in */bad_*) continue ;; esac
  check "keyframe_scan $stream" "$bin/keyframe_scan" "$stream" || continue
  if [ -f "$stream.ffprobe.csv" ]; then
    packets=$(($(wc -l <"$stream.ffprobe.csv") - 1))
    if ! grep -q ": $packets access units" "$work/out"; then
      echo "FAIL keyframe_scan $stream: FFmpeg counts $packets packets; printed:"
      cat "$work/out"
      fails=$((fails + 1))
    fi
  fi
  n=$((n + 1))
done
echo "keyframe_scan: $n streams"

# resize_slices: reductions and enlargements, slice sizes from 1 row up.
check "resize_slices" "$bin/resize_slices" || true
for args in "23x17 1" "23x17 4" "100x75 8" "64x48 16" "640x480 64"; do
  # shellcheck disable=SC2086  # the words are the arguments
  check "resize_slices $args" "$bin/resize_slices" $args tests/data/csc/testsrc2.rgba 64x48 || true
done
echo "resize_slices: 6 runs"

# y4m_to_png: the 4:2:0 clips give PNG files; other layouts are refused with status 1.
if [ -x "$bin/y4m_to_png" ]; then
  n=0
  for clip in tests/data/y4m/*.y4m; do
    case $(head -c 128 "$clip" | head -n 1) in
      *" C420jpeg"* | *" C420mpeg2"* | *" C420 "* | *" C420") ;;
      *) continue ;;
    esac
    case $clip in */bad_*) continue ;; esac
    check "y4m_to_png $clip" "$bin/y4m_to_png" "$clip" "$work/out.png" || continue
    if [ "$(head -c 8 "$work/out.png" | od -An -tx1 | tr -d ' ')" != 89504e470d0a1a0a ]; then
      echo "FAIL y4m_to_png $clip: no PNG written"
      fails=$((fails + 1))
    fi
    n=$((n + 1))
  done
  status=0
  "$bin/y4m_to_png" tests/data/y4m/c422.y4m "$work/refused.png" 2>/dev/null || status=$?
  if [ $status -ne 1 ] || [ -e "$work/refused.png" ]; then
    echo "FAIL y4m_to_png: a 4:2:2 clip should be refused with status 1 (got $status)"
    fails=$((fails + 1))
  fi
  echo "y4m_to_png: $n clips"
else
  echo "y4m_to_png: not built (no libpng)"
fi

[ $fails -eq 0 ] || { echo "examples: $fails failures"; exit 1; }
echo "examples: all passed"
