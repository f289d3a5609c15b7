// ozmu md5: per-frame MD5 of a Y4M stream in FFmpeg's framemd5 layout, or the library's image
// digest per frame (--plain).
#include <cinttypes>
#include <cstdio>
#include <numeric>
#include <string>
#include <vector>

#include "ozmu.h"
#include "tool.h"
#include "y4m.h"

namespace ozmu_tool {

namespace {

std::string hex(const uint8_t digest[16])
{
    char text[33];
    for (int i = 0; i < 16; ++i)
        std::snprintf(text + 2 * i, 3, "%02x", digest[i]);
    return text;
}

void append(std::vector<uint8_t> *out, const std::string &text)
{
    out->insert(out->end(), text.begin(), text.end());
}

// framemd5's header with FFmpeg's rules: the time base is the inverse frame rate reduced (1/25
// when the rate is unknown), the aspect ratio is printed as written (0/1 when unknown). The
// "#software" line FFmpeg adds without -fflags +bitexact names its own version and is left out.
std::string framemd5_header(const Y4mInfo &info)
{
    int64_t tb_num = 1, tb_den = 25;
    if (info.fps_num > 0 && info.fps_den > 0) {
        const int64_t g = std::gcd(int64_t{info.fps_num}, int64_t{info.fps_den});
        tb_num = info.fps_den / g;
        tb_den = info.fps_num / g;
    }
    const bool has_sar = info.sar_num > 0 && info.sar_den > 0;
    char text[512];
    std::snprintf(text, sizeof text,
                  "#format: frame checksums\n#version: 2\n#hash: MD5\n#tb 0: %" PRId64 "/%" PRId64
                  "\n#media_type 0: video\n#codec_id 0: rawvideo\n#dimensions 0: %dx%d\n"
                  "#sar 0: %d/%d\n#stream#, dts,        pts, duration,     size, hash\n",
                  tb_num, tb_den, info.width, info.height, has_sar ? info.sar_num : 0,
                  has_sar ? info.sar_den : 1);
    return text;
}

int plain_cs(int format)
{
    switch (format) {
    case OZMU_PIX_I420: return OZMU_CS_YUV420;
    case OZMU_PIX_I422: return OZMU_CS_YUV422;
    case OZMU_PIX_I444: return OZMU_CS_YUV444;
    case OZMU_PIX_GRAY8: return OZMU_CS_YUV400;
    default: return OZMU_CS_P010;  // I010: three 16-bit planes
    }
}

}  // namespace

int md5(int argc, char **argv, const Io &io)
{
    Args args(argc, argv);
    const bool plain = args.take_flag("plain");
    if (!args.unknown_option().empty())
        return usage_error(io, "md5", "unknown option " + args.unknown_option());
    if (args.positional().size() != 1)
        return usage_error(io, "md5", "one input file expected");
    const std::string &path = args.positional()[0];

    std::vector<uint8_t> data;
    std::string error;
    Y4mFile y4m;
    if (!read_file(io, path, &data, &error) || !y4m_parse(data.data(), data.size(), &y4m, &error))
        return fail(io, path, error);

    Output out(io, "-");
    std::vector<uint8_t> &text = out.bytes();
    if (plain) {
        append(&text,
               "# ozmu_md5_imgb per frame: width bytes of every luma row, then (width + 1) / 2 "
               "bytes of the first (height + 1) / 2 rows of each chroma plane, whatever the "
               "layout and sample size\n");
    } else {
        // The same MD5 over the raw planes for every layout, as FFmpeg's rawvideo packets are.
        append(&text, framemd5_header(y4m.info));
    }
    for (size_t i = 0; i < y4m.frame_count(); ++i) {
        progress(io, "md5", static_cast<long>(i), static_cast<long>(y4m.frame_count()));
        uint8_t digest[16];
        char line[128];
        if (plain) {
            const ozmu_frame f = y4m.frame(i);
            ozmu_imgb img{};
            img.width = f.width;
            img.height = f.height;
            img.cs = plain_cs(f.format);
            for (int k = 0; k < 3; ++k) {
                img.plane[k] = f.plane[k];
                img.stride[k] = static_cast<int>(f.stride[k]);
            }
            ozmu_md5_imgb(&img, digest);
            std::snprintf(line, sizeof line, "%zu, %s\n", i, hex(digest).c_str());
        } else {
            ozmu_md5_ctx ctx{};
            ozmu_md5_init(&ctx);
            ozmu_md5_update(&ctx, data.data() + y4m.frame_data[i],
                            static_cast<unsigned>(y4m.frame_size));
            ozmu_md5_finish(&ctx, digest);
            std::snprintf(line, sizeof line, "0, %10zu, %10zu, %8d, %8zu, %s\n", i, i, 1,
                          y4m.frame_size, hex(digest).c_str());
        }
        append(&text, line);
    }
    progress_done(io);
    if (!out.commit(&error))
        return fail(io, "-", error);
    return kExitOk;
}

}  // namespace ozmu_tool
