// Bit buffer: one byte buffer for a compressed bitstream, reference counted. Its default memory
// is plain malloc: bitstreams are read byte-wise and need no alignment.
#include <cstdlib>
#include <cstring>

#include "buffer/counted.h"
#include "ozmu.h"

namespace {

void *bitb_alloc_buf(int size, uint64_t *aux)
{
    *aux = 0;
    // A negative size is refused here rather than turned into an enormous request.
    return size < 0 ? nullptr : std::malloc(static_cast<size_t>(size));
}

void bitb_free_buf(void *base, uint64_t)
{
    if (base)
        std::free(base);
}

void bitb_free_payload(ozmu_bitb *b)
{
    if (b->buf && b->buf_free)
        b->buf_free(b->buf, b->buf_aux);
}

int bitb_addref(ozmu_bitb *b) { return ozmu::counted_addref(b); }
int bitb_getref(ozmu_bitb *b) { return ozmu::counted_getref(b); }
int bitb_release(ozmu_bitb *b) { return ozmu::counted_release(b, bitb_free_payload); }

}  // namespace

extern "C" {

ozmu_bitb *ozmu_bitb_create(int alloc_size, int bsize, uint64_t, ozmu_fn_alloc buf_alloc,
                            ozmu_fn_free buf_free, int *err)
{
    // A caller's allocator comes with its free callback as given, even none at all.
    if (!buf_alloc) {
        buf_alloc = bitb_alloc_buf;
        buf_free = bitb_free_buf;
    }
    auto *b = ozmu::new_zeroed_record<ozmu_bitb>();
    if (!b) {
        ozmu::store_err(err, OZMU_ERR_MALLOC);
        return nullptr;
    }
    b->bsize = bsize;
    b->buf = buf_alloc(alloc_size, &b->buf_aux);
    if (!b->buf) {
        std::free(b);
        ozmu::store_err(err, OZMU_ERR_ALLOC_BUF);
        return nullptr;
    }
    b->buf_alloc = buf_alloc;
    b->buf_free = buf_free;
    ozmu::counted_start(b, bitb_addref, bitb_getref, bitb_release);
    ozmu::store_err(err, OZMU_OK);
    return b;
}

}  // extern "C"
