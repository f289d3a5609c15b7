// Slot list: allocation failures, then random sequences against a model of the slot chain, with
// the record's links and each taken buffer's contents checked after every step.
#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"
#include "container_test.h"

namespace {

using namespace ozmu::test;
using ozmu::container::payload;
using ozmu::container::Slot;

TEST(Rlist, AllocationFailuresLeaveNothing)
{
    using namespace ozmu::container;
    for (int capacity : {-1, 0, 1, 2, 5})
        EXPECT_EQ(1 + std::max(capacity, 1),
                  expect_clean_failures(
                      [capacity](const Heap &heap) { return rlist_create(24, capacity, heap); },
                      ozmu_rlist_delete))
            << capacity;
    EXPECT_EQ(ozmu_rlist_create(-1, 4), nullptr);
    ozmu_rlist_delete(nullptr);
}

// The chain from front to back as the record links it, checked in both directions; a cycle
// shows as one slot too many rather than a hang.
std::vector<void *> chain_of(const ozmu_rlist *pool)
{
    std::vector<void *> chain;
    const Slot *prev = nullptr;
    const size_t slots = size_t(std::max(pool->capacity, 1));
    for (Slot *s = pool->front; s && chain.size() <= slots; prev = s, s = s->toward_back) {
        EXPECT_EQ(s->toward_front, prev);
        chain.push_back(payload(s));
    }
    EXPECT_EQ(prev ? payload(const_cast<Slot *>(prev)) : nullptr,
              pool->back ? payload(pool->back) : nullptr);
    return chain;
}

// Taken slot k (0 = oldest) is k steps in front of the back; giving back moves the back slot to
// the front, so it is the last free slot to be taken again. A capacity below 2 still gets one
// slot, but the free count stays capacity - used. Each taken buffer is filled with its own
// pattern, which must survive until it is given back.
TEST(RlistModel, RandomOperationSequences)
{
    Rng rng(0x5107);
    for (int round = 0; round < 1500; ++round) {
        const int capacity = rng.range(-1, 9), buf_size = rng.range(0, 48);
        ozmu_rlist *pool = ozmu_rlist_create(buf_size, capacity);
        std::vector<void *> chain = chain_of(pool);
        ASSERT_EQ(chain.size(), size_t(std::max(capacity, 1)));
        int used = 0;
        std::map<void *, std::vector<uint8_t>> contents;
        SCOPED_TRACE(round_note(round));
        for (int step = 0; step < 100; ++step) {
            const int op = rng.range(0, 9);
            void *got = nullptr, *want = nullptr;
            if (op < 4) {
                got = ozmu_rlist_get_buf(pool);
                if (used < capacity) {
                    want = chain[chain.size() - 1 - used++];
                    std::vector<uint8_t> fill(static_cast<size_t>(buf_size));
                    rng.fill(fill.data(), fill.size());
                    if (got && buf_size)
                        std::memcpy(got, fill.data(), fill.size());
                    contents[want] = fill;
                }
            } else if (op < 6) {
                got = ozmu_rlist_get_data(pool);
                want = used ? chain.back() : nullptr;
            } else if (op < 9 || rng.range(0, 3) == 0) {
                const bool all = op == 9;
                all ? ozmu_rlist_rem_all(pool) : ozmu_rlist_rem_data(pool);
                for (int k = all ? used : std::min(used, 1); k > 0; --k, --used) {
                    void *given = chain.back();
                    contents.erase(given);
                    chain.pop_back();
                    chain.insert(chain.begin(), given);
                }
            }
            ASSERT_EQ(got, want);
            ASSERT_EQ(ozmu_rlist_get_used_cnt(pool), used);
            ASSERT_EQ(ozmu_rlist_get_free_cnt(pool), capacity - used);
            ASSERT_EQ(chain_of(pool), chain);
            for (const auto &[buf, bytes] : contents)
                ASSERT_TRUE(same_bytes(bytes.data(), buf, bytes.size()));
        }
        ozmu_rlist_delete(pool);
    }
}

}  // namespace
