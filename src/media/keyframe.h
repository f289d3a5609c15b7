// Key-frame test on coded video frames.
//
// ozmu::ref::is_vkeyfrm is the definition, written as the rules read: one start-code test per
// byte offset. The exported function runs ozmu::media::is_vkeyfrm, which finds the candidate
// offsets (two zero bytes) a word at a time and must give the same answer on every input while
// reading no byte the definition does not read.
#pragma once
#include <cstdint>

namespace ozmu::ref {
int is_vkeyfrm(int mt, const uint8_t *data, int size);
}

namespace ozmu::media {
int is_vkeyfrm(int mt, const uint8_t *data, int size);

// First p in [from, last] with data[p] == data[p + 1] == 0, or -1. Needs last + 1 < size and
// reads nothing outside data[from .. size - 1].
int next_zero_pair(const uint8_t *data, int from, int last, int size);
}  // namespace ozmu::media
