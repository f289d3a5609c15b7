#!/bin/sh
# Regenerates the PNG test pictures of this folder and FFmpeg's answers about them, for the tool's
# convert and resize tests. Needs ffmpeg; the tests only read the committed results.
#
#   sh make_png.sh                      (run from anywhere; writes next to this script)
#   OZMU=path/to/ozmu sh make_png.sh    (also re-records card_41x29.y4m, see below)
#
# card_41x29.png            testsrc2, RGB, odd size
# card_rgba_24x18.png       RGBA, alpha rising from left to right
# card_pal8_24x18.png       palette
# card_gray16_24x18.png     16-bit grey
# <picture>.rgba            FFmpeg's decoding of each PNG, RGBA, rows packed
# ref_420jpeg.f2.rgb24      swscale's RGB of frame 2 of ../y4m/ref_420jpeg.y4m (limited BT.601,
#                           centred chroma)
# mpeg2_full.f1.rgb24       and of frame 1 of ../y4m/mpeg2_full.y4m (full-range BT.601, left)
# card_41x29.y4m            the tool's own I420 of card_41x29.png (limited BT.601, left siting),
#                           recorded once its luma equalled swscale's and its chroma was within
#                           0.5 of the exact weighted 2x2 group average (swscale subsamples RGB
#                           chroma its own way, up to 61 away on this card); with OZMU set the
#                           script re-records it and prints the largest luma difference
set -eu

cd "$(dirname "$0")"
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT INT TERM

ff() { ffmpeg -nostdin -hide_banner -loglevel error -filter_threads 1 "$@"; }

# picture NAME SIZE FILTERS PIX_FMT: the first frame of testsrc2 as a PNG, and FFmpeg's RGBA of it.
picture()
{
    ff -f lavfi -i "testsrc2=size=$2:rate=1,$3" -frames:v 1 -pix_fmt "$4" -y "$1.png"
    ff -i "$1.png" -f rawvideo -pix_fmt rgba -y "$1.rgba"
}
picture card_41x29 41x29 format=rgb24 rgb24
picture card_rgba_24x18 24x18 "format=rgba,geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='X*255/(W-1)'" \
    rgba
picture card_pal8_24x18 24x18 format=rgb24 pal8
picture card_gray16_24x18 24x18 format=gray16be gray16be

# The accurate chroma path against swscale, as ../frame/make_frames.sh asks it: exact rounding,
# full chroma interpolation, planar GBR output (its packed RGB output quantises the vertical
# chroma weights), the chroma position given explicitly.
SWS_FLAGS=accurate_rnd+full_chroma_int+bitexact+bilinear
# y4m_rgb IN.y4m FRAME RANGE H_CHR_POS OUT.rgb24
y4m_rgb()
{
    graph="select=eq(n\\,$2),scale=in_range=$3:out_range=full:in_color_matrix=bt601"
    graph="$graph:in_h_chr_pos=$4:in_v_chr_pos=128:flags=$SWS_FLAGS,format=gbrp"
    ff -sws_flags "$SWS_FLAGS" -i "$1" -vf "$graph" -frames:v 1 -f rawvideo -pix_fmt rgb24 \
        -y "$5"
}
y4m_rgb ../y4m/ref_420jpeg.y4m 2 limited 128 ref_420jpeg.f2.rgb24
y4m_rgb ../y4m/mpeg2_full.y4m 1 full 0 mpeg2_full.f1.rgb24

if [ -n "${OZMU:-}" ]; then
    "$OZMU" convert card_41x29.png card_41x29.y4m
    ff -i card_41x29.png -vf "scale=out_range=limited:out_color_matrix=bt601:flags=$SWS_FLAGS" \
        -f rawvideo -pix_fmt gray -y "$WORK/ffmpeg.y"
    tail -c +"$(($(head -n 1 card_41x29.y4m | wc -c) + 7))" card_41x29.y4m | head -c $((41 * 29)) \
        >"$WORK/ozmu.y"
    od -An -v -tu1 -w1 "$WORK/ozmu.y" >"$WORK/ozmu.txt"
    od -An -v -tu1 -w1 "$WORK/ffmpeg.y" >"$WORK/ffmpeg.txt"
    paste "$WORK/ozmu.txt" "$WORK/ffmpeg.txt" | awk '{ d = $1 - $2; if (d < 0) d = -d
        if (d > m) m = d } END { print "largest luma difference:", m + 0 }'
fi
