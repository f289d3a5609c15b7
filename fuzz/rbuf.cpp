// Ring buffer driven by the input: the first byte picks the size (1..64), then each pair of bytes
// is an operation and a length (-1 .. size + 2); puts and in-place writes take that many bytes
// from the input that follows. Every line destination is an exact heap block of the documented
// max(cap, size) + 2 bytes, every get buffer exactly n bytes, so ASan catches any write beyond.
// After every operation the indices stay within the storage and the results within their ranges.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "container/container.h"
#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;
using ozmu::fuzz::Input;

void check_state(const ozmu_rbuf *rb)
{
    const int size = rb->size;
    check(rb->write_index >= 0 && rb->write_index <= size);
    check(rb->read_index >= 0 && rb->read_index <= size);
    const int fillc = ozmu_rbuf_get_fillc_len(rb), freec = ozmu_rbuf_get_freec_len(rb);
    check(fillc >= 0 && rb->read_index + fillc <= size);
    check(freec >= -1 && rb->write_index + freec <= size);
    check(ozmu_rbuf_is_empty(rb) == (rb->write_index == rb->read_index));
    check(ozmu_rbuf_get_tot_len(rb) == size - 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input in{data, size};
    const int rb_size = 1 + in.byte() % 64;
    ozmu_rbuf *rb = ozmu_rbuf_create(rb_size);
    if (!rb)
        return 0;
    while (!in.done()) {
        const int op = in.byte() % 8;
        const int n = in.byte() % (rb_size + 4) - 1;
        uint8_t *region = nullptr;
        int len = 0;
        switch (op) {
        case 0:
        case 1: {
            std::vector<uint8_t> src = in.bytes(n);
            src.resize(static_cast<size_t>(std::max(n, 0)), '\n');
            const int k = ozmu_rbuf_put(rb, src.data(), n);
            check(k == 0 || k == n);
            break;
        }
        case 2: {
            std::vector<uint8_t> dst(static_cast<size_t>(std::max(n, 0)));
            const int k = ozmu_rbuf_get(rb, dst.data(), n);
            check(k >= 0 && k <= std::max(n, 0));
            break;
        }
        case 3:
        case 4: {
            const int cap = n;
            std::vector<uint8_t> dst(static_cast<size_t>(std::max(cap, rb_size)) + 2);
            const int k = ozmu_rbuf_get_one_line(rb, reinterpret_cast<char *>(dst.data()), cap);
            check(k == 0 || (k >= 2 && static_cast<size_t>(k) < dst.size()));
            // CR LF and a zero, or the wrap-split form: LF, one unwritten byte, zero.
            if (k > 0)
                check(dst[k] == 0 &&
                      ((dst[k - 2] == '\r' && dst[k - 1] == '\n') || dst[k - 2] == '\n'));
            break;
        }
        case 5: {
            ozmu_rbuf_get_head(rb, &region, &len);
            check(region ? region >= rb->storage && len >= -1 : len == 0);
            const std::vector<uint8_t> src = in.bytes(std::min(len, n));
            std::copy(src.begin(), src.end(), region);
            const int k = ozmu_rbuf_skip_head(rb, n);
            check(k >= -1 && k <= std::max(n, 0));
            break;
        }
        case 6: {
            ozmu_rbuf_get_tail(rb, &region, &len);
            check(region ? region >= rb->storage && len >= 0 : len == 0);
            volatile unsigned sum = 0;  // reads the whole region
            for (int i = 0; i < len; ++i)
                sum = sum + region[i];
            const int k = ozmu_rbuf_skip_tail(rb, n);
            check(k >= 0 && k <= std::max(n, 0));
            break;
        }
        default:
            if (n < 0)
                ozmu_rbuf_empty(rb);
            (void)ozmu_rbuf_get_free_len(rb);
            (void)ozmu_rbuf_get_fill_len(rb);
            (void)ozmu_rbuf_is_full(rb);
        }
        check_state(rb);
    }
    ozmu_rbuf_delete(rb);
    return 0;
}
