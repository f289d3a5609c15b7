// ozmu compare: PSNR of two Y4M clips per frame and over the clip, figured as FFmpeg's psnr
// filter does (per-plane MSE; the all-planes MSE weighted by plane size; clip figures from the
// mean MSE over frames, never a mean of PSNRs), plus the mean luma SAD per pixel and the mean
// 8x8 SATD cost per luma block.
//
// Edge blocks of the SATD: a block cut by the right or bottom edge is costed as a whole 8x8 block
// whose samples outside the picture are equal in both clips (zero difference there), so every
// picture has ceil(W / 8) x ceil(H / 8) blocks.
//
// Clips of different lengths: the common frames are compared and a warning says so.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ozmu.h"
#include "tool.h"
#include "y4m.h"

namespace ozmu_tool {

namespace {

constexpr const char *kPlaneNames[3] = {"y", "u", "v"};

struct Plane {
    const uint8_t *a, *b;
    ptrdiff_t stride;   // bytes, the same in both clips
    int width, height;  // samples
};

struct Metrics {
    double mse[3] = {};
    double mse_all = 0;
    double sad_per_pixel = 0;
    double satd_per_block = 0;
};

// Sum of squared differences of one plane. The library's SSD is a 32-bit sum, so it is called on
// bands small enough never to wrap (at most 32768 8-bit or 2048 16-bit differences).
uint64_t plane_ssd(const Plane &p, bool wide)
{
    uint64_t sum = 0;
    if (!wide) {
        const int band = std::max(1, 32768 / p.width);
        for (int y = 0; y < p.height; y += band) {
            const int rows = std::min(band, p.height - y);
            sum += static_cast<uint32_t>(ozmu_ssd(p.width, rows, p.a + y * p.stride,
                                                  p.b + y * p.stride, static_cast<int>(p.stride),
                                                  static_cast<int>(p.stride)));
        }
        return sum;
    }
    for (int y = 0; y < p.height; ++y) {
        const auto *a = reinterpret_cast<const int16_t *>(p.a + y * p.stride);
        const auto *b = reinterpret_cast<const int16_t *>(p.b + y * p.stride);
        for (int x = 0; x < p.width; x += 2048) {
            const int n = std::min(2048, p.width - x);
            sum += static_cast<uint32_t>(ozmu_ssd_16(n, 1, a + x, b + x, n, n));
        }
    }
    return sum;
}

uint64_t plane_sad(const Plane &p, bool wide)
{
    uint64_t sum = 0;
    for (int y = 0; y < p.height; ++y) {
        const uint8_t *a = p.a + y * p.stride, *b = p.b + y * p.stride;
        sum += static_cast<uint32_t>(
            wide ? ozmu_sad_16(p.width, 1, reinterpret_cast<const int16_t *>(a),
                               reinterpret_cast<const int16_t *>(b), p.width, p.width)
                 : ozmu_sad(p.width, 1, a, b, p.width, p.width));
    }
    return sum;
}

// Total 8x8 SATD over a plane; edge blocks as described at the top of the file.
template <typename Sample>
uint64_t plane_satd(const Plane &p, int (*satd8x8)(const Sample *, const Sample *, int, int))
{
    const ptrdiff_t stride = p.stride / static_cast<ptrdiff_t>(sizeof(Sample));
    uint64_t sum = 0;
    for (int y = 0; y < p.height; y += 8) {
        for (int x = 0; x < p.width; x += 8) {
            const auto *a = reinterpret_cast<const Sample *>(p.a + y * p.stride) + x;
            const auto *b = reinterpret_cast<const Sample *>(p.b + y * p.stride) + x;
            const int w = std::min(8, p.width - x), h = std::min(8, p.height - y);
            if (w == 8 && h == 8) {
                sum += static_cast<uint32_t>(
                    satd8x8(a, b, static_cast<int>(stride), static_cast<int>(stride)));
                continue;
            }
            Sample edge_a[64] = {}, edge_b[64] = {};
            for (int r = 0; r < h; ++r) {
                std::memcpy(edge_a + 8 * r, a + r * stride, sizeof(Sample) * size_t(w));
                std::memcpy(edge_b + 8 * r, b + r * stride, sizeof(Sample) * size_t(w));
            }
            sum += static_cast<uint32_t>(satd8x8(edge_a, edge_b, 8, 8));
        }
    }
    return sum;
}

double psnr(double mse, double peak)
{
    return mse > 0 ? 10.0 * std::log10(peak * peak / mse) : INFINITY;
}

// "%.4f" for the table, "%.6f" for JSON and the summary; inf prints as "inf" either way (and
// quoted in JSON, which has no infinity).
std::string number(double v, int decimals, bool json = false)
{
    if (std::isinf(v))
        return json ? "\"inf\"" : "inf";
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, v);
    return text;
}

std::string json_string(const std::string &s)
{
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\u%04x", c);
            out += esc;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string describe(const Y4mInfo &info)
{
    return std::to_string(info.width) + "x" + std::to_string(info.height) + " C" + info.chroma;
}

}  // namespace

int compare(int argc, char **argv, const Io &io)
{
    Args args(argc, argv);
    const bool json = args.take_flag("json");
    if (!args.unknown_option().empty())
        return usage_error(io, "compare", "unknown option " + args.unknown_option());
    if (args.positional().size() != 2)
        return usage_error(io, "compare", "two input files expected");
    const std::string path[2] = {args.positional()[0], args.positional()[1]};

    std::vector<uint8_t> data[2];
    Y4mFile clip[2];
    for (int i = 0; i < 2; ++i) {
        std::string error;
        if (!read_file(io, path[i], &data[i], &error) ||
            !y4m_parse(data[i].data(), data[i].size(), &clip[i], &error))
            return fail(io, path[i], error);
    }
    const Y4mInfo &info = clip[0].info;
    if (info.width != clip[1].info.width || info.height != clip[1].info.height ||
        info.format != clip[1].info.format) {
        return fail(io, path[0] + " and " + path[1],
                    "size or layout mismatch (" + describe(info) + " against " +
                        describe(clip[1].info) + ")");
    }
    const size_t frames = std::min(clip[0].frame_count(), clip[1].frame_count());
    if (frames == 0)
        return fail(io, path[clip[0].frame_count() == 0 ? 0 : 1], "no frames");
    if (clip[0].frame_count() != clip[1].frame_count()) {
        std::fprintf(io.err,
                     "ozmu compare: warning: %s has %zu frames and %s %zu; comparing the "
                     "first %zu\n",
                     path[0].c_str(), clip[0].frame_count(), path[1].c_str(), clip[1].frame_count(),
                     frames);
    }

    const bool wide = info.bit_depth > 8;
    const double peak = (1 << info.bit_depth) - 1;
    int planes = 0;
    size_t min_stride[4];
    int rows[4];
    ozmu_frame_layout(info.format, info.width, info.height, &planes, min_stride, rows);
    const size_t sample_bytes = wide ? 2 : 1;
    double weight[3] = {};
    double total_samples = 0;
    for (int k = 0; k < planes; ++k)
        total_samples += double(min_stride[k] / sample_bytes) * rows[k];
    for (int k = 0; k < planes; ++k)
        weight[k] = double(min_stride[k] / sample_bytes) * rows[k] / total_samples;
    const double luma_samples = double(info.width) * info.height;
    const double luma_blocks = double((info.width + 7) / 8) * ((info.height + 7) / 8);

    std::vector<Metrics> per_frame(frames);
    Metrics clip_total;
    double min_mse = INFINITY, max_mse = 0;
    for (size_t n = 0; n < frames; ++n) {
        progress(io, "compare", static_cast<long>(n), static_cast<long>(frames));
        const ozmu_frame fa = clip[0].frame(n), fb = clip[1].frame(n);
        Metrics &m = per_frame[n];
        for (int k = 0; k < planes; ++k) {
            const Plane p{fa.plane[k], fb.plane[k], fa.stride[k],
                          static_cast<int>(min_stride[k] / sample_bytes), rows[k]};
            m.mse[k] = double(plane_ssd(p, wide)) / (double(p.width) * p.height);
            m.mse_all += m.mse[k] * weight[k];
            if (k == 0) {
                m.sad_per_pixel = double(plane_sad(p, wide)) / luma_samples;
                m.satd_per_block = double(wide ? plane_satd<int16_t>(p, ozmu_satd8x8_16)
                                               : plane_satd<uint8_t>(p, ozmu_satd8x8)) /
                                   luma_blocks;
            }
            clip_total.mse[k] += m.mse[k];
        }
        clip_total.mse_all += m.mse_all;
        clip_total.sad_per_pixel += m.sad_per_pixel;
        clip_total.satd_per_block += m.satd_per_block;
        min_mse = std::min(min_mse, m.mse_all);
        max_mse = std::max(max_mse, m.mse_all);
    }
    progress_done(io);
    for (double &v : clip_total.mse)
        v /= double(frames);
    clip_total.mse_all /= double(frames);
    clip_total.sad_per_pixel /= double(frames);
    clip_total.satd_per_block /= double(frames);

    std::string text;
    if (json) {
        auto fields = [&](const Metrics &m, int decimals) {
            std::string s;
            for (int k = 0; k < planes; ++k)
                s += std::string("\"mse_") + kPlaneNames[k] + "\": " + number(m.mse[k], decimals) +
                     ", ";
            s += "\"mse_all\": " + number(m.mse_all, decimals) + ", ";
            for (int k = 0; k < planes; ++k)
                s += std::string("\"psnr_") + kPlaneNames[k] +
                     "\": " + number(psnr(m.mse[k], peak), decimals, true) + ", ";
            s += "\"psnr_all\": " + number(psnr(m.mse_all, peak), decimals, true) + ", ";
            s += "\"sad_per_pixel\": " + number(m.sad_per_pixel, decimals) + ", ";
            s += "\"satd8x8_per_block\": " + number(m.satd_per_block, decimals);
            return s;
        };
        text = "{\n  \"a\": " + json_string(path[0]) + ",\n  \"b\": " + json_string(path[1]) +
               ",\n  \"width\": " + std::to_string(info.width) +
               ",\n  \"height\": " + std::to_string(info.height) +
               ",\n  \"chroma\": " + json_string(info.chroma) +
               ",\n  \"bit_depth\": " + std::to_string(info.bit_depth) + ",\n  \"frames\": [\n";
        for (size_t n = 0; n < frames; ++n) {
            text += "    {\"frame\": " + std::to_string(n) + ", " + fields(per_frame[n], 6) + "}" +
                    (n + 1 < frames ? ",\n" : "\n");
        }
        text += "  ],\n  \"all\": {\"frames\": " + std::to_string(frames) + ", " +
                fields(clip_total, 6) + ", \"psnr_min\": " + number(psnr(max_mse, peak), 6, true) +
                ", \"psnr_max\": " + number(psnr(min_mse, peak), 6, true) + "}\n}\n";
    } else {
        text = "# " + path[0] + " against " + path[1] + ": " + describe(info) + ", " +
               std::to_string(info.bit_depth) + "-bit, " + std::to_string(frames) +
               " frames; sad: mean luma SAD per pixel; satd8x8: mean luma 8x8 SATD per block "
               "(edge blocks padded with equal samples)\nframe";
        for (int k = 0; k < planes; ++k)
            text += std::string("   psnr_") + kPlaneNames[k];
        text += " psnr_all        sad    satd8x8\n";
        auto row = [&](const std::string &label, const Metrics &m) {
            char cell[64];
            std::snprintf(cell, sizeof cell, "%5s", label.c_str());
            std::string s = cell;
            for (int k = 0; k < planes; ++k) {
                std::snprintf(cell, sizeof cell, " %9s", number(psnr(m.mse[k], peak), 4).c_str());
                s += cell;
            }
            std::snprintf(cell, sizeof cell, " %8s %10.4f %10.4f\n",
                          number(psnr(m.mse_all, peak), 4).c_str(), m.sad_per_pixel,
                          m.satd_per_block);
            return s + cell;
        };
        for (size_t n = 0; n < frames; ++n)
            text += row(std::to_string(n), per_frame[n]);
        text += row("all", clip_total);
        // The psnr filter's own summary line, for a side-by-side look.
        text += "PSNR";
        for (int k = 0; k < planes; ++k)
            text +=
                std::string(" ") + kPlaneNames[k] + ":" + number(psnr(clip_total.mse[k], peak), 6);
        text += " average:" + number(psnr(clip_total.mse_all, peak), 6) +
                " min:" + number(psnr(max_mse, peak), 6) +
                " max:" + number(psnr(min_mse, peak), 6) + "\n";
    }
    Output out(io, "-");
    out.bytes().assign(text.begin(), text.end());
    std::string error;
    if (!out.commit(&error))
        return fail(io, "-", error);
    return kExitOk;
}

}  // namespace ozmu_tool
