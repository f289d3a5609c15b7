// The ozmu tool's Y4M reader on arbitrary bytes: it either refuses with a message or indexes
// frames that lie wholly inside the input, in order and without overlap. An accepted stream is
// written back through the frame views (so every byte a view covers is read, and ASan flags a
// view past the end) and must parse to the same picture description and frame bytes.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "ozmu.h"
#include "y4m.h"

using ozmu::fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ozmu_tool::Y4mFile file;
    std::string error;
    if (!ozmu_tool::y4m_parse(data, size, &file, &error)) {
        check(!error.empty());
        return 0;
    }
    const ozmu_tool::Y4mInfo &info = file.info;
    int planes = 0;
    size_t min_stride[4];
    int rows[4];
    check(ozmu_frame_layout(info.format, info.width, info.height, &planes, min_stride, rows) ==
          OZMU_OK);
    size_t end = info.header.size() + 1;
    for (size_t i = 0; i < file.frame_count(); ++i) {
        check(file.frame_data[i] >= end + 6 && file.frame_data[i] + file.frame_size <= size);
        end = file.frame_data[i] + file.frame_size;
        const ozmu_frame f = file.frame(i);
        check(f.format == info.format && f.width == info.width && f.height == info.height);
        for (int k = 0; k < planes; ++k) {
            check(f.plane[k] >= data + file.frame_data[i] &&
                  f.stride[k] == static_cast<ptrdiff_t>(min_stride[k]) &&
                  f.plane[k] + f.stride[k] * rows[k] <= data + end);
        }
    }
    check(end == size || file.frame_count() == 0);

    std::vector<uint8_t> written;
    check(ozmu_tool::y4m_write_header(info, &written));
    for (size_t i = 0; i < file.frame_count(); ++i)
        ozmu_tool::y4m_write_frame(file.frame(i), &written);
    ozmu_tool::Y4mFile again;
    check(ozmu_tool::y4m_parse(written.data(), written.size(), &again, &error));
    check(again.info.width == info.width && again.info.height == info.height &&
          again.info.format == info.format && again.info.siting == info.siting &&
          again.info.range == info.range && again.frame_count() == file.frame_count());
    for (size_t i = 0; i < file.frame_count(); ++i)
        check(!std::memcmp(data + file.frame_data[i], written.data() + again.frame_data[i],
                           file.frame_size));
    return 0;
}
