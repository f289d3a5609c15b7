#!/bin/sh
# Regenerates the coded video packets of this folder and packets.tsv, the key-frame flag FFmpeg's
# encoders gave each packet. Needs ffmpeg built with libx264 and libx265; the tests only read the
# committed results.
#
#   sh make_streams.sh            (run from anywhere; writes next to this script)
#
# Every stream is encoded once and written twice through the tee muxer: the "data" muxer stores
# the packets back to back exactly as the encoder returned them (<name>.bin), and framecrc lists
# each packet's size and flags (it prints F=0x.. only for packets whose flags are not exactly
# "key"). packets.tsv has one row per packet, in decode order:
#
#   file    fourcc    size    key        (fourcc: the code an AVI or MP4 file would name it by)
#
# What each .bin holds is what a demultiplexer hands to the key-frame test for that media type:
# - H.264 and HEVC: Annex B access units, as x264 and x265 emit them (no muxer in the chain asks
#   for length prefixes, so nothing is converted to MP4 samples). In band, a key frame carries
#   its parameter sets (and x264's options SEI) before the slices, unless the encoder ran with
#   -flags +global_header, which moves them to extradata (never stored here).
# - MPEG-4 Part 2: the elementary stream, configuration headers in band before the first VOP.
# - H.263 and H.263+: one picture per packet, starting with its picture start code. FFmpeg's
#   h263p encoder writes the extended picture type (PLUSPTYPE, source format 7) on every picture,
#   with UFEP 001 (the optional part present) on every picture.
# - WMV1, WMV2, MS-MPEG4 v3: frame payloads as AVI and ASF store them; the picture type sits in
#   the first bits.
# - HuffYUV: raw frames (every one a key frame).
set -eu

cd "$(dirname "$0")"
TABLE=packets.tsv
SOURCE="testsrc2=size=128x96:rate=25"  # 128x96 is H.263's sub-QCIF, so all encoders take it
X265_COMMON="log-level=error:pools=none:frame-threads=1"

WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT INT TERM

# encode NAME FOURCC FRAMES ENCODER_OPTIONS...
encode()
{
    name=$1 fourcc=$2 frames=$3
    shift 3
    ffmpeg -nostdin -hide_banner -loglevel error -f lavfi -i "$SOURCE" -frames:v "$frames" \
        "$@" -map 0:v -f tee "[f=framecrc]$WORK/crc|[f=data]$name.bin"
    grep -v '^#' "$WORK/crc" | tr -d ' ' | while IFS=, read -r _ _ _ _ size _ flags _; do
        case $flags in F=*) key=$(($(printf '%d' "${flags#F=}") & 1)) ;; *) key=1 ;; esac
        printf '%s\t%s\t%s\t%s\n' "$name.bin" "$fourcc" "$size" "$key"
    done >>"$TABLE"
    total=$(awk -v f="$name.bin" '$1 == f { n += $3 } END { print n }' "$TABLE")
    [ "$total" -eq "$(wc -c <"$name.bin")" ] || { echo "$name: sizes do not add up" >&2; exit 1; }
}

printf 'file\tfourcc\tsize\tkey\n' >"$TABLE"

X264="-c:v libx264 -threads 1 -crf 35"
# Default settings: B-frames, one IDR.
encode h264_default H264 24 $X264
# Short closed GOP: an IDR every 8 frames at most.
encode h264_gop8 H264 24 $X264 -g 8
# Access-unit delimiters first in every access unit.
encode h264_aud avc1 24 $X264 -g 8 -x264-params aud=1
# Open GOP: after the first, key frames are recovery points with non-IDR I slices.
encode h264_opengop x264 24 $X264 -g 8 -x264-params open-gop=1

X265="-c:v libx265 -crf 35"
# In-band headers: every key frame starts with VPS, SPS, PPS (and the first with x265's SEI).
encode hevc_inband hvc1 24 $X265 -x265-params "$X265_COMMON:keyint=8:open-gop=0"
# Headers out of band, closed GOP: key frames are bare IDR pictures.
encode hevc_idr H265 24 $X265 -flags +global_header \
    -x265-params "$X265_COMMON:keyint=8:open-gop=0:info=0"
# Headers out of band, open GOP: key frames after the first are CRA pictures.
encode hevc_cra x265 24 $X265 -flags +global_header -x265-params "$X265_COMMON:keyint=8:info=0"

encode mpeg4 FMP4 24 -c:v mpeg4 -q:v 8 -g 8 -bf 2
encode h263 H263 24 -c:v h263 -q:v 8 -g 8
encode h263p H263 24 -c:v h263p -q:v 8 -g 8 -umv 1 -aiv 1
encode wmv1 WMV1 24 -c:v wmv1 -q:v 8 -g 8
encode wmv2 WMV2 24 -c:v wmv2 -q:v 8 -g 8
encode msmpeg4v3 DIV3 24 -c:v msmpeg4 -q:v 8 -g 8
encode huffyuv HFYU 3 -c:v huffyuv -vf scale=64:48
