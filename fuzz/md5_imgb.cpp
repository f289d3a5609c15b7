// Image digest on random image records: every plane is an exact heap block of the bytes the rules
// read (rows y .. height - 1 of width - x bytes for luma; 4:2:0 rows and (width + 1 - x) / 2
// bytes for planes 1 and 2 whatever the format; no alpha), so ASan flags any byte read beyond
// them, and the digest must equal ozmu_md5_update over exactly those rows. Null chroma pointers
// are skipped; formats outside 10..99 return -211 and leave the digest untouched.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;
using ozmu::fuzz::Input;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const int kFormats[] = {10, 11, 12, 13, 18,  20,  22,  41,  43,  45,
                                   60, 62, 99, 9,  100, 200, 400, 500, 600, -11};
    Input in{data, size};
    ozmu_imgb img{};
    img.width = in.pick(0, 70);
    img.height = in.pick(0, 40);
    img.x = in.pick(0, img.width);
    img.y = in.pick(0, img.height);
    img.cs = kFormats[in.byte() % std::size(kFormats)];
    const int planes = img.cs == OZMU_CS_YUV400 ? 1 : 3;
    const int first[3] = {img.y, img.y >> 1, img.y >> 1};
    const int end[3] = {img.height, (img.height + 1) >> 1, (img.height + 1) >> 1};
    const int len[3] = {img.width - img.x, (img.width + 1 - img.x) >> 1,
                        (img.width + 1 - img.x) >> 1};
    std::vector<std::vector<uint8_t>> blocks(3);
    uint32_t seed = in.byte() * 0x01000193u + 1;
    for (int i = 0; i < 3; ++i) {
        img.stride[i] = len[i] + in.pick(0, 9);
        const bool absent = i > 0 && (in.byte() % 5 == 0 || i >= planes);
        if (absent || end[i] <= first[i]) {
            // Nothing of this plane is read: a null plane, or one byte that ASan will watch.
            blocks[i].resize(absent ? 0 : 1);
        } else {
            blocks[i].resize(size_t(end[i] - 1) * size_t(img.stride[i]) + size_t(len[i]));
        }
        for (uint8_t &v : blocks[i])
            v = static_cast<uint8_t>((seed = seed * 1103515245u + 12345u) >> 23);
        img.plane[i] = blocks[i].empty() ? nullptr : blocks[i].data();
    }
    // The exact-size copies ASan guards; the vectors above keep the expected contents.
    std::vector<std::unique_ptr<uint8_t[]>> exact;
    for (int i = 0; i < 3; ++i) {
        if (!img.plane[i])
            continue;
        exact.emplace_back(new uint8_t[blocks[i].size()]);
        std::memcpy(exact.back().get(), blocks[i].data(), blocks[i].size());
        img.plane[i] = exact.back().get();
    }

    uint8_t digest[16], expect[16];
    std::memset(digest, 0x5C, sizeof digest);
    const int rc = ozmu_md5_imgb(&img, digest);
    if (img.cs < 10 || img.cs > 99) {
        check(rc == OZMU_ERR_UNSUPPORTED_CS &&
              std::all_of(digest, digest + 16, [](uint8_t v) { return v == 0x5C; }));
        return 0;
    }
    ozmu_md5_ctx ctx{};
    ozmu_md5_init(&ctx);
    for (int i = 0; i < planes; ++i) {
        if (i > 0 && !img.plane[i])
            continue;
        for (int r = first[i]; r < end[i]; ++r)
            ozmu_md5_update(&ctx, blocks[i].data() + size_t(r) * size_t(img.stride[i]),
                            static_cast<unsigned>(len[i]));
    }
    ozmu_md5_finish(&ctx, expect);
    check(rc == 0 && !std::memcmp(digest, expect, 16));
    return 0;
}
