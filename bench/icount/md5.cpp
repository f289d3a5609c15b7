// Instructions per byte of MD5: one 1 MiB update, and the digest of a 1080p 4:2:0 picture.
// Prints a legend; arm-icount prints "tag count" at each mark.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "icount.h"
#include "ozmu.h"

namespace {

template <class Run>
void measure(long tag, const char *what, long bytes, Run run)
{
    run();  // warm the code and the pages
    icount_mark(tag);
    run();
    icount_mark(tag + 1);
    std::printf("tags %ld..%ld: %s, per byte = (count(%ld) - count(%ld)) / %ld\n", tag, tag + 1,
                what, tag + 1, tag, bytes);
}

}  // namespace

int main()
{
    constexpr unsigned kMessage = 1u << 20;
    std::vector<uint8_t> message(kMessage);
    for (unsigned i = 0; i < kMessage; ++i)
        message[i] = static_cast<uint8_t>(i * 2654435761u >> 24);
    uint8_t digest[16];

    measure(10, "ozmu_md5_update, 1 MiB", kMessage, [&] {
        ozmu_md5_ctx ctx{};
        ozmu_md5_update(ozmu_md5_init(&ctx), message.data(), kMessage);
        ozmu_md5_finish(&ctx, digest);
    });

    int err = 0;
    ozmu_imgb *img =
        ozmu_imgb_create(1920, 1080, OZMU_CS_YUV420, 0, nullptr, nullptr, nullptr, nullptr, &err);
    if (!img)
        return 1;
    measure(20, "ozmu_md5_imgb, 1920x1080 4:2:0", 1920 * 1080 * 3 / 2,
            [&] { ozmu_md5_imgb(img, digest); });
    img->release(img);
    return 0;
}
