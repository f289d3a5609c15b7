#!/usr/bin/env bash
# A first look at libozmu: builds the library and the ozmu tool (Release, no test or benchmark
# dependencies) in build/tour, then runs the tool on the committed streams and pictures, saying
# before each command what it shows. The pictures it makes are left in build/tour/out/.
#   scripts/tour.sh
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
ozmu_need_packages cmake ninja-build g++ pkg-config libpng-dev

build=build/tour
out=$build/out
log=$build/build.log
mkdir -p "$build"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
echo "Building the library and the ozmu tool in $build (Release; the first build takes a few minutes)..."
if ! { cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DOZMU_BUILD_TESTS=OFF \
         -DOZMU_BUILD_BENCH=OFF -DOZMU_BUILD_TOOLS=ON "${launcher[@]}" &&
       cmake --build "$build"; } >"$log" 2>&1; then
  tail -n 30 "$log"
  echo "tour: the build failed; the whole log is in $log" >&2
  exit 1
fi
rm -rf "$out"
mkdir -p "$out"
started=$SECONDS

ozmu=$build/tools/ozmu
streams=tests/data/bitstream
media=tests/data/media
y4m=tests/data/y4m
step=0
bold='' plain=''
[ -t 1 ] && bold=$'\033[1m' plain=$'\033[0m'
say() {
  step=$((step + 1))
  printf '\n%s%s%s\n' "$bold" "$(printf '%d. %s' "$step" "$1" | fold -s -w 96)" "$plain"
  shift
  printf '$ ozmu %s\n' "$*"
}
run() {
  say "$@"
  shift
  "$ozmu" "$@"
}

run "Access units of an open-GOP H.264 stream, each with two verdicts: 'key' is the answer of \
ozmu_is_vkeyfrm (IDR pictures only), 'rap' a random-access point (IDR, CRA, BLA or a \
recovery-point SEI), as ffprobe flags key packets. The summary lists where they differ." \
  keyframes "$media/keyframes_h264_opengop.264"
run "The same for an HEVC stream with one IDR and two CRA pictures. ozmu_is_vkeyfrm looks only \
at the first NAL unit of an HEVC unit, here a parameter set, so it calls none of them key (give it \
the unit from its first slice, as examples/keyframe_scan.c does); CRA pictures are never key for \
it, though a player may start there." \
  keyframes "$media/keyframes_hevc_cra.hevc"
run "Sequence and picture parameter sets of an H.264 High profile stream, parsed with the bit \
reader after the emulation-prevention bytes are dropped; names as in the standard. The cropping \
takes the 656x368 coded picture to 642x362." \
  headers "$streams/h264_high_l30_642x362.h264"
say "An HEVC stream's VPS, SPS and PPS, the same way (only the profile, level, size and bit \
depth fields shown here)." headers "$streams/hevc_main10_l21_200x120.hevc"
"$ozmu" headers "$streams/hevc_main10_l21_200x120.hevc" |
  grep -E '^HEVC|_(profile|level)_idc |chroma_format_idc|_in_luma_samples|conf_win|bit_depth'

say "Per-frame MD5 of a Y4M clip, in the format of 'ffmpeg -f framemd5', compared with the \
output FFmpeg gave for the same file (recorded beside it)." md5 "$y4m/ref_420jpeg.y4m"
"$ozmu" md5 "$y4m/ref_420jpeg.y4m" | tee "$out/ref_420jpeg.framemd5"
if cmp -s "$out/ref_420jpeg.framemd5" "$y4m/ref_420jpeg.framemd5"; then
  echo "=> byte for byte what FFmpeg printed"
else
  echo "=> differs from $y4m/ref_420jpeg.framemd5" >&2
  exit 1
fi

run "PSNR of a distorted clip against its reference, per frame and for the whole clip, as \
FFmpeg's psnr filter computes it, with the mean SAD and SATD of the 8x8 blocks." \
  compare "$y4m/ref_420jpeg.y4m" "$y4m/dist_420.y4m"
echo "FFmpeg's psnr filter on the same pair: $(cat "$y4m/ref_dist_420.psnr_summary.txt")"

run "Y4M to PNG through the frame conversion API: C420jpeg means centred chroma, the header's \
XCOLORRANGE picks the range." \
  convert "$y4m/ref_420jpeg.y4m" "$out/ref_420jpeg.png"
run "A full-range clip with MPEG-2 (left-sited) chroma, its third frame, as BT.709." \
  convert "$y4m/mpeg2_full.y4m" "$out/mpeg2_full_frame2.png" --frame 2 --matrix bt709
run "Raw NV12, as a camera or decoder hands it out: the size and layout are given." \
  convert tests/data/frame/testsrc2.nv12 "$out/testsrc2_nv12.png" --format nv12 --size 64x48
run "And back: a PNG picture to a 4:2:0 Y4M clip (limited-range BT.601 unless told otherwise)." \
  convert tests/data/png/card_41x29.png "$out/card_41x29.y4m"
run "The image resizer, enlarging a picture fed to it in slices of 16 rows, as a decoder \
produces them." \
  resize "$out/ref_420jpeg.png" "$out/ref_420jpeg_x4.png" 264x200 --slice-rows 16

echo
echo "The tour's commands took $((SECONDS - started)) s. What they wrote, in $out/:"
ls "$out"
echo "'$ozmu help' lists every command and option; examples/ shows the same jobs in C."
