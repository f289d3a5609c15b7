// The counted region of the frame-conversion icount programs: one ozmu_convert through the active
// table and one through the portable reference, each after a warm-up call, with a legend line
// per pair of tags.
#pragma once
#include <cstddef>
#include <cstdio>

#include "csc/frame.h"
#include "icount.h"
#include "ozmu.h"

// Counts both versions of src -> dst, advancing tag by 4; false when a call fails.
inline bool count_convert(const ozmu_frame &src, const ozmu_frame &dst,
                          const ozmu_convert_opts &opts, const char *name, size_t pixels, long &tag)
{
    static const ozmu::frame::Table reference = ozmu::frame::table_for(0);
    for (int version = 0; version < 2; ++version) {
        const auto run = [&] {
            return version == 0 ? ozmu_convert(&src, &dst, &opts)
                                : ozmu::frame::convert(reference, &src, &dst, &opts);
        };
        if (run() != OZMU_OK)  // warm the code and the pages
            return false;
        icount_mark(tag);
        run();
        icount_mark(tag + 1);
        std::printf("tags %ld..%ld: %s %s, per pixel = (count(%ld) - count(%ld)) / %zu\n", tag,
                    tag + 1, version == 0 ? "ozmu_convert" : "reference", name, tag + 1, tag,
                    pixels);
        tag += 2;
    }
    return true;
}
