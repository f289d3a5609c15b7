// Linked list: allocation failures, then long random operation sequences against a vector model
// that tracks every element's bytes, data pointer and id, the cursor and what the release
// callback saw.
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"
#include "container_test.h"

namespace {

using namespace ozmu::test;

// Element bytes derived from a value, as an exact heap block so that ASan sees over-reads.
std::vector<uint8_t> element(int value, int elem_size)
{
    std::vector<uint8_t> bytes(static_cast<size_t>(elem_size));
    for (int k = 0; k < elem_size; ++k)
        bytes[k] = static_cast<uint8_t>(value * 31 + k);
    return bytes;
}

// What the release callback saw: the element and the count at that moment. The node must
// already be unlinked.
using Release = std::pair<const void *, int>;
std::vector<Release> g_released;
const ozmu_list *g_watched = nullptr;

void record_release(void *data)
{
    for (auto *node = g_watched->head->next; node != g_watched->tail; node = node->next)
        EXPECT_NE(ozmu::container::payload(node), data) << "released while linked";
    g_released.emplace_back(data, ozmu_list_get_cnt(g_watched));
}

TEST(List, AllocationFailuresChangeNothing)
{
    using namespace ozmu::container;
    EXPECT_EQ(3,
              expect_clean_failures([](const Heap &heap) { return list_create(12, nullptr, heap); },
                                    ozmu_list_delete));
    EXPECT_EQ(ozmu_list_create(-1, nullptr), nullptr);
    ozmu_list_delete(nullptr);

    ozmu_list *list = ozmu_list_create(sizeof(int), nullptr);
    for (int v : {1, 2})
        ozmu_list_add(list, &v);
    ozmu_list_move_last(list);
    const int v = 3;
    EXPECT_EQ(list_add(list, &v, FailingHeap::arm(0)), nullptr);
    EXPECT_EQ(list_add_first(list, &v, FailingHeap::arm(0)), nullptr);
    EXPECT_EQ(list_insert_at(list, &v, 2, FailingHeap::arm(0)), nullptr);
    EXPECT_EQ(list_insert_at(list, &v, -1, FailingHeap::arm(0)), nullptr);
    EXPECT_EQ(ozmu_list_get_cnt(list), 2);
    EXPECT_EQ(ozmu_list_get_cur(list), ozmu_list_get_at(list, 1));
    ozmu_list_delete(list);
}

struct ListModel {
    struct Entry {
        int value;
        void *data, *id;
    };
    std::vector<Entry> entries;
    int cursor = -1;  // index into entries
    std::vector<Release> released;

