// Shared by the container suites: a heap for the creators that refuses its n-th call and tracks
// the blocks it has handed out, so a test can show that a failed creation leaves nothing
// allocated; the seed note for failure messages of random sequences.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

#include "checkasm.h"

#include "container/container.h"

namespace ozmu::test {

class FailingHeap {
public:
    // fail_at: the 0-based call that returns null; -1 never fails.
    static container::Heap arm(int fail_at)
    {
        calls_ = 0;
        fail_at_ = fail_at;
        live_.clear();
        return {allocate, release};
    }
    static int calls() { return calls_; }
    static size_t live_blocks() { return live_.size(); }

private:
    static void *allocate(size_t size)
    {
        if (calls_++ == fail_at_)
            return nullptr;
        void *block = std::malloc(size);
        live_.insert(block);
        return block;
    }
    static void release(void *block)
    {
        live_.erase(block);
        std::free(block);
    }
    static inline int calls_ = 0;
    static inline int fail_at_ = -1;
    static inline std::set<void *> live_;
};

// Runs create(heap) failing at each allocation in turn until one succeeds; every failure must
// return null with no block left. Returns the number of allocations a success makes.
template <class Create, class Destroy>
int expect_clean_failures(Create &&create, Destroy &&destroy)
{
    for (int fail_at = 0; fail_at < 1000; ++fail_at) {
        auto *made = create(FailingHeap::arm(fail_at));
        if (made) {
            const int calls = FailingHeap::calls();
            destroy(made);
            return calls;
        }
        EXPECT_EQ(FailingHeap::live_blocks(), 0u) << "failing allocation " << fail_at;
    }
    ADD_FAILURE() << "never succeeded";
    return -1;
}

inline std::string seed_note()
{
    char note[40];
    std::snprintf(note, sizeof note, " (seed 0x%llx)",
                  static_cast<unsigned long long>(test_seed()));
    return note;
}

}  // namespace ozmu::test
