#!/bin/sh
# Makes the elementary streams of this folder that exercise access-unit splitting and random-access
# points (open GOP, several slices per picture, intra refresh, HEVC CRA with in-band headers,
# MPEG-4 Part 2), and records what ffprobe reports for their packets, and for the other committed
# H.264, HEVC and MPEG-4 streams, in <stream>.ffprobe.csv beside each stream. Needs ffmpeg and
# ffprobe with libx264 and libx265; the tests only read the committed results.
#
#   sh make_keyframe_streams.sh    (run from anywhere; writes next to the streams)
#
# Each .ffprobe.csv is a header line "size,pos,flags", then one row per packet as
#   ffprobe -show_entries packet=size,pos,flags -of csv=p=0
# prints it: flags "K_" for a key packet. On a raw stream ffprobe's packets come from its parser,
# which cuts HEVC streams at 00 00 01, so a packet before a 4-byte start code keeps that code's
# leading zero byte (its size is one larger, the next position one later) where the encoder and
# `ozmu keyframes` give the zero byte to the access unit it starts.
set -eu

cd "$(dirname "$0")"
SOURCE="testsrc2=size=128x96:rate=25"
X264="-c:v libx264 -threads 1 -crf 36"
X265_COMMON="log-level=error:pools=none:frame-threads=1"

# encode NAME FRAMES FORMAT OPTIONS...
encode()
{
    name=$1 frames=$2 format=$3
    shift 3
    ffmpeg -nostdin -hide_banner -loglevel error -f lavfi -i "$SOURCE" -frames:v "$frames" \
        "$@" -f "$format" -y "$name"
}

# probe FILE FORMAT
probe()
{
    {
        echo "size,pos,flags"
        ffprobe -v quiet -f "$2" -show_entries packet=size,pos,flags -of csv=p=0 "$1"
    } >"$1.ffprobe.csv"
}

# Open GOP: the I pictures after the first are recovery points, not IDR.
encode keyframes_h264_opengop.264 30 h264 $X264 -x264-params keyint=10:open-gop=1:bframes=2
# Four slices per picture: only the first (first_mb_in_slice 0) opens an access unit.
encode keyframes_h264_slices.h264 20 h264 $X264 -x264-params keyint=10:slices=4
# Periodic intra refresh: no IDR after the first; recovery-point SEI marks the entry points.
encode keyframes_h264_intra_refresh.h264 30 h264 $X264 -x264-params keyint=10:intra-refresh=1
# Open GOP with headers in band: CRA pictures after the first; every key unit starts with a VPS.
encode keyframes_hevc_cra.hevc 24 hevc -c:v libx265 -crf 42 \
    -x265-params "$X265_COMMON:keyint=8:open-gop=1:bframes=2"
# MPEG-4 Part 2: configuration headers before the first VOP, B-VOPs between.
encode keyframes_mpeg4.m4v 20 m4v -c:v mpeg4 -q:v 24 -g 8 -bf 1

for f in keyframes_h264_*.264 keyframes_h264_*.h264 h264_*.bin ../bitstream/*.h264; do
    probe "$f" h264
done
for f in keyframes_hevc_*.hevc hevc_*.bin ../bitstream/*.hevc; do
    probe "$f" hevc
done
for f in keyframes_mpeg4.m4v mpeg4.bin; do
    probe "$f" m4v
done
