// Border expansion on random padded images: the frame is an exact-size heap block (so ASan sees
// any write beyond it) filled with random bytes, and after ozmu_imgb_expand every byte must equal
// a byte-level model of the rules (left border pv samples left of the picture and ph long, right
// border, then whole padded rows copied up and down). Borders are the creation padding, with any
// smaller vertical one; alignment is one word for every plane so that each plane holds the
// subsampled aligned size that expansion works on. Formats without
// expansion must return -211 and touch nothing. The three row helpers are checked on their own.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;
using ozmu::fuzz::Input;

void *exact_alloc(int size, uint64_t *aux)
{
    *aux = 0;
    return new uint8_t[static_cast<size_t>(size)];
}
void exact_free(void *base, uint64_t) { delete[] static_cast<uint8_t *>(base); }

bool expandable(int cs, int *bytes)
{
    *bytes = cs == 20 || (cs >= 60 && cs <= 64) ? 2 : 1;
    return *bytes == 2 || cs == 10 || cs == 11 || cs == 12 || cs == 13 || cs == 18 || cs == 22 ||
           (cs >= 41 && cs <= 44);
}

void check_helpers(Input &in)
{
    const int len = in.pick(1, 9), count = in.pick(-1, 6), rows = in.pick(1, 5);
    const int stride = in.pick(std::max(count, 1), 12), value = in.byte();
    std::vector<uint8_t> src(static_cast<size_t>(len), static_cast<uint8_t>(value));
    std::vector<uint8_t> dst(static_cast<size_t>(len * std::max(count, 0)));
    src[0] ^= 0x5A;
    ozmu_imgb_expand_hor(src.data(), dst.data(), len, count);
    for (size_t i = 0; i < dst.size(); ++i)
        check(dst[i] == src[i % size_t(len)]);
    const size_t span = size_t(rows - 1) * size_t(stride) + size_t(std::max(count, 1));
    std::vector<uint8_t> plane(span, 7);
    for (int r = 0; r < rows; ++r)
        plane[size_t(r) * size_t(stride)] = static_cast<uint8_t>(value + r);
    std::vector<uint8_t> expect = plane;
    for (int r = 0; r < rows && count > 0; ++r)
        std::fill_n(expect.begin() + long(r) * stride, count, uint8_t(value + r));
    ozmu_imgb_expand_ver(plane.data(), plane.data(), rows, stride, count);
    check(plane == expect);
    const int stride16 = 2 * std::max(count, 1) + (in.byte() & 1);  // odd strides round up
    std::vector<uint16_t> p16(
        size_t(rows - 1) * size_t(stride16 + 1) / 2 + size_t(std::max(count, 1)), 9);
    std::vector<uint16_t> e16 = p16;
    for (int r = 0; r < rows; ++r) {
        const size_t at = size_t(r) * size_t((stride16 + 1) / 2);
        p16[at] = e16[at] = static_cast<uint16_t>(value * 257 + r);
        std::fill_n(e16.begin() + long(at), std::max(count, 0), p16[at]);
    }
    ozmu_imgb_expand_ver_16(p16.data(), p16.data(), rows, stride16, count);
    check(p16 == e16);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const int kFormats[] = {10, 11, 12, 13, 18, 20, 22,  41,  42, 43,
                                   44, 60, 61, 62, 63, 64, 200, 400, 500};
    Input in{data, size};
    check_helpers(in);
    const int width = in.pick(1, 40), height = in.pick(1, 40);
    const int cs = kFormats[in.byte() % std::size(kFormats)];
    const uint32_t word = OZMU_HV(1u << in.pick(0, 4), 1u << in.pick(0, 4));
    const uint32_t align[4] = {word, word, word, word};
    uint32_t created[4], pad[4];
    for (int i = 0; i < 4; ++i) {
        // The row copies move whole strides from ph samples left of the picture: a ph below the
        // creation padding would carry them past the frame, so ph stays as created.
        const int ph = in.pick(0, 10), pvc = in.pick(0, 10);
        created[i] = OZMU_HV(ph, pvc);
        pad[i] = OZMU_HV(ph, in.pick(0, pvc));
    }
    int err;
    ozmu_imgb *img = ozmu_imgb_create(width, height, cs, 0, in.byte() & 1 ? align : nullptr,
                                      created, exact_alloc, exact_free, &err);
    check(img != nullptr);
    auto *base = static_cast<uint8_t *>(img->frame_base[0]);
    uint32_t seed = 0x9E3779B9u ^ static_cast<uint32_t>(in.byte());
    for (uint32_t i = 0; i < img->frame_size; ++i)
        base[i] = static_cast<uint8_t>((seed = seed * 1664525u + 1013904223u) >> 24);
    std::vector<uint8_t> model(base, base + img->frame_size);

    int b, w[4] = {img->aligned_width}, h[4] = {img->aligned_height}, planes;
    uint32_t elem[4];
    if (!expandable(cs, &b)) {
        check(ozmu_imgb_expand(img, pad) == OZMU_ERR_UNSUPPORTED_CS);
        check(std::equal(model.begin(), model.end(), base));
        img->release(img);
        return 0;
    }
    check(ozmu_imgb_get_dimension(cs, w, h, &planes, elem) == 0);
    for (int i = 0; i < planes; ++i) {
        const long s = img->stride[i], a = static_cast<uint8_t *>(img->plane[i]) - base;
        const long ph = pad[i] >> 16, pv = pad[i] & 0xFFFF;
        auto fill = [&](long at, long n, long from) {
            for (long k = 0; k < n; ++k)
                std::memmove(&model[size_t(at + k * b)], &model[size_t(from)], size_t(b));
        };
        for (long r = 0; r < h[i]; ++r)  // every left border first: with pv > ph it reaches
            fill(a + r * s - pv * b, ph, a + r * s);  // into the row above's right border
        for (long r = 0; r < h[i]; ++r)
            fill(a + r * s + w[i] * b, ph, a + r * s + (w[i] - 1) * b);
        for (long k = 1; k <= pv; ++k) {
            std::memmove(&model[size_t(a - ph * b - k * s)], &model[size_t(a - ph * b)], size_t(s));
            const long last = a + (h[i] - 1) * s - ph * b;
            std::memmove(&model[size_t(last + k * s)], &model[size_t(last)], size_t(s));
        }
    }
    check(ozmu_imgb_expand(img, pad) == 0);
    check(std::equal(model.begin(), model.end(), base));
    img->release(img);
    return 0;
}
