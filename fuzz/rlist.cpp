// Slot list under random operation sequences, compared with a model of the slot chain (front to
// back, each slot's buffer learnt when it is first lent): a take lends the slot used steps in
// front of the back, a give-back moves the back slot to the front, so the FIFO order, the
// counts, the exhaustion at capacity (one slot for a capacity below 2, none lent at 0 or less)
// and the reuse order all follow. Every lent buffer is filled whole (buf_size bytes, checked by
// ASan) with a pattern that must still be there when it is peeked at.
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    size_t pos = 0;
    auto byte = [&] { return pos < size ? data[pos++] : uint8_t(0); };
    const int buf_size = byte() % 48, capacity = byte() % 14 - 1;
    ozmu_rlist *pool = ozmu_rlist_create(buf_size, capacity);
    check(pool != nullptr);
    // chain[0] is the front; nullptr marks a slot whose buffer has not been lent yet.
    std::vector<uint8_t *> chain(static_cast<size_t>(capacity < 2 ? 1 : capacity), nullptr);
    std::vector<uint8_t> mark(chain.size());  // pattern byte of each lent buffer, by chain index
    int used = 0;
    uint8_t stamp = 0;
    auto check_state = [&] {
        check(ozmu_rlist_get_used_cnt(pool) == used &&
              ozmu_rlist_get_free_cnt(pool) == capacity - used);
        uint8_t *oldest = static_cast<uint8_t *>(ozmu_rlist_get_data(pool));
        check(oldest == (used ? chain.back() : nullptr));
        for (int i = 0; oldest && i < buf_size; ++i)
            check(oldest[i] == static_cast<uint8_t>(mark.back() + i));
    };
    while (pos < size) {
        const int op = byte() % 8;
        if (op < 4) {  // take
            auto *buf = static_cast<uint8_t *>(ozmu_rlist_get_buf(pool));
            if (used >= capacity) {
                check(buf == nullptr);
            } else {
                const size_t at = chain.size() - 1 - static_cast<size_t>(used);
                if (!chain[at])
                    for (uint8_t *known : chain)
                        check(known != buf);  // a slot not lent before has a buffer of its own
                check(buf && (!chain[at] || chain[at] == buf));
                chain[at] = buf;
                mark[at] = ++stamp;
                for (int i = 0; i < buf_size; ++i)
                    buf[i] = static_cast<uint8_t>(stamp + i);
                ++used;
            }
        } else if (op < 7 && op != 6) {  // give back the oldest
            ozmu_rlist_rem_data(pool);
            if (used) {
                chain.insert(chain.begin(), chain.back());
                mark.insert(mark.begin(), mark.back());
                chain.pop_back(), mark.pop_back();
                --used;
            }
        } else if (byte() % 4 == 0) {
            ozmu_rlist_rem_all(pool);
            for (; used; --used) {
                chain.insert(chain.begin(), chain.back());
                mark.insert(mark.begin(), mark.back());
                chain.pop_back(), mark.pop_back();
            }
        }
        check_state();
    }
    ozmu_rlist_delete(pool);
    return 0;
}
