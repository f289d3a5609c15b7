// Slot list: lending order, reuse order, the one-slot and empty pools, allocation failures; then
// random sequences against a model of the slot chain, with the record's links and each taken
// buffer's contents checked after every step.
#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"
#include "container_test.h"

namespace {

using namespace ozmu::test;
using ozmu::container::Slot;

TEST(Rlist, LendsInOrderAndReusesLast)
{
    ozmu_rlist *pool = ozmu_rlist_create(16, 3);
    std::vector<int> free_counts{ozmu_rlist_get_free_cnt(pool)};
    void *a = ozmu_rlist_get_buf(pool);
    free_counts.push_back(ozmu_rlist_get_free_cnt(pool));
    void *b = ozmu_rlist_get_buf(pool);
    free_counts.push_back(ozmu_rlist_get_free_cnt(pool));
    EXPECT_EQ(ozmu_rlist_get_data(pool), a);
    ozmu_rlist_rem_data(pool);
    EXPECT_EQ(ozmu_rlist_get_data(pool), b);
    EXPECT_EQ(ozmu_rlist_get_used_cnt(pool), 1);
    // A slot given back is the last free one to be lent again.
    void *c = ozmu_rlist_get_buf(pool);
    EXPECT_EQ(ozmu_rlist_get_buf(pool), a);
    free_counts.push_back(ozmu_rlist_get_free_cnt(pool));
    EXPECT_EQ(ozmu_rlist_get_buf(pool), nullptr);
    EXPECT_EQ(free_counts, (std::vector<int>{3, 2, 1, 0}));
    EXPECT_TRUE(a != b && b != c && c != a && a && b && c);
    EXPECT_EQ(ozmu_rlist_get_data(pool), b);
    ozmu_rlist_rem_all(pool);
    EXPECT_EQ(ozmu_rlist_get_used_cnt(pool), 0);
    EXPECT_EQ(ozmu_rlist_get_data(pool), nullptr);
    ozmu_rlist_rem_data(pool);  // nothing taken: nothing happens
    EXPECT_EQ(ozmu_rlist_get_free_cnt(pool), 3);
    ozmu_rlist_delete(pool);
}

TEST(Rlist, PoolsBelowTwoSlots)
{
    // One slot: lent, given back (the chain has no other slot to become the back), lent again.
    ozmu_rlist *pool = ozmu_rlist_create(8, 1);
    void *only = ozmu_rlist_get_buf(pool);
    ASSERT_NE(only, nullptr);
    EXPECT_EQ(ozmu_rlist_get_buf(pool), nullptr);
    ozmu_rlist_rem_data(pool);
    EXPECT_EQ(ozmu_rlist_get_data(pool), nullptr);
    EXPECT_EQ(ozmu_rlist_get_buf(pool), only);
    ozmu_rlist_rem_all(pool);
    EXPECT_EQ(ozmu_rlist_get_buf(pool), only);
    EXPECT_EQ(pool->front, pool->back);
    ozmu_rlist_delete(pool);

    // Capacity 0 or less: one slot exists, none is lent, the free count is the capacity.
    for (int capacity : {0, -3}) {
        pool = ozmu_rlist_create(8, capacity);
        EXPECT_EQ(ozmu_rlist_get_buf(pool), nullptr);
        EXPECT_EQ(ozmu_rlist_get_data(pool), nullptr);
        ozmu_rlist_rem_data(pool);
        ozmu_rlist_rem_all(pool);
        EXPECT_EQ(ozmu_rlist_get_free_cnt(pool), capacity);
        EXPECT_EQ(ozmu_rlist_get_used_cnt(pool), 0);
        ozmu_rlist_delete(pool);
    }
    EXPECT_EQ(ozmu_rlist_create(-1, 4), nullptr);
    ozmu_rlist_delete(nullptr);
}

TEST(Rlist, AllocationFailuresLeaveNothing)
{
    using namespace ozmu::container;
    for (int capacity : {-1, 0, 1, 2, 5})
        EXPECT_EQ(1 + std::max(capacity, 1),
                  expect_clean_failures(
                      [capacity](const Heap &heap) { return rlist_create(24, capacity, heap); },
                      ozmu_rlist_delete))
            << capacity;
}

// The chain from front to back as the record links it, checked in both directions.
std::vector<void *> chain_of(const ozmu_rlist *pool)
{
    std::vector<void *> chain;
    const Slot *prev = nullptr;
    for (Slot *s = pool->front; s; prev = s, s = s->toward_back) {
        EXPECT_EQ(s->toward_front, prev);
        chain.push_back(ozmu::container::payload(s));
    }
    EXPECT_EQ(prev ? ozmu::container::payload(const_cast<Slot *>(prev)) : nullptr,
              pool->back ? ozmu::container::payload(pool->back) : nullptr);
    return chain;
}

// Taken slot k (0 = oldest) is k steps in front of the back; giving back moves the back slot to
// the front. Each taken buffer is filled with its own pattern, which must survive until it is
// given back.
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
        std::string ops;
        for (int step = 0; step < 100; ++step) {
            const int op = rng.range(0, 9);
            ops += std::to_string(op) + " ";
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
            const std::string where = "capacity " + std::to_string(capacity) + " ops: " + ops +
                                      seed_note();
            ASSERT_EQ(got, want) << where;
            ASSERT_EQ(ozmu_rlist_get_used_cnt(pool), used) << where;
            ASSERT_EQ(ozmu_rlist_get_free_cnt(pool), capacity - used) << where;
            ASSERT_EQ(chain_of(pool), chain) << where;
            for (const auto &[buf, bytes] : contents)
                ASSERT_TRUE(same_bytes(bytes.data(), buf, bytes.size())) << where;
        }
        ozmu_rlist_delete(pool);
    }
}

}  // namespace
