// Shared by the container suites: a heap for the creators that refuses its n-th call and counts
// the blocks still out, so a test can show that a failed creation leaves nothing allocated; the
// note that names a failing random sequence.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "checkasm.h"

#include "container/container.h"

namespace ozmu::test {

class FailingHeap {
public:
    // fail_at: the 0-based call that returns null; -1 never fails.
    static container::Heap arm(int fail_at)
    {
        calls_ = live_ = 0;
        fail_at_ = fail_at;
        return {[](size_t size) -> void * {
                    if (calls_++ == fail_at_)
                        return nullptr;
                    ++live_;
                    return std::malloc(size);
                },
                [](void *block) {
                    --live_;
                    std::free(block);
                }};
    }
    static inline int calls_ = 0, fail_at_ = -1, live_ = 0;
};

// Runs create(heap) failing at each allocation in turn until one succeeds; every failure must
// return null with no block left. Returns the number of allocations a success makes.
template <class Create, class Destroy>
int expect_clean_failures(Create &&create, Destroy &&destroy)
{
    for (int fail_at = 0; fail_at < 1000; ++fail_at) {
        if (auto *made = create(FailingHeap::arm(fail_at))) {
            const int calls = FailingHeap::calls_;
            destroy(made);
            return calls;
        }
        EXPECT_EQ(FailingHeap::live_, 0) << "failing allocation " << fail_at;
    }
    ADD_FAILURE() << "never succeeded";
    return -1;
}

// Enough to replay a failing random sequence: OZMU_TEST_SEED and the round.
inline std::string round_note(int round)
{
    char note[64];
    std::snprintf(note, sizeof note, "round %d, seed 0x%llx", round,
                  static_cast<unsigned long long>(test_seed()));
    return note;
}

}  // namespace ozmu::test
