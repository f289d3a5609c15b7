#!/bin/sh
# Records the parameter sets of each stream of streams.tsv as FFmpeg's trace_headers bitstream
# filter reads them, into <stream>.headers.txt beside it: a "# <unit>" line per NAL unit (VPS,
# SPS, PPS, in stream order), then one "<syntax element> <value>" line per field. The tool test
# compares `ozmu headers` with these; it needs no FFmpeg itself.
#
# The encoders' defaults leave much of the syntax unused, so three more streams of parameter sets
# only (not in streams.tsv) are made here first: colour description, chroma location, an
# extended sample aspect ratio, HRD parameters with bit rates whose Exp-Golomb codes run past 32
# bits; in HEVC lossless coding units, constrained intra and deblocking controls; in H.264
# 4:4:4 scaling lists in the PPS (twelve, counted from the chroma format of the SPS).
#
#   sh record_headers.sh          (run from anywhere; writes next to this script)
#   Needs ffmpeg built with libx264 and libx265.
set -eu

cd "$(dirname "$0")"
EXTRA_H264=h264_vui_hrd_colour_320x180.h264
EXTRA_HEVC=hevc_vui_hrd_colour_320x180.hevc
EXTRA_CQM=h264_pps_scaling_444_320x180.h264

# parameter_sets_only NAME PASS_TYPES ENCODER_ARGS...: two frames encoded, their parameter sets kept.
parameter_sets_only()
{
    name=$1 types=$2
    shift 2
    ffmpeg -nostdin -hide_banner -loglevel error -f lavfi -i "testsrc2=size=320x180:rate=30000/1001" \
        -frames:v 2 -vf setsar=5/12 "$@" -bsf:v filter_units=pass_types="$types" -y "$name"
}
VBV=vbv-maxrate=60000:vbv-bufsize=90000
parameter_sets_only $EXTRA_H264 7-8 -pix_fmt yuv420p -c:v libx264 -threads 1 -f h264 \
    -x264-params "nal-hrd=vbr:$VBV:colorprim=bt709:transfer=bt709:colormatrix=bt709:fullrange=on:\
chromaloc=1:overscan=show:pic-struct=1"
parameter_sets_only $EXTRA_HEVC 32-34 -pix_fmt yuv420p10le -c:v libx265 -f hevc \
    -x265-params "pools=none:frame-threads=1:log-level=error:hrd=1:$VBV:colorprim=bt2020:\
transfer=smpte2084:colormatrix=bt2020nc:range=full:chromaloc=2:overscan=show:cu-lossless=1:\
constrained-intra=1:no-deblock=1:videoformat=component"
parameter_sets_only $EXTRA_CQM 7-8 -pix_fmt yuv444p -c:v libx264 -threads 1 -f h264 \
    -profile:v high444 -x264-params "cqm4iy=$(seq -s, 6 21):cqm8iy=$(seq -s, 6 69):\
cqm8pc=$(seq -s, 10 73)"

# And one for the error path: an SPS cut off in the middle of its fields.
head -c 12 h264_high_l30_642x362.h264 >bad_truncated_sps.h264

# trace_headers logs the stream's extradata first (the parameter sets the demuxer picked up),
# then every packet. The packets hold each parameter set in stream order, so those are kept; a
# stream of parameter sets only yields no packet, and then the extradata is all there is.
# repeat+info: the logger would otherwise fold identical consecutive lines.
extract()
{
    awk '
        BEGIN { packets = 0; keep = 0; n_extra = 0; n_packet = 0 }
        !/^\[trace_headers @ / { next }
        {
            sub(/^\[trace_headers @ [^]]*\] /, "")
            if ($0 ~ /^Packet: /) { packets = 1; keep = 0; next }
            if ($0 !~ /^[0-9]/) {
                keep = ($0 == "Video Parameter Set" || $0 == "Sequence Parameter Set" ||
                        $0 == "Picture Parameter Set")
                line = "# " $0
            } else if (keep) {
                line = $2 " " $NF
            } else {
                next
            }
            if (!keep) next
            if (packets) packet[n_packet++] = line; else extra[n_extra++] = line
        }
        END {
            if (n_packet) for (i = 0; i < n_packet; i++) print packet[i]
            else for (i = 0; i < n_extra; i++) print extra[i]
        }'
}

{
    tail -n +2 streams.tsv | cut -f1
    echo $EXTRA_H264
    echo $EXTRA_HEVC
    echo $EXTRA_CQM
} | while read -r name; do
    # A stream of parameter sets only is too short for the format probe: name the format.
    ffmpeg -nostdin -hide_banner -loglevel repeat+info -f "${name##*.}" -i "$name" -c copy \
        -bsf:v trace_headers -f null - 2>&1 | extract >"$name.headers.txt"
    if ! grep -q '^# ' "$name.headers.txt"; then
        echo "record_headers.sh: no parameter sets traced in $name" >&2
        exit 1
    fi
done
