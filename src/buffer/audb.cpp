// Audio buffer: one sample buffer per channel (planar) or one for all channels (interleaved),
// reference counted like every buffer object.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "buffer/counted.h"
#include "buffer/imgb_internal.h"
#include "ozmu.h"

namespace {

constexpr int kMaxBuffers = 8;

// Layout identifiers 1..99 name interleaved arrangements.
bool is_interleaved(int layout) { return layout >= 1 && layout <= 99; }

void free_buffers(ozmu_audb *a, int slots)
{
    if (!a->buf_free)
        return;  // a caller's allocator without a free callback keeps its memory
    for (int i = 0; i < slots; ++i)
        if (a->buf[i])
            a->buf_free(a->buf[i], a->buf_aux[i]);
}

void audb_free_payload(ozmu_audb *a) { free_buffers(a, kMaxBuffers); }

int audb_addref(ozmu_audb *a) { return ozmu::counted_addref(a); }
int audb_getref(ozmu_audb *a) { return ozmu::counted_getref(a); }
int audb_release(ozmu_audb *a) { return ozmu::counted_release(a, audb_free_payload); }

}  // namespace

extern "C" {

ozmu_audb *ozmu_audb_create(int samples, int channels, int bits, int rate, int layout, uint64_t,
                            ozmu_fn_alloc buf_alloc, ozmu_fn_free buf_free, int *err)
{
    if (!buf_alloc) {
        buf_alloc = ozmu::imgb_alloc_frm;  // the aligned allocator, as for image frames
        buf_free = ozmu::imgb_free_frm;
    }
    auto *a = ozmu::new_zeroed_record<ozmu_audb>();
    if (!a) {
        ozmu::store_err(err, OZMU_ERR_MALLOC);
        return nullptr;
    }
    a->buf_alloc = buf_alloc;
    a->buf_free = buf_free;

    // Sizes wrap rather than overflow, all in 32-bit unsigned arithmetic (bits + 7 included): a
    // wrapped size is the caller's mistake either way.
    const uint32_t channel_bytes =
        ((static_cast<uint32_t>(bits) + 7u) >> 3) * static_cast<uint32_t>(samples);
    const bool interleaved = is_interleaved(layout);
    // More than eight planar channels do not fit the record: only the first eight are served.
    const int slots = interleaved ? 1 : std::clamp(channels, 0, kMaxBuffers);
    const int bytes = static_cast<int>(interleaved ? channel_bytes * static_cast<uint32_t>(channels)
                                                   : channel_bytes);
    bool failed = false;
    for (int i = 0; i < slots && !failed; ++i) {
        a->buf[i] = buf_alloc(bytes, &a->buf_aux[i]);
        a->num[i] = samples;
        a->size[i] = bytes;
        failed = !a->buf[i];
    }
    if (failed) {
        free_buffers(a, slots);
        std::free(a);
        ozmu::store_err(err, OZMU_ERR_ALLOC_FRAME);
        return nullptr;
    }

    a->channels = channels;
    a->bits = bits;
    a->rate = rate;
    a->interleaved = interleaved ? 1 : 0;
    a->layout = layout;
    ozmu::counted_start(a, audb_addref, audb_getref, audb_release);
    ozmu::store_err(err, OZMU_OK);
    return a;
}

}  // extern "C"