    int size() const { return static_cast<int>(entries.size()); }
    void *data_at(int i) const { return i < 0 ? nullptr : entries[i].data; }
    void insert(int at, const Entry &e)
    {
        entries.insert(entries.begin() + at, e);
        if (cursor >= at)
            ++cursor;
    }
    // The callback runs unlinked but before the count drops; a cursor on the victim moves on.
    void remove(int at)
    {
        released.emplace_back(entries[at].data, size());
        if (cursor == at)
            cursor = at == size() - 1 ? -1 : at;
        else if (cursor > at)
            --cursor;
        entries.erase(entries.begin() + at);
    }
};

TEST(ListModel, RandomOperationSequences)
{
    Rng rng(0x115);
    ozmu_list *other = ozmu_list_create(4, nullptr);
    ozmu_list_add(other, "abc");
    for (int round = 0; round < 400; ++round) {
        const int elem_size = rng.range(0, 40);
        ozmu_list *list = ozmu_list_create(elem_size, record_release);
        g_watched = list;
        g_released.clear();
        // Not ids of this list; rem_atid refuses the first three.
        void *const outsiders[] = {nullptr, list->head, list->tail, ozmu_list_get_id(other, 0)};
        ListModel m;
        SCOPED_TRACE(round_note(round));
        for (int step = 0, next_value = 0; step < 250; ++step) {
            const int n = m.size();
            const int op = rng.range(0, 9) < 4 ? rng.range(0, 2) : rng.range(3, 16);
            const int index = rng.range(0, 15) ? rng.range(-2, n + 2)
                              : rng.coin()     ? INT_MIN
                                               : INT_MAX;
            void *got = nullptr;
            int want = -1;  // the model's index of the element returned
            switch (op) {
            case 0:
            case 1:
            case 2: {  // add, add_first, and insert_at: only at the front (index < 0) or the end
                const int v = next_value++;
                const auto bytes = element(v, elem_size);
                const int at = op == 0 ? n : op == 1 ? 0 : index < 0 ? 0 : index == n ? n : -1;
                got = op == 0   ? ozmu_list_add(list, bytes.data())
                      : op == 1 ? ozmu_list_add_first(list, bytes.data())
                                : ozmu_list_insert_at(list, bytes.data(), index);
                if (at >= 0) {
                    ASSERT_NE(got, nullptr);
                    ASSERT_EQ(uintptr_t(got) % alignof(std::max_align_t), 0u);
                    m.insert(at, {v, got, ozmu_list_get_id(list, at)});
                    want = at;
                }
                break;
            }
            case 3:
                ozmu_list_rem_at(list, index);
                if (index >= 0 && index < n)
                    m.remove(index);
                break;
            case 4:
                if (n == 0 || rng.range(0, 3) == 0) {
                    ozmu_list_rem_atid(list, outsiders[rng.range(0, 2)]);
                } else {
                    const int pick = rng.range(0, n - 1);
                    ozmu_list_rem_atid(list, m.entries[pick].id);
                    m.remove(pick);
                }
                break;
            case 5:
            case 6:
                op == 5 ? ozmu_list_rem_first(list) : ozmu_list_rem_last(list);
                if (n)
                    m.remove(op == 5 ? 0 : n - 1);
                break;
            case 7:
            case 8:
                got = op == 7 ? ozmu_list_move_first(list) : ozmu_list_move_last(list);
                want = m.cursor = n == 0 ? -1 : op == 7 ? 0 : n - 1;
                break;
            case 9:  // no wrap-around: off either end, the cursor is cleared
                got = ozmu_list_move_next(list);
                want = m.cursor = m.cursor < 0 || m.cursor == n - 1 ? -1 : m.cursor + 1;
                break;
            case 10:
                got = ozmu_list_move_prev(list);
                want = m.cursor = m.cursor <= 0 ? -1 : m.cursor - 1;
                break;
            case 11:
                ozmu_list_rem_cur(list);
                if (m.cursor >= 0)
                    m.remove(m.cursor);
                break;
            case 12: {  // without a cursor the victim is the last element
                ozmu_list_rem_prev(list);
                const int victim = m.cursor < 0 ? n - 1 : m.cursor - 1;
                if (victim >= 0)
                    m.remove(victim);
                break;
            }
            case 13:
                ozmu_list_rem_next(list);
                if (m.cursor >= 0 && m.cursor + 1 < n)
                    m.remove(m.cursor + 1);
                break;
            default:
                if (rng.range(0, 7))
                    continue;  // rare: it ends the interesting part of a sequence
                ozmu_list_rem_all(list);
                while (m.size())
                    m.remove(0);
            }
            const int size = m.size();
            ASSERT_EQ(got, m.data_at(want));
            ASSERT_EQ(g_released, m.released);
            ASSERT_EQ(ozmu_list_get_cnt(list), size);
            ASSERT_EQ(ozmu_list_get_cur(list), m.data_at(m.cursor));
            ASSERT_EQ(ozmu_list_get_first(list), m.data_at(size ? 0 : -1));
            ASSERT_EQ(ozmu_list_get_last(list), m.data_at(size - 1));
            if (size) {  // any negative index: the first element
                ASSERT_EQ(ozmu_list_get_at(list, -1 - step % 2), m.data_at(0));
            }
            ASSERT_EQ(ozmu_list_get_at(list, size), nullptr);
            ASSERT_EQ(ozmu_list_get_id(list, size), nullptr);
            ASSERT_EQ(ozmu_list_get_id(list, -1), nullptr);
            for (void *outsider : outsiders)
                ASSERT_EQ(ozmu_list_get_atid(list, outsider), nullptr);
            for (int i = 0; i < size; ++i) {
                const ListModel::Entry &e = m.entries[i];
                ASSERT_EQ(ozmu_list_get_at(list, i), e.data) << i;
                ASSERT_EQ(ozmu_list_get_id(list, i), e.id) << i;
                ASSERT_EQ(ozmu_list_get_atid(list, e.id), e.data) << i;
                ASSERT_TRUE(same_bytes(element(e.value, elem_size).data(), e.data, elem_size));
            }
        }
        // Delete releases from the first element to the last.
        while (m.size())
            m.remove(0);
        ozmu_list_delete(list);
        EXPECT_EQ(g_released, m.released);
    }
    ozmu_list_delete(other);
}

}  // namespace
