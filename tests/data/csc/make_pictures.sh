#!/bin/sh
# Regenerates the 4:4:4 test pictures of this folder and the RGBA that FFmpeg's scaler (swscale)
# makes of them when told the input is full-range BT.601, plus pictures.tsv listing them. Needs
# ffmpeg; the tests only read the committed results.
#
#   sh make_pictures.sh            (run from anywhere; writes next to this script)
#
# <name>.yuv  : planar yuv444p, the Y, U and V planes one after the other, rows packed
# <name>.rgba : swscale's RGBA of it, 4 bytes a pixel, rows packed
set -eu

cd "$(dirname "$0")"
TABLE=pictures.tsv

WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT INT TERM

FFMPEG="ffmpeg -nostdin -hide_banner -loglevel error -filter_threads 1"
# Full-range BT.601 in, full-range RGBA out, with swscale's most exact arithmetic: accurate_rnd
# keeps its fixed-point rounding to nearest, full_chroma_int converts every pixel's own chroma,
# bitexact keeps the C code so the result does not depend on the machine.
SWS_FLAGS=accurate_rnd+full_chroma_int+bitexact
TO_RGBA="scale=in_range=full:in_color_matrix=bt601:out_range=full:flags=$SWS_FLAGS,format=rgba"

# to_rgba IN.yuv WIDTH HEIGHT OUT.rgba
to_rgba()
{
    $FFMPEG -sws_flags "$SWS_FLAGS" -f rawvideo -pix_fmt yuv444p -s "$2x$3" -i "$1" \
        -vf "$TO_RGBA" -f rawvideo -pix_fmt rgba -y "$4"
}

# The flags must really select full-range BT.601: convert flat pictures of known colours and
# compare with the textbook formulas (limited range would scale Y by 255/219; BT.709 has other
# weights). Swscale rounds to nearest, so each channel must be within 1.
check_colour()
{
    y=$1 u=$2 v=$3
    for plane in "$y" "$u" "$v"; do
        awk -v b="$plane" 'BEGIN { for (i = 0; i < 64; i++) printf "%c", b }'
    done >"$WORK/flat.yuv"
    to_rgba "$WORK/flat.yuv" 8 8 "$WORK/flat.rgba"
    got=$(od -An -tu1 -N4 "$WORK/flat.rgba")
    awk -v y="$y" -v u="$u" -v v="$v" -v got="$got" 'BEGIN {
        split(got, c, " ")
        r = y + 1.402 * (v - 128)
        g = y - 0.344136 * (u - 128) - 0.714136 * (v - 128)
        b = y + 1.772 * (u - 128)
        want[1] = r < 0 ? 0 : r > 255 ? 255 : r
        want[2] = g < 0 ? 0 : g > 255 ? 255 : g
        want[3] = b < 0 ? 0 : b > 255 ? 255 : b
        want[4] = 255
        for (i = 1; i <= 4; i++) {
            d = c[i] - want[i]
            if (d > 1 || d < -1) {
                printf "swscale is not converting full-range BT.601: YUV %d,%d,%d gave %s\n", \
                    y, u, v, got > "/dev/stderr"
                exit 1
            }
        }
    }'
}
# LC_ALL=C makes awk's %c write single bytes.
export LC_ALL=C
check_colour 128 128 128
check_colour 235 128 128
check_colour 16 128 128
check_colour 128 128 192
check_colour 128 192 128
check_colour 76 85 255
check_colour 150 44 21
check_colour 29 255 107

# picture NAME WIDTH HEIGHT SOURCE_FILTERGRAPH: the first frame of the source as yuv444p.
picture()
{
    name=$1 w=$2 h=$3 graph=$4
    $FFMPEG -f lavfi -i "$graph" -frames:v 1 -f rawvideo -pix_fmt yuv444p -y "$name.yuv"
    test "$(wc -c <"$name.yuv")" -eq $((w * h * 3))
    to_rgba "$name.yuv" "$w" "$h" "$name.rgba"
    test "$(wc -c <"$name.rgba")" -eq $((w * h * 4))
    printf '%s\t%d\t%d\t%s\n' "$name" "$w" "$h" "$graph" >>"$TABLE"
}

printf 'name\twidth\theight\tsource\n' >"$TABLE"
# Saturated colours, gradients and text edges; the bars cover the classic colour patches. Both are
# limited-range material: read as full range they are simply other colours.
picture testsrc2 64 48 "testsrc2=size=64x48:rate=1,format=yuv444p"
picture smptebars 64 48 "smptebars=size=64x48:rate=1,format=yuv444p"
# Every plane sweeps the whole 0..255 range, so the clipping corners are reached.
picture gradient 64 48 "color=black:size=64x48:rate=1,format=yuv444p,"\
"geq=lum='X*255/(W-1)':cb='Y*255/(H-1)':cr='255*(1-abs(2*X/(W-1)-1))'"
# Uniform noise on every plane; an odd width runs the conversion's tails too.
picture noise 61 45 "color=black:size=61x45:rate=1,format=yuv444p,"\
"geq=lum='floor(random(0)*256)':cb='floor(random(1)*256)':cr='floor(random(2)*256)'"

# Which swscale made the RGBA, and how it was asked.
printf '# %s, %s: %s\n' "$(ffmpeg -version | head -n 1 | cut -d' ' -f1-3)" \
    "$(ffmpeg -version | awk '/^libswscale/ { print $1, $2 $3 }')" "$TO_RGBA" >>"$TABLE"
