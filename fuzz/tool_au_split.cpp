// The tool's access-unit splitter on arbitrary streams, under each codec and the sniffer: the
// units must tile the input from offset 0, carry a known picture type and the library's own
// answer for their bytes, and an I-VOP or a random-access unit must be consistent with its type.
// Each unit is checked in a copy of exactly its size, so a read past a unit shows up too.
#include <cstdint>
#include <cstring>
#include <memory>

#include "access_units.h"
#include "ozmu.h"

namespace {

using ozmu_tool::AccessUnit;
using ozmu_tool::Codec;

int media_type(Codec codec)
{
    switch (codec) {
    case Codec::kH264: return OZMU_MT_H264;
    case Codec::kHevc: return OZMU_MT_HEVC;
    case Codec::kMpeg4: return OZMU_MT_MPEG4;
    }
    return 0;
}

void check(Codec codec, const uint8_t *data, size_t size)
{
    const auto units = ozmu_tool::split_access_units(codec, data, size);
    size_t next = 0;
    for (const AccessUnit &u : units) {
        if (u.offset != next || u.size > size - u.offset || (u.size == 0 && u.offset != 0))
            __builtin_trap();
        next = u.offset + u.size;
        if (!std::strchr("IPBS?", u.picture_type))
            __builtin_trap();
        if (codec == Codec::kMpeg4 && u.random_access != (u.picture_type == 'I'))
            __builtin_trap();
        std::unique_ptr<uint8_t[]> copy(new uint8_t[u.size ? u.size : 1]);
        if (u.size)
            std::memcpy(copy.get(), data + u.offset, u.size);
        if (u.library_key != (ozmu_is_vkeyfrm(media_type(codec), copy.get(), int(u.size)) == 1))
            __builtin_trap();
    }
    if (units.empty() ? size >= 3 && memmem(data, size, "\0\0\1", 3) : next != size)
        __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > (1u << 20))
        return 0;
    // Exactly the input's size, so that the sanitizer sees any read past the stream.
    std::unique_ptr<uint8_t[]> stream(new uint8_t[size ? size : 1]);
    if (size)
        std::memcpy(stream.get(), data, size);
    for (Codec codec : {Codec::kH264, Codec::kHevc, Codec::kMpeg4})
        check(codec, stream.get(), size);
    Codec sniffed;
    if (ozmu_tool::sniff_codec(stream.get(), size, &sniffed))
        check(sniffed, stream.get(), size);
    return 0;
}
