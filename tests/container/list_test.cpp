// Linked list: the insert rule, lookups from both ends, the cursor rules, the release callback
// and allocation failures; then long random operation sequences against a vector model that
// tracks every element's value, data pointer and id, the cursor and the release log.
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"
#include "container_test.h"

namespace {

using namespace ozmu::test;

// An element is its int value followed by filler bytes derived from it, up to the element size.
std::vector<uint8_t> element(int value, int elem_size)
{
    std::vector<uint8_t> bytes(static_cast<size_t>(elem_size));  // exact: ASan sees over-reads
    for (int k = 0; k < elem_size; ++k)
        bytes[k] = static_cast<uint8_t>(value * 31 + k);
    if (elem_size > 0)
        std::memcpy(bytes.data(), &value, std::min<size_t>(sizeof value, bytes.size()));
    return bytes;
}
int value_of(const void *data)
{
    int v;
    std::memcpy(&v, data, sizeof v);
    return v;
}

// What the release callback saw: the element's value, the count at that moment and whether the
// node was still reachable from the head.
struct Release {
    int value, count;
    bool linked;
    bool operator==(const Release &) const = default;
};
std::vector<Release> g_released;
const ozmu_list *g_watched = nullptr;

bool reachable(const ozmu_list *list, const void *data)
{
    for (auto *node = list->head->next; node != list->tail; node = node->next)
        if (ozmu::container::payload(node) == data)
            return true;
    return false;
}
void record_release(void *data)
{
    g_released.push_back({value_of(data), g_watched ? ozmu_list_get_cnt(g_watched) : -1,
                          g_watched && reachable(g_watched, data)});
}

std::vector<int> values(const ozmu_list *list)
{
    std::vector<int> out;
    for (int i = 0; i < ozmu_list_get_cnt(list); ++i)
        out.push_back(value_of(ozmu_list_get_at(list, i)));
    return out;
}

ozmu_list *list_of(std::initializer_list<int> vals, ozmu_list_release_fn release = nullptr)
{
    ozmu_list *list = ozmu_list_create(sizeof(int), release);
    for (int v : vals)
        ozmu_list_add(list, &v);
    return list;
}

int cur_value(const ozmu_list *list)
{
    const void *cur = ozmu_list_get_cur(list);
    return cur ? value_of(cur) : -1;
}

TEST(List, InsertAtAcceptsOnlyTheFrontAndTheEnd)
{
    ozmu_list *list = list_of({1, 2, 3});
    int v = 9;
    for (int inside : {0, 1, 2, 5, INT_MAX})
        EXPECT_EQ(ozmu_list_insert_at(list, &v, inside), nullptr) << inside;
    EXPECT_EQ(values(list), (std::vector<int>{1, 2, 3}));
    v = 4;
    EXPECT_EQ(value_of(ozmu_list_insert_at(list, &v, 3)), 4);
    v = 0;
    EXPECT_EQ(value_of(ozmu_list_insert_at(list, &v, -1)), 0);
    v = -1;
    EXPECT_EQ(value_of(ozmu_list_insert_at(list, &v, INT_MIN)), -1);
    EXPECT_EQ(values(list), (std::vector<int>{-1, 0, 1, 2, 3, 4}));
    ozmu_list_delete(list);

    ozmu_list *empty = list_of({});
    EXPECT_EQ(ozmu_list_insert_at(empty, &v, 1), nullptr);
    EXPECT_NE(ozmu_list_insert_at(empty, &v, 0), nullptr);
    EXPECT_EQ(values(empty), std::vector<int>{-1});
    ozmu_list_delete(empty);
}

TEST(List, GetAtIdFindsOnlyMembers)
{
    ozmu_list *list = list_of({1, 2, 3}), *other = list_of({7});
    void *foreign = ozmu_list_get_id(other, 0);
    EXPECT_EQ(ozmu_list_get_atid(list, foreign), nullptr);
    EXPECT_EQ(ozmu_list_get_atid(list, nullptr), nullptr);
    EXPECT_EQ(ozmu_list_get_atid(list, list->head), nullptr);
    EXPECT_EQ(ozmu_list_get_atid(list, list->tail), nullptr);
    ozmu_list_rem_atid(list, nullptr);
    ozmu_list_rem_atid(list, list->tail);
    EXPECT_EQ(values(list), (std::vector<int>{1, 2, 3}));

    // rem_atid moves a cursor on its element like every removal.
    ozmu_list_move_first(list);
    ozmu_list_move_next(list);
    ozmu_list_rem_atid(list, ozmu_list_get_id(list, 1));
    EXPECT_EQ(cur_value(list), 3);
    ozmu_list_rem_atid(list, ozmu_list_get_id(list, 1));
    EXPECT_EQ(ozmu_list_get_cur(list), nullptr);
    EXPECT_EQ(values(list), std::vector<int>{1});
    ozmu_list_delete(list);
    ozmu_list_delete(other);
}

TEST(List, CursorRules)
{
    ozmu_list *list = list_of({1, 2, 3, 4});
    EXPECT_EQ(ozmu_list_get_cur(list), nullptr);
    EXPECT_EQ(ozmu_list_move_next(list), nullptr);  // no cursor: stays cleared
    EXPECT_EQ(ozmu_list_move_prev(list), nullptr);

    // Removing the first element under the cursor moves it to the new first.
    ozmu_list_move_first(list);
    ozmu_list_rem_first(list);
    EXPECT_EQ(cur_value(list), 2);
    // rem_prev on the first element removes nothing; without a cursor it removes the last.
    ozmu_list_rem_prev(list);
    EXPECT_EQ(values(list), (std::vector<int>{2, 3, 4}));
    ozmu_list_move_last(list);
    ozmu_list_rem_next(list);  // nothing after the last
    EXPECT_EQ(ozmu_list_move_next(list), nullptr);
    EXPECT_EQ(ozmu_list_move_next(list), nullptr);  // no wrap-around
    ozmu_list_rem_prev(list);
    EXPECT_EQ(values(list), (std::vector<int>{2, 3}));
    ozmu_list_rem_next(list);  // no cursor: nothing
    EXPECT_EQ(values(list), (std::vector<int>{2, 3}));

    // Removing the last element under the cursor clears it.
    EXPECT_EQ(value_of(ozmu_list_move_last(list)), 3);
    ozmu_list_rem_last(list);
    EXPECT_EQ(ozmu_list_get_cur(list), nullptr);
    // rem_cur moves on to the next element, or clears after the last.
    int v = 5;
    ozmu_list_add(list, &v);
    ozmu_list_move_first(list);
    ozmu_list_rem_cur(list);
    EXPECT_EQ(cur_value(list), 5);
    ozmu_list_rem_cur(list);
    EXPECT_EQ(ozmu_list_get_cur(list), nullptr);
    EXPECT_EQ(ozmu_list_get_cnt(list), 0);
    EXPECT_EQ(ozmu_list_move_first(list), nullptr);
    EXPECT_EQ(ozmu_list_move_last(list), nullptr);
    ozmu_list_rem_prev(list);
    ozmu_list_rem_first(list);
    ozmu_list_rem_last(list);
    EXPECT_EQ(ozmu_list_get_cnt(list), 0);

    ozmu_list_add(list, &v);
    EXPECT_EQ(value_of(ozmu_list_move_last(list)), 5);
    EXPECT_EQ(ozmu_list_move_prev(list), nullptr);
    ozmu_list_delete(list);
}

// The callback sees each element once it is unlinked and before it is counted out, on every way
// out; delete goes from first to last.
TEST(List, ReleaseSeesEveryElementLeave)
{
    ozmu_list *list = list_of({1, 2, 3, 4, 5, 6, 7}, record_release);
    g_watched = list;
    g_released.clear();
    ozmu_list_rem_at(list, 3);
    ozmu_list_move_first(list);
    ozmu_list_rem_cur(list);
    ozmu_list_rem_atid(list, ozmu_list_get_id(list, 3));
    EXPECT_EQ(g_released, (std::vector<Release>{{4, 7, false}, {1, 6, false}, {6, 5, false}}));
    g_released.clear();
    g_watched = nullptr;
    ozmu_list_delete(list);
    EXPECT_EQ(g_released, (std::vector<Release>{{2, -1, false}, {3, -1, false}, {5, -1, false},
                                                {7, -1, false}}));
    g_released.clear();
}

// Exactly elem_size bytes are copied from the caller (the sources are exact heap blocks), the
// copies are malloc-aligned and survive other elements' removal in place.
TEST(List, ElementsAreCopiedWhole)
{
    for (int size : {0, 1, 3, 4, 7, 16, 100}) {
        ozmu_list *list = ozmu_list_create(size, nullptr);
        std::vector<void *> data;
        for (int v = 0; v < 6; ++v) {
            const auto bytes = element(v, size);
            data.push_back(ozmu_list_add_first(list, bytes.empty() ? nullptr : bytes.data()));
            ASSERT_NE(data.back(), nullptr);
            EXPECT_EQ(uintptr_t(data.back()) % alignof(std::max_align_t), 0u);
        }
        ozmu_list_rem_at(list, 2);
        for (int i = 0; i < 5; ++i) {
            const int v = i < 2 ? 5 - i : 4 - i;
            EXPECT_TRUE(same_bytes(element(v, size).data(), ozmu_list_get_at(list, i), size));
            EXPECT_EQ(ozmu_list_get_at(list, i), data[v]);
        }
        ozmu_list_delete(list);
    }
    EXPECT_EQ(ozmu_list_create(-1, nullptr), nullptr);
    ozmu_list_delete(nullptr);
}

TEST(List, AllocationFailuresChangeNothing)
{
    using namespace ozmu::container;
    const auto create = [](const Heap &heap) { return list_create(12, nullptr, heap); };
    EXPECT_EQ(3, expect_clean_failures(create, ozmu_list_delete));

    ozmu_list *list = list_of({1, 2});
    ozmu_list_move_last(list);
    int v = 3;
    const Heap refusing = FailingHeap::arm(0);
    EXPECT_EQ(list_add(list, &v, refusing), nullptr);
    EXPECT_EQ(list_add_first(list, &v, FailingHeap::arm(0)), nullptr);
    EXPECT_EQ(list_insert_at(list, &v, 2, FailingHeap::arm(0)), nullptr);
    EXPECT_EQ(list_insert_at(list, &v, -1, FailingHeap::arm(0)), nullptr);
    EXPECT_EQ(values(list), (std::vector<int>{1, 2}));
    EXPECT_EQ(cur_value(list), 2);
    ozmu_list_delete(list);
}

// Random sequences of every operation, the model checked after each step.
class ListModel {
public:
    struct Entry {
        int value;
        void *data, *id;
    };
    std::vector<Entry> entries;
    int cursor = -1;  // index into entries
    std::vector<int> released;

