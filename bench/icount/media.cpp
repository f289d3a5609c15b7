// Instructions of the key-frame test on H.264, the exported scanner against the one-offset-at-a-
// time definition: per access unit over the committed x264 stream (the scan stops at the first
// slice), and per byte over the same stream with its slices retyped as filler data (the
// start-code search crosses every byte). Prints a legend; arm-icount prints "tag count".
#include <cstdint>
#include <cstdio>
#include <vector>

#include "icount.h"
#include "media/keyframe.h"
#include "media_streams.h"
#include "ozmu.h"

namespace {

using Detect = int (*)(int, const uint8_t *, int);

template <class Run>
void measure(long tag, const char *what, long items, Run run)
{
    run();  // warm the code and the pages
    icount_mark(tag);
    const int keys = run();
    icount_mark(tag + 1);
    std::printf("tags %ld..%ld: %s, %ld items, result %d\n", tag, tag + 1, what, items, keys);
}

}  // namespace

int main()
{
    const ozmu::bench::Stream &s = ozmu::bench::h264_stream();
    if (s.units.empty())
        return 1;
    // A tenth of the stream is plenty for exact counts.
    const size_t units = s.units.size() / 10;
    const auto per_unit = [&](Detect detect) {
        int keys = 0;
        for (size_t i = 0; i < units; ++i)
            keys += detect(OZMU_MT_H264, s.bytes.data() + s.units[i].first, s.units[i].second);
        return keys;
    };
    measure(10, "ozmu_is_vkeyfrm per access unit", long(units),
            [&] { return per_unit(ozmu_is_vkeyfrm); });
    measure(20, "definition per access unit", long(units),
            [&] { return per_unit(ozmu::ref::is_vkeyfrm); });

    const std::vector<uint8_t> bytes = ozmu::bench::without_slices(s);
    const int size = int(s.units[units].first);
    measure(30, "ozmu_is_vkeyfrm over slice-free bytes", size,
            [&] { return ozmu_is_vkeyfrm(OZMU_MT_H264, bytes.data(), size); });
    measure(40, "definition over slice-free bytes", size,
            [&] { return ozmu::ref::is_vkeyfrm(OZMU_MT_H264, bytes.data(), size); });
    return 0;
}
