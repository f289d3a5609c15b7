#!/bin/sh
# Regenerates the raw test frames of this folder and frames.tsv, FFmpeg's per-frame MD5 of each
# frame (-f framemd5), whole and with its top rows and right columns cropped off. Needs ffmpeg;
# the tests only read the committed results.
#
#   sh make_frames.sh            (run from anywhere; writes next to this script)
#
# frames.tsv: raw file, pix_fmt, width, height, x, y, frame, md5. The raw files hold the frames
# back to back, planes tightly packed (luma, then for yuv420p the two chroma planes). A row with
# x, y other than 0 is the digest of the frame cropped to (width - x) x (height - y) from row y,
# column 0.
set -eu

cd "$(dirname "$0")"
TABLE=frames.tsv
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT INT TERM

printf 'file\tpix_fmt\twidth\theight\tx\ty\tframe\tmd5\n' >"$TABLE"

# Odd sizes scaled from a larger pattern, with temporal noise so that every frame differs.
source_filter()
{
    echo "scale=$1:$2:flags=bicubic,noise=alls=24:allf=t+u,format=$3"
}

# frames NAME WIDTH HEIGHT PIX_FMT COUNT [X:Y ...]
frames()
{
    name=$1 w=$2 h=$3 pix=$4 count=$5
    shift 5
    src="-nostdin -hide_banner -loglevel error -f lavfi -i testsrc2=size=192x108:rate=5"
    filter=$(source_filter "$w" "$h" "$pix")
    ffmpeg $src -vf "$filter" -frames:v "$count" -f rawvideo -y "$name"
    for crop in 0:0 "$@"; do
        x=${crop%:*} y=${crop#*:}
        ffmpeg $src -vf "$filter,crop=$((w - x)):$((h - y)):0:$y:exact=1" -frames:v "$count" \
            -f framemd5 -y "$WORK/md5"
        grep -v '^#' "$WORK/md5" | awk -F', *' -v f="$name" -v p="$pix" -v w="$w" -v h="$h" \
            -v x="$x" -v y="$y" '{ printf "%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n", f, p, w, h, x, y, $2, $6 }' \
            >>"$TABLE"
    done
}

frames yuv420p_33x17.yuv 33 17 yuv420p 3 5:2 1:0 32:16 0:12
frames gray_33x17.y 33 17 gray 3 3:6 32:1
frames yuv420p_65x31.yuv 65 31 yuv420p 2 0:10 64:0
frames yuv420p_1x1.yuv 1 1 yuv420p 2
frames gray_129x7.y 129 7 gray 2 63:4
