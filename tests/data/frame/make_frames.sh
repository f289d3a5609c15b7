#!/bin/sh
# Regenerates the 4:2:0 test frames of this folder (I420, NV12 and P010) and the RGBA that FFmpeg's
# scaler (swscale) makes of them when told the input is limited-range BT.601 or BT.709 with a given
# chroma siting, plus frames.tsv listing them. Needs ffmpeg; the tests only read the committed
# results.
#
#   sh make_frames.sh            (run from anywhere; writes next to this script)
#
# <picture>.i420 : yuv420p, Y, U, V planes one after the other, rows packed
# <picture>.nv12 : nv12, the same samples as the .i420 file, Y then interleaved UV
# <picture>.p010 : p010le, 10 bits in the high bits of little-endian words, Y then UV; the content
#                  is made at 10 bits, not widened from the 8-bit file
# <picture>.<format>.<matrix>.<siting>.rgba : swscale's RGBA of that file, rows packed
set -eu

cd "$(dirname "$0")"
TABLE=frames.tsv

WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT INT TERM

FFMPEG="ffmpeg -nostdin -hide_banner -loglevel error -filter_threads 1"
# swscale's most exact arithmetic: accurate_rnd rounds its fixed point to nearest, full_chroma_int
# gives every pixel its own interpolated chroma (instead of sharing one per pair), bilinear makes
# that interpolation the bilinear one the library defines, and bitexact keeps the C code so the
# result does not depend on the machine.
SWS_FLAGS=accurate_rnd+full_chroma_int+bitexact+bilinear

# Chroma position in luma units/256 from the top-left luma sample: left (MPEG-2/H.264) siting is
# co-sited with even columns and midway between rows; centre (JPEG) siting is midway both ways.
h_pos() { case $1 in left) echo 0 ;; center) echo 128 ;; esac; }

# to_rgba IN PIX_FMT WIDTH HEIGHT MATRIX SITING OUT.rgba
# swscale makes planar GBR, reordered to RGBA without change: its packed RGB output, when luma
# needs no vertical filter, takes a shortcut for two-tap chroma (weight below 1/2: the upper row
# only, else the average of both) that turns the 1/4 and 3/4 of 4:2:0 chroma into 0 and 1/2. The
# planar output runs the vertical filter as computed.
to_rgba()
{
    graph="scale=in_range=limited:out_range=full:in_color_matrix=$5"
    graph="$graph:in_h_chr_pos=$(h_pos "$6"):in_v_chr_pos=128:flags=$SWS_FLAGS,format=gbrp"
    $FFMPEG -sws_flags "$SWS_FLAGS" -f rawvideo -pix_fmt "$2" -s "$3x$4" -i "$1" \
        -vf "$graph" -f rawvideo -pix_fmt rgba -y "$7"
    test "$(wc -c <"$7")" -eq $(($3 * $4 * 4))
}

# The options must really select limited range and the matrix: convert flat pictures of known
# colours and compare with the textbook formulas (full range or the other matrix miss by more).
check_colour()
{
    matrix=$1 y=$2 u=$3 v=$4
    awk -v y="$y" -v u="$u" -v v="$v" 'BEGIN {
        for (i = 0; i < 64; i++) printf "%c", y
        for (i = 0; i < 16; i++) printf "%c", u
        for (i = 0; i < 16; i++) printf "%c", v
    }' >"$WORK/flat.yuv"
    to_rgba "$WORK/flat.yuv" yuv420p 8 8 "$matrix" left "$WORK/flat.rgba"
    got=$(od -An -tu1 -N4 "$WORK/flat.rgba")
    awk -v m="$matrix" -v y="$y" -v u="$u" -v v="$v" -v got="$got" 'BEGIN {
        split(got, c, " ")
        kr = m == "bt601" ? 0.299 : 0.2126
        kb = m == "bt601" ? 0.114 : 0.0722
        kg = 1 - kr - kb
        ey = (y - 16) / 219; cb = (u - 128) / 224; cr = (v - 128) / 224
        want[1] = 255 * (ey + 2 * (1 - kr) * cr)
        want[2] = 255 * (ey - 2 * kb * (1 - kb) / kg * cb - 2 * kr * (1 - kr) / kg * cr)
        want[3] = 255 * (ey + 2 * (1 - kb) * cb)
        want[4] = 255
        for (i = 1; i <= 4; i++) {
            w = want[i] < 0 ? 0 : want[i] > 255 ? 255 : want[i]
            d = c[i] - w
            if (d > 1 || d < -1) {
                printf "swscale is not converting limited-range %s: YUV %d,%d,%d gave %s\n", \
                    m, y, u, v, got > "/dev/stderr"
                exit 1
            }
        }
    }'
}
# LC_ALL=C makes awk's %c write single bytes.
export LC_ALL=C
for matrix in bt601 bt709; do
    check_colour $matrix 128 128 128
    check_colour $matrix 235 128 128
    check_colour $matrix 16 128 128
    check_colour $matrix 126 90 200
    check_colour $matrix 81 90 240
    check_colour $matrix 145 54 34
done