    int size() const { return static_cast<int>(entries.size()); }
    void *data_at(int i) const { return i < 0 ? nullptr : entries[i].data; }
    void insert(int at, const Entry &e)
    {
        entries.insert(entries.begin() + at, e);
        if (cursor >= at)
            ++cursor;
    }
    void remove(int at)
    {
        released.push_back(entries[at].value);
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
    ozmu_list *other = list_of({-5});
    void *foreign = ozmu_list_get_id(other, 0);
    for (int round = 0; round < 400; ++round) {
        const int elem_size = rng.range(4, 40);
        ozmu_list *list = ozmu_list_create(elem_size, record_release);
        g_watched = nullptr;
        g_released.clear();
        ListModel m;
        int next_value = 0;
        std::string ops;
        for (int step = 0; step < 250; ++step) {
            const int n = m.size();
            const int op = rng.range(0, 9) < 4 ? rng.range(0, 2) : rng.range(3, 20);
            const int index = rng.range(-2, n + 2);
            char step_name[32];
            std::snprintf(step_name, sizeof step_name, "%d@%d ", op, index);
            ops += step_name;
            void *got = nullptr, *want = nullptr;
            switch (op) {
            case 0:
            case 1:
            case 2: {
                const int v = next_value++;
                const auto bytes = element(v, elem_size);
                const int at = op == 0 ? n : op == 1 ? 0 : index < 0 ? 0 : index == n ? n : -1;
                got = op == 0   ? ozmu_list_add(list, bytes.data())
                      : op == 1 ? ozmu_list_add_first(list, bytes.data())
                                : ozmu_list_insert_at(list, bytes.data(), index);
                if (at >= 0) {
                    m.insert(at, {v, got, ozmu_list_get_id(list, at)});
                    want = got;
                    ASSERT_NE(got, nullptr);
                }
                break;
            }
            case 3:
                if (index < 0 && n == 0)
                    continue;
                got = ozmu_list_get_at(list, index);
                want = index >= n ? nullptr : m.data_at(index < 0 ? 0 : index);
                break;
            case 4:
                got = ozmu_list_get_id(list, index);
                want = index < 0 || index >= n ? nullptr : m.entries[index].id;
                break;
            case 5: {
                const bool member = n > 0 && rng.coin();
                const int pick = member ? rng.range(0, n - 1) : 0;
                void *stranger = rng.coin() ? foreign : nullptr;
                got = ozmu_list_get_atid(list, member ? m.entries[pick].id : stranger);
                want = member ? m.entries[pick].data : nullptr;
                break;
            }
            case 6:
                got = ozmu_list_get_first(list), want = n ? m.entries.front().data : nullptr;
                break;
            case 7:
                got = ozmu_list_get_last(list), want = n ? m.entries.back().data : nullptr;
                break;
            case 8:
                ozmu_list_rem_at(list, index);
                if (index >= 0 && index < n)
                    m.remove(index);
                break;
            case 9:
                if (n == 0) {
                    ozmu_list_rem_atid(list, nullptr);
                } else {
                    const int pick = rng.range(0, n - 1);
                    ozmu_list_rem_atid(list, m.entries[pick].id);
                    m.remove(pick);
                }
                break;
            case 10:
                ozmu_list_rem_first(list);
                if (n)
                    m.remove(0);
                break;
            case 11:
                ozmu_list_rem_last(list);
                if (n)
                    m.remove(n - 1);
                break;
            case 12:
                got = ozmu_list_get_cur(list), want = m.data_at(m.cursor);
                break;
            case 13:
            case 14:
                got = op == 13 ? ozmu_list_move_first(list) : ozmu_list_move_last(list);
                m.cursor = n == 0 ? -1 : op == 13 ? 0 : n - 1;
                want = m.data_at(m.cursor);
                break;
            case 15:
                got = ozmu_list_move_next(list);
                m.cursor = m.cursor < 0 || m.cursor == n - 1 ? -1 : m.cursor + 1;
                want = m.data_at(m.cursor);
                break;
            case 16:
                got = ozmu_list_move_prev(list);
                m.cursor = m.cursor <= 0 ? -1 : m.cursor - 1;
                want = m.data_at(m.cursor);
                break;
            case 17:
                ozmu_list_rem_cur(list);
                if (m.cursor >= 0)
                    m.remove(m.cursor);
                break;
            case 18:
                ozmu_list_rem_prev(list);
                if (n && (m.cursor < 0 ? n - 1 : m.cursor - 1) >= 0)
                    m.remove(m.cursor < 0 ? n - 1 : m.cursor - 1);
                break;
            case 19:
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
                m.cursor = -1;
            }
            const std::string where = "ops: " + ops + seed_note();
            ASSERT_EQ(got, want) << where;
            ASSERT_EQ(ozmu_list_get_cnt(list), m.size()) << where;
            ASSERT_EQ(ozmu_list_get_cur(list), m.data_at(m.cursor)) << where;
            std::vector<int> released;
            for (const Release &r : g_released)
                released.push_back(r.value);
            ASSERT_EQ(released, m.released) << where;
            for (int i = 0; i < m.size(); ++i) {
                const ListModel::Entry &e = m.entries[i];
                ASSERT_EQ(ozmu_list_get_at(list, i), e.data) << i << " " << where;
                ASSERT_EQ(ozmu_list_get_id(list, i), e.id) << i << " " << where;
                ASSERT_EQ(ozmu_list_get_atid(list, e.id), e.data) << i << " " << where;
                ASSERT_TRUE(same_bytes(element(e.value, elem_size).data(), e.data, elem_size))
                    << where;
            }
        }
        g_released.clear();
        ozmu_list_delete(list);
        EXPECT_EQ(g_released.size(), m.entries.size());
    }
    ozmu_list_delete(other);
}

}  // namespace
