#!/bin/sh
# Regenerates the small Y4M clips of this folder and FFmpeg's answers about them: the framemd5 of
# every clip (*.framemd5) and the psnr filter's per-frame stats and summary for each reference and
# distorted pair (*.psnr.txt, *.psnr_summary.txt). Needs ffmpeg with libx264; the tests only read
# the committed results.
#
#   sh make_y4m.sh            (run from anywhere; writes next to this script)
#
# Clips (66x50 unless named otherwise, so that 8x8 blocks and 4:2:0 chroma have partial edges):
#   ref_420jpeg.y4m       5 frames, C420jpeg, F30000:1001 (the picture changes every frame)
#   dist_420.y4m          the same after a low-quality H.264 round trip
#   odd_420jpeg_65x49.y4m 3 frames at an odd size
#   mpeg2_full.y4m        C420mpeg2, XCOLORRANGE=FULL, A4:3
#   plain_420.y4m         C420 (no siting suffix), F25:1, A0:0
#   c422.y4m, c444.y4m, mono.y4m, p10.y4m   C422, C444, Cmono, C420p10 (2 frames each)
#   dist_422.y4m, dist_444.y4m, dist_mono.y4m, dist_p10.y4m   their H.264 round trips
#   bad_c411.y4m          a C411 header (refused); bad_truncated.y4m: plain_420's last frame cut
#                         short
set -eu

cd "$(dirname "$0")"
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT INT TERM

ff() { ffmpeg -nostdin -hide_banner -loglevel error "$@"; }

# clip NAME SIZE FRAMES PIX_FMT [OPTIONS...]: testsrc2 with its hue turning, so every frame
# differs. The source is made RGB first: a YUV one would be cropped to an even size.
clip()
{
    clip_name=$1 clip_size=$2 clip_frames=$3 clip_pix=$4
    shift 4
    ff -f lavfi -i "testsrc2=size=$clip_size:rate=30000/1001,format=rgb24,hue=H=2*PI*t" \
        -frames:v "$clip_frames" -pix_fmt "$clip_pix" -strict -1 "$@" -y "$clip_name"
}

# distort SRC DST PIX_FMT: an H.264 round trip at a low quality.
distort()
{
    ff -i "$1" -c:v libx264 -threads 1 -crf 42 -pix_fmt "$3" -f h264 -y "$WORK/d.h264"
    ff -r 30000/1001 -i "$WORK/d.h264" -pix_fmt "$3" -strict -1 -y "$2"
}

# retag SRC DST OLD NEW: the same clip with a rewritten stream header.
retag()
{
    { head -n 1 "$1" | sed "s/$3/$4/"; tail -c +"$(($(head -n 1 "$1" | wc -c) + 1))" "$1"; } >"$2"
}

clip ref_420jpeg.y4m 66x50 5 yuv420p
distort ref_420jpeg.y4m dist_420.y4m yuv420p
clip odd_420jpeg_65x49.y4m 65x49 3 yuv420p
clip mpeg2_full.y4m 66x50 3 yuv420p -vf setsar=4/3,scale=out_range=full -color_range pc \
    -chroma_sample_location left
clip "$WORK/plain.y4m" 66x50 2 yuv420p -r 25
retag "$WORK/plain.y4m" plain_420.y4m ' A1:1 C420jpeg XYSCSS=420JPEG' ' A0:0 C420'
for layout in 422:yuv422p 444:yuv444p mono:gray p10:yuv420p10le; do
    name=${layout%%:*} pix=${layout#*:}
    case $name in mono | p10) out=$name.y4m ;; *) out=c$name.y4m ;; esac
    clip "$out" 66x50 2 "$pix"
    distort "$out" "dist_$name.y4m" "$pix"
done
{ echo "YUV4MPEG2 W66 H50 F25:1 Ip A0:0 C411"; echo FRAME; head -c 100 /dev/zero; } >bad_c411.y4m
head -c $(($(wc -c <plain_420.y4m) - 100)) plain_420.y4m >bad_truncated.y4m

# FFmpeg's answers. -fflags +bitexact leaves out the "#software" line naming FFmpeg's version.
for name in ref_420jpeg dist_420 odd_420jpeg_65x49 mpeg2_full plain_420 c422 c444 mono p10; do
    ff -i "$name.y4m" -fflags +bitexact -f framemd5 -y "$name.framemd5"
done
# psnr A B NAME: the filter's per-frame stats file and its summary line (without the filter's
# instance prefix).
psnr()
{
    ffmpeg -nostdin -hide_banner -i "$1" -i "$2" -lavfi "psnr=stats_file=$3.psnr.txt" -f null - \
        2>"$WORK/log"
    sed -n 's/^\[Parsed_psnr_0 @ [^]]*\] //p' "$WORK/log" >"$3.psnr_summary.txt"
}
psnr ref_420jpeg.y4m dist_420.y4m ref_dist_420
psnr c422.y4m dist_422.y4m c422_dist
psnr c444.y4m dist_444.y4m c444_dist
psnr mono.y4m dist_mono.y4m mono_dist
psnr p10.y4m dist_p10.y4m p10_dist
