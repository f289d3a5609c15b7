// Byte ring buffer with copying and zero-copy access and a CR LF line extractor. The index
// arithmetic, asymmetries included, is the interface: callers size their reads and writes by
// these exact numbers, so none of it is "corrected" here. Only where the literal arithmetic
// would leave the storage does it yield: a negative length moves nothing, and a read index
// that a line pushes past the end of storage wraps.
#include <algorithm>
#include <climits>
#include <cstring>

#include "container/container.h"

namespace ozmu::container {
namespace {

constexpr uint8_t kCr = '\r';
constexpr uint8_t kLf = '\n';

// Sizes leave room for size + 2, the longest line result, in an int.
constexpr int kMaxSize = INT_MAX - 2;

void copy_bytes(void *dst, const void *src, int n)
{
    if (n > 0)
        std::memcpy(dst, src, static_cast<size_t>(n));
}

bool is_empty(const ozmu_rbuf *rb) { return rb->write_index == rb->read_index; }

// One byte always stays free: full is the write index one behind the read index, modulo size.
bool is_full(const ozmu_rbuf *rb)
{
    return rb->write_index == static_cast<int>((int64_t{rb->read_index} + rb->size - 1) % rb->size);
}

int free_contiguous(const ozmu_rbuf *rb)
{
    const int w = rb->write_index, r = rb->read_index;
    if (r > w)
        return r - w - 1;
    return rb->size - w - (r == 0 ? 1 : 0);
}

int fill_contiguous(const ozmu_rbuf *rb)
{
    const int w = rb->write_index, r = rb->read_index;
    return (w < r ? rb->size : w) - r;
}

// Copies src[0, limit) to out up to and including the first line feed, whose position is
// returned; -1 when a zero byte or the limit comes first (the zero is copied too).
int copy_to_line_feed(uint8_t *out, const uint8_t *src, int64_t limit)
{
    for (int i = 0; i < limit; ++i) {
        out[i] = src[i];
        if (src[i] == 0)
            return -1;
        if (src[i] == kLf)
            return i;
    }
    return -1;
}

// The line in out ends at the line feed at out[lf]: a CR before it stays, otherwise one is put in
// its place and the LF moves one on. Returns the length through the LF.
int end_with_cr_lf(uint8_t *out, int lf)
{
    if (lf > 0 && out[lf - 1] == kCr)
        return lf + 1;
    out[lf] = kCr;
    out[lf + 1] = kLf;
    return lf + 2;
}

// Finishes a line that starts at the read index: CR LF, the zero, and the read index moved by
// the length, one byte more than the line held when a CR was put in. Past the end of storage
// the index wraps, as every index does, rather than leave the storage.
int take_line(ozmu_rbuf *rb, uint8_t *out, int lf)
{
    const int length = end_with_cr_lf(out, lf);
    out[length] = 0;
    int r = rb->read_index + length;
    if (r > rb->size)
        r -= rb->size;
    rb->read_index = r;
    return length;
}

}  // namespace

ozmu_rbuf *rbuf_create(int size, const Heap &heap)
{
    if (size < 1 || size > kMaxSize)
        return nullptr;
    auto *rb = static_cast<ozmu_rbuf *>(heap.allocate(sizeof(ozmu_rbuf)));
    if (!rb)
        return nullptr;
    rb->storage = static_cast<uint8_t *>(heap.allocate(static_cast<size_t>(size)));
    if (!rb->storage) {
        heap.release(rb);
        return nullptr;
    }
    // The line extractor may look at bytes that were never written: make them defined.
    std::memset(rb->storage, 0, static_cast<size_t>(size));
    rb->write_index = 0;
    rb->read_index = 0;
    rb->size = size;
    return rb;
}

}  // namespace ozmu::container

using namespace ozmu::container;

