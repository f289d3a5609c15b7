// The committed x264 access units of tests/data/media, repeated to a long H.264 stream, for the
// key-frame benchmarks (host and AArch64 instruction counts), and the same stream with every
// slice retyped as filler data so that a scan crosses every byte.
#pragma once
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ozmu.h"

namespace ozmu::bench {

constexpr size_t kStreamBytes = size_t{8} << 20;

struct Stream {
    std::vector<uint8_t> bytes;  // access units back to back, one readable byte after the last
    std::vector<std::pair<size_t, int>> units;  // offset, size
};

// Every H.264 packet listed in packets.tsv, in order, repeated up to kStreamBytes.
inline const Stream &h264_stream()
{
    static const Stream stream = [] {
        const auto dir = std::filesystem::path(OZMU_BENCH_MEDIA_DIR);
        std::vector<std::vector<uint8_t>> packets;
        std::ifstream table(dir / "packets.tsv");
        std::string line, file, fourcc, last_file;
        std::vector<uint8_t> contents;
        size_t at = 0;
        std::getline(table, line);
        while (std::getline(table, line)) {
            std::istringstream cells(line);
            size_t size = 0;
            cells >> file >> fourcc >> size;
            if (file != last_file) {
                std::ifstream in(dir / file, std::ios::binary);
                contents.assign(std::istreambuf_iterator<char>(in), {});
                last_file = file;
                at = 0;
            }
            if (ozmu_fcc2mt_vid(OZMU_FOURCC(fourcc[0], fourcc[1], fourcc[2], fourcc[3])) ==
                    OZMU_MT_H264 &&
                at + size <= contents.size())
                packets.emplace_back(contents.begin() + long(at),
                                     contents.begin() + long(at + size));
            at += size;
        }
        Stream s;
        while (!packets.empty() && s.bytes.size() < kStreamBytes)
            for (const auto &p : packets) {
                s.units.emplace_back(s.bytes.size(), int(p.size()));
                s.bytes.insert(s.bytes.end(), p.begin(), p.end());
            }
        s.bytes.push_back(0);
        return s;
    }();
    return stream;
}

// The whole stream as one frame whose slice NAL units are retyped as filler data, with one
// readable byte after it.
inline std::vector<uint8_t> without_slices(const Stream &s)
{
    std::vector<uint8_t> bytes = s.bytes;
    for (size_t i = 0; i + 3 < bytes.size(); ++i)
        if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1 &&
            ((bytes[i + 3] & 0x1F) == 1 || (bytes[i + 3] & 0x1F) == 5))
            bytes[i + 3] = (bytes[i + 3] & 0xE0) | 12;  // filler data
    return bytes;
}

}  // namespace ozmu::bench
