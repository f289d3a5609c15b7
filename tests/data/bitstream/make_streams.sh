#!/bin/sh
# Regenerates the sample H.264 and HEVC elementary streams of this folder and streams.tsv, the
# values ffprobe reports for them. Needs ffmpeg and ffprobe built with libx264 and libx265; the
# tests only read the committed results.
#
#   sh make_streams.sh            (run from anywhere; writes next to this script)
set -eu

cd "$(dirname "$0")"
TABLE=streams.tsv
# Frames per stream: enough for a GOP with B-frames, few enough to stay a few kB.
FRAMES=3

X264_COMMON="-threads 1 -crf 40"
X265_COMMON="pools=none:frame-threads=1:log-level=error"

WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT INT TERM

# HEVC scaling-list file, read by x265 in this order: per size, intra then inter, luma, Cb, Cr
# (32x32: luma only), each 16x16 and 32x32 matrix followed by its DC. Intra and inter differ so
# both explicit coding and prediction from an earlier matrix appear in the stream.
hevc_scaling_file()
{
    for size in 4X4 8X8 16X16 32X32; do
        case $size in 4X4) n=16 ;; *) n=64 ;; esac
        for pred in INTRA INTER; do
            for comp in LUMA CHROMAU CHROMAV; do
                if [ $size = 32X32 ] && [ $comp != LUMA ]; then continue; fi
                echo "${pred}${size}_${comp} ="
                if [ $pred = INTRA ]; then seq -s, 16 $((15 + n)); else seq -s, 16 2 $((14 + 2 * n)); fi
                case $size in 16X16 | 32X32) printf '%s%s_%s_DC =\n%d\n' $pred $size $comp 20 ;; esac
            done
        done
    done
}
hevc_scaling_file >"$WORK/scaling.txt"

# encode NAME SIZE PIX_FMT ENCODER ENCODER_OPTIONS...
encode()
{
    name=$1 size=$2 pix=$3 enc=$4
    shift 4
    case $enc in libx264) fmt=h264 ;; *) fmt=hevc ;; esac
    ffmpeg -nostdin -hide_banner -loglevel error -f lavfi -i "testsrc2=size=$size:rate=25" \
        -frames:v $FRAMES -pix_fmt "$pix" -c:v "$enc" "$@" -f $fmt -y "$name"
    # Counting frames makes ffprobe decode, so the coded size is the decoder's, not the display's.
    ffprobe -v error -count_frames -select_streams v:0 \
        -show_entries stream=codec_name,profile,level,coded_width,coded_height,width,height,pix_fmt \
        -of default=noprint_wrappers=1 "$name" >"$WORK/probe"
    field() { sed -n "s/^$1=//p" "$WORK/probe"; }
    printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$name" "$(field codec_name)" "$(field profile)" \
        "$(field level)" "$(field coded_width)" "$(field coded_height)" "$(field width)" \
        "$(field height)" "$(field pix_fmt)" >>"$TABLE"
}

# AVC-Intra pictures run to hundreds of kB: probe the whole stream, keep only its parameter sets.
encode_headers()
{
    encode "$@"
    ffmpeg -nostdin -hide_banner -loglevel error -i "$1" -c copy \
        -bsf:v filter_units=pass_types=7-8 -f h264 -y "$WORK/headers.h264"
    mv "$WORK/headers.h264" "$1"
}

printf 'file\tcodec\tprofile\tlevel\tcoded_width\tcoded_height\twidth\theight\tpix_fmt\n' >"$TABLE"

# H.264: no B-frames gives picture order type 2, B-frames type 0; odd sizes need cropping.
encode h264_cbaseline_l1b_128x96.h264 128x96 yuv420p libx264 $X264_COMMON \
    -profile:v baseline -level 1b
encode h264_cbaseline_l11_176x144.h264 176x144 yuv420p libx264 $X264_COMMON \
    -profile:v baseline -level 1.1
encode h264_main_l21_352x288.h264 352x288 yuv420p libx264 $X264_COMMON -profile:v main -level 2.1
encode h264_main_mbaff_l30_200x120.h264 200x120 yuv420p libx264 $X264_COMMON -profile:v main \
    -level 3.0 -x264-params interlaced=1
encode h264_high_l31_1280x720.h264 1280x720 yuv420p libx264 -threads 1 -crf 45 -profile:v high \
    -level 3.1
encode h264_high_l30_642x362.h264 642x362 yuv420p libx264 $X264_COMMON -profile:v high -level 3.0
encode h264_high_gray_l20_200x120.h264 200x120 gray libx264 $X264_COMMON -profile:v high \
    -level 2.0
encode h264_high10_l30_200x120.h264 200x120 yuv420p10le libx264 $X264_COMMON -profile:v high10 \
    -level 3.0
encode h264_high422_l31_352x288.h264 352x288 yuv422p10le libx264 $X264_COMMON \
    -profile:v high422 -level 3.1
encode h264_high444_l40_642x362.h264 642x362 yuv444p libx264 $X264_COMMON -profile:v high444 \
    -level 4.0
encode h264_high444_lossless_l11_72x40.h264 72x40 yuv444p libx264 -threads 1 -qp 0 \
    -profile:v high444 -level 1.1
encode h264_high444_intra_l40_200x120.h264 200x120 yuv444p10le libx264 $X264_COMMON \
    -profile:v high444 -level 4.0 -g 1
# x264 writes sequence-level scaling lists only for AVC-Intra (fixed sizes and rates).
encode_headers h264_avcintra50_sps_960x720.h264 960x720 yuv420p10le libx264 -threads 1 -r 50 \
    -x264-params avcintra-class=50
encode_headers h264_avcintra100_sps_1080i.h264 1920x1080 yuv422p10le libx264 -threads 1 \
    -x264-params avcintra-class=100:tff=1

# HEVC: sizes off the 8-sample grid need a conformance window. x265 puts no short-term reference
# picture sets, long-term pictures or PCM in the SPS, and no sub-layer profile or level.
encode hevc_main_l31_352x288.hevc 352x288 yuv420p libx265 -crf 40 \
    -x265-params "$X265_COMMON:level-idc=3.1"
encode hevc_main_tl_l30_642x362.hevc 642x362 yuv420p libx265 -crf 40 \
    -x265-params "$X265_COMMON:level-idc=3:temporal-layers=1:no-sao=1:amp=1:rect=1"
encode hevc_main_high_l41_1280x720.hevc 1280x720 yuv420p libx265 -crf 45 \
    -x265-params "$X265_COMMON:level-idc=4.1:high-tier=1:no-strong-intra-smoothing=1:temporal-mvp=0"
encode hevc_main10_l21_200x120.hevc 200x120 yuv420p10le libx265 -crf 40 \
    -x265-params "$X265_COMMON:level-idc=2.1:scaling-list=default:tu-intra-depth=3:tu-inter-depth=2"
encode hevc_main12_176x144.hevc 176x144 yuv420p12le libx265 -crf 40 -x265-params "$X265_COMMON"
encode hevc_rext422_10_l31_352x288.hevc 352x288 yuv422p10le libx265 -crf 40 \
    -x265-params "$X265_COMMON:level-idc=3.1:scaling-list=$WORK/scaling.txt"
encode hevc_rext444_l30_642x362.hevc 642x362 yuv444p libx265 -crf 40 \
    -x265-params "$X265_COMMON:level-idc=3:ctu=32:min-cu-size=16"
encode hevc_rext_gray_176x144.hevc 176x144 gray libx265 -crf 40 -x265-params "$X265_COMMON"