extern "C" {

ozmu_rbuf *ozmu_rbuf_create(int size) { return rbuf_create(size); }

void ozmu_rbuf_delete(ozmu_rbuf *rb)
{
    if (!rb)
        return;
    std::free(rb->storage);
    std::free(rb);
}

void ozmu_rbuf_empty(ozmu_rbuf *rb) { rb->read_index = rb->write_index; }

int ozmu_rbuf_get_tot_len(const ozmu_rbuf *rb) { return rb->size - 1; }

int ozmu_rbuf_is_empty(const ozmu_rbuf *rb) { return is_empty(rb) ? 1 : 0; }

int ozmu_rbuf_is_full(const ozmu_rbuf *rb) { return is_full(rb) ? 1 : 0; }

// Two more than the true free space unless the data wraps (size + 1 when empty).
int ozmu_rbuf_get_free_len(const ozmu_rbuf *rb)
{
    const int w = rb->write_index, r = rb->read_index;
    return r > w ? r - w - 1 : rb->size - w + r + 1;
}

// One less than the true fill when the data wraps.
int ozmu_rbuf_get_fill_len(const ozmu_rbuf *rb)
{
    const int w = rb->write_index, r = rb->read_index;
    return w >= r ? w - r : rb->size + w - r - 1;
}

int ozmu_rbuf_get_freec_len(const ozmu_rbuf *rb) { return free_contiguous(rb); }

int ozmu_rbuf_get_fillc_len(const ozmu_rbuf *rb) { return fill_contiguous(rb); }

int ozmu_rbuf_get_head(ozmu_rbuf *rb, uint8_t **ptr, int *len)
{
    if (is_full(rb)) {
        *ptr = nullptr;
        *len = 0;
    } else {
        *ptr = rb->storage + rb->write_index;
        *len = free_contiguous(rb);
    }
    return 0;
}

int ozmu_rbuf_get_tail(ozmu_rbuf *rb, uint8_t **ptr, int *len)
{
    if (is_empty(rb)) {
        *ptr = nullptr;
        *len = 0;
    } else {
        *ptr = rb->storage + rb->read_index;
        *len = fill_contiguous(rb);
    }
    return 0;
}

int ozmu_rbuf_skip_head(ozmu_rbuf *rb, int n)
{
    if (n < 0 || is_full(rb))
        return 0;
    const int w = rb->write_index, r = rb->read_index;
    if (r > w) {
        const int k = std::min(n, r - w - 1);
        rb->write_index = w + k;
        return k;
    }
    const int room = rb->size - w;
    if (room > n) {
        rb->write_index = w + n;
        return n;
    }
    if (r == 0)  // reports a commit without making it; -1 when the write index is at size
        return std::min(room - 1, n);
    const int wrapped = r > n - room ? n - room : r - 1;
    rb->write_index = wrapped;
    return room + wrapped;
}

int ozmu_rbuf_skip_tail(ozmu_rbuf *rb, int n)
{
    if (n < 0 || is_empty(rb))
        return 0;
    const int w = rb->write_index, r = rb->read_index;
    if (w > r) {
        const int k = std::min(w - r, n);
        rb->read_index = r + k;
        return k;
    }
    const int to_end = rb->size - r;
    if (to_end > n) {
        rb->read_index = r + n;
        return n;
    }
    const int k = std::min(n - to_end, w);
    rb->read_index = k;
    return to_end + k;
}

// All or nothing. With the read index at 0 the data may fill the whole storage, leaving the
// write index at size until something is read.
int ozmu_rbuf_put(ozmu_rbuf *rb, const void *src, int n)
{
    if (n < 0 || is_full(rb))
        return 0;
    const auto *bytes = static_cast<const uint8_t *>(src);
    const int w = rb->write_index, r = rb->read_index;
    if (r > w) {
        if (r - w <= n)
            return 0;
        copy_bytes(rb->storage + w, bytes, n);
        rb->write_index = w + n;
        return n;
    }
    const int room = rb->size - w;
    if (room > n || (r == 0 && room == n)) {
        copy_bytes(rb->storage + w, bytes, n);
        rb->write_index = w + n;
        return n;
    }
    if (r == 0)
        return 0;
    // The first part goes in before the second is known to fit; on refusal it stays written
    // but uncommitted.
    copy_bytes(rb->storage + w, bytes, room);
    const int rest = n - room;
    if (r <= rest)
        return 0;
    rb->write_index = rest;
    copy_bytes(rb->storage, bytes + room, rest);
    return n;
}

int ozmu_rbuf_get(ozmu_rbuf *rb, void *dst, int n)
{
    if (n < 0 || is_empty(rb))
        return 0;
    auto *out = static_cast<uint8_t *>(dst);
    const int w = rb->write_index, r = rb->read_index;
    if (w > r) {
        const int k = std::min(w - r, n);
        copy_bytes(out, rb->storage + r, k);
        rb->read_index = r + k;
        return k;
    }
    const int to_end = rb->size - r;
    if (to_end < n) {
        copy_bytes(out, rb->storage + r, to_end);
        const int k = std::min(n - to_end, w);
        copy_bytes(out + to_end, rb->storage, k);
        rb->read_index = k;
        return to_end + k;
    }
    copy_bytes(out, rb->storage + r, n);
    rb->read_index = (r + n) % rb->size;
    return n;
}

int ozmu_rbuf_get_one_line(ozmu_rbuf *rb, char *dst, int cap)
{
    if (is_empty(rb))
        return 0;
    auto *out = reinterpret_cast<uint8_t *>(dst);
    const uint8_t *storage = rb->storage;
    const int w = rb->write_index, r = rb->read_index, size = rb->size;
    if (w > r) {
        const int64_t limit = std::min<int64_t>(w - r, int64_t{cap} - 1);
        const int lf = copy_to_line_feed(out, storage + r, limit);
        return lf < 0 ? 0 : take_line(rb, out, lf);
    }
    // Wrapped: the first segment runs to the end of storage and is copied whatever cap is.
    const int to_end = size - r;
    const int lf = copy_to_line_feed(out, storage + r, to_end);
    if (lf >= 0)
        return take_line(rb, out, lf);
    if (to_end >= cap)
        return 0;
    // A CR LF split by the wrap: the LF is taken, the byte after it is left as it was and the
    // zero goes one further, with the length counting both.
    if (storage[size - 1] == kCr && storage[0] == kLf) {
        out[to_end] = kLf;
        out[to_end + 2] = 0;
        rb->read_index = 1;
        return to_end + 2;
    }
    // The rest of the line from the start of storage; the CR rule looks at this part alone.
    uint8_t *second = out + to_end;
    const int64_t limit = std::min<int64_t>(w, int64_t{cap} - to_end);
    const int lf2 = copy_to_line_feed(second, storage, limit);
    if (lf2 < 0)
        return 0;
    const int length = end_with_cr_lf(second, lf2);
    second[length] = 0;
    rb->read_index = length;
    return to_end + length;
}

}  // extern "C"