# record FILE FORMAT WIDTH HEIGHT PIX_FMT MATRIX SITING: swscale's RGBA of FILE, one table line.
record()
{
    out="${1%.*}.$2.$6.$7.rgba"
    to_rgba "$1" "$5" "$3" "$4" "$6" "$7" "$out"
    printf '%s\t%s\t%d\t%d\t%s\tlimited\t%s\t%s\n' "$1" "$2" "$3" "$4" "$6" "$7" "$out" >>"$TABLE"
}

# picture NAME WIDTH HEIGHT GRAPH8 GRAPH10: the first frame of GRAPH8 as I420 and NV12, of GRAPH10
# as P010, and swscale's RGBA of each: I420 in both matrices and sitings, NV12 and P010 in two of
# the four combinations each (between them, every format meets both matrices and both sitings).
picture()
{
    name=$1 w=$2 h=$3
    $FFMPEG -f lavfi -i "$4" -frames:v 1 -f rawvideo -pix_fmt yuv420p -y "$name.i420"
    $FFMPEG -f rawvideo -pix_fmt yuv420p -s "${w}x$h" -i "$name.i420" -f rawvideo -pix_fmt nv12 \
        -y "$name.nv12"
    $FFMPEG -f lavfi -i "$5" -frames:v 1 -f rawvideo -pix_fmt p010le -y "$name.p010"
    chroma=$((((w + 1) / 2) * ((h + 1) / 2)))
    test "$(wc -c <"$name.i420")" -eq $((w * h + 2 * chroma))
    test "$(wc -c <"$name.nv12")" -eq $((w * h + 2 * chroma))
    test "$(wc -c <"$name.p010")" -eq $((2 * (w * h + 2 * chroma)))
    for matrix in bt601 bt709; do
        for siting in left center; do
            record "$name.i420" I420 "$w" "$h" yuv420p $matrix $siting
        done
    done
    record "$name.nv12" NV12 "$w" "$h" nv12 bt601 left
    record "$name.nv12" NV12 "$w" "$h" nv12 bt709 center
    record "$name.p010" P010 "$w" "$h" p010le bt709 left
    record "$name.p010" P010 "$w" "$h" p010le bt601 center
}

printf 'file\tformat\twidth\theight\tmatrix\trange\tsiting\tswscale\n' >"$TABLE"
# Saturated colours, sharp colour edges and text: chroma interpolation across edges shows here.
picture testsrc2 64 48 "testsrc2=size=64x48:rate=1,format=yuv420p" \
    "testsrc2=size=64x48:rate=1,format=yuv420p10le"
picture smptebars 64 48 "smptebars=size=64x48:rate=1,format=yuv420p" \
    "smptebars=size=64x48:rate=1,format=yuv420p10le"
# Luma and Cr sweep their whole range (below 16 and above 235/240 too), so clipping is reached.
# Cb stops at 232 (928): swscale's 2^22-scaled sums wrap in 32 bits from an unclipped 512 on, as
# Y 255 with Cb 255 reaches (B 534 in BT.601).
picture gradient 66 38 "color=black:size=66x38:rate=1,format=yuv420p,"\
"geq=lum='X*255/(W-1)':cb='Y*232/(H-1)':cr='255*(1-abs(2*X/(W-1)-1))'" \
    "color=black:size=66x38:rate=1,format=yuv420p10le,"\
"geq=lum='X*1023/(W-1)':cb='Y*928/(H-1)':cr='1023*(1-abs(2*X/(W-1)-1))'"
# Uniform noise over the legal codes (16..240, 64..960) on every plane, chroma included: every
# chroma sample differs from its neighbours, so a misplaced chroma tap shows at once. Every plane
# starts random() from the same state: drawing 3 and 2 numbers a sample for Y and V keeps the
# planes from repeating each other.
NOISE="lum='random(0);random(0);L+floor(random(0)*M)':cb='L+floor(random(1)*M)'"
NOISE="$NOISE:cr='random(2);L+floor(random(2)*M)'"
picture noise 64 36 "color=black:size=64x36:rate=1,format=yuv420p,"\
"geq=$(echo "$NOISE" | sed 's/L/16/g; s/M/225/g')" \
    "color=black:size=64x36:rate=1,format=yuv420p10le,"\
"geq=$(echo "$NOISE" | sed 's/L/64/g; s/M/897/g')"
# Only even sizes: swscale spreads the (w + 1) / 2 chroma samples of an odd width evenly over the
# w luma columns (and likewise rows), so its chroma drifts to half a sample off the standard
# siting at the far edge. The test makes its odd sizes by viewing these frames one column and
# one row smaller, whose pixels are those of the full frame.

# Which swscale made the RGBA, and how it was asked.
printf '# %s, %s: scale=in_range=limited:out_range=full:in_color_matrix=<matrix>:in_h_chr_pos=<0 left, 128 center>:in_v_chr_pos=128:flags=%s,format=gbrp, then reordered to rgba\n' \
    "$(ffmpeg -version | head -n 1 | cut -d' ' -f1-3)" \
    "$(ffmpeg -version | awk '/^libswscale/ { print $1, $2 $3 }')" "$SWS_FLAGS" >>"$TABLE"
