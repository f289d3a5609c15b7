// Linked list under random operation sequences, compared after every step with a model (a vector
// of elements and a cursor index): insert_at's refusals, lookups from either end, ids, the cursor
// rules of every removal and move, and the release callback, which must see exactly the element
// removed while the count still includes it. Each element carries its value and a filler pattern
// in elem_size bytes, so data pointers must stay valid and untouched while the element is listed.
// Ids are only ever ones in the list, and get_at gets no negative index on an empty list.
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;

struct Elem {
    uint32_t value;
    void *data;
};
std::vector<Elem> model;
ozmu_list *current;
int elem_size, pending = -1, released;
bool sweeping, with_callback;

void fill(uint8_t *p, uint32_t value)
{
    for (int i = 0; i < elem_size; ++i)
        p[i] = static_cast<uint8_t>(value >> (8 * (i & 3))) ^ static_cast<uint8_t>(i);
}
bool intact(const Elem &e)
{
    std::vector<uint8_t> expect(static_cast<size_t>(elem_size));
    fill(expect.data(), e.value);
    return expect.empty() || !std::memcmp(expect.data(), e.data, expect.size());
}

// The element expected out is model[pending]; a sweep (rem_all, delete) goes first to last.
void on_release(void *data)
{
    check(pending >= 0 && static_cast<size_t>(pending) < model.size());
    const Elem &e = model[static_cast<size_t>(pending)];
    check(data == e.data && intact(e));
    // Unlinked but still counted.
    check(ozmu_list_get_cnt(current) == static_cast<int>(model.size()) - (sweeping ? pending : 0));
    ++released;
    pending += sweeping;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    size_t pos = 0;
    auto byte = [&] { return pos < size ? data[pos++] : uint8_t(0); };
    elem_size = byte() % 13;
    with_callback = byte() & 1;
    current = ozmu_list_create(elem_size, with_callback ? on_release : nullptr);
    check(current != nullptr);
    model.clear();
    int cur = -1;  // model cursor: index, or -1
    uint32_t next_value = 1;
    auto sweep = [&](void (*fn)(ozmu_list *)) {
        sweeping = true, pending = 0, released = 0;
        const int n = static_cast<int>(model.size());
        fn(current);
        check(released == (with_callback ? n : 0));
        model.clear();
        sweeping = false, cur = -1, pending = -1, released = 0;
    };
    while (pos < size) {
        const int op = byte() % 18, n = static_cast<int>(model.size());
        const int index = static_cast<int>(byte() % (n + 4)) - 2;  // -2 .. n + 1
        std::vector<uint8_t> bytes(static_cast<size_t>(elem_size) + 1);
        fill(bytes.data(), next_value);
        void *got = nullptr;
        int &victim = pending;  // the element a removal must take, or -1
        victim = -1, released = 0;
        switch (op) {
        case 0:
            got = ozmu_list_add(current, bytes.data());
            model.push_back({next_value, got});
            break;
        case 1:
            got = ozmu_list_add_first(current, bytes.data());
            model.insert(model.begin(), {next_value, got});
            cur += cur >= 0;
            break;
        case 2:
            got = ozmu_list_insert_at(current, bytes.data(), index);
            check(!got == (index >= 0 && index != n));
            if (got) {
                const int at = index < 0 ? 0 : n;
                model.insert(model.begin() + at, {next_value, got});
                cur += cur >= at;
            }
            break;
        case 3:
            if (n || index >= 0)
                check(ozmu_list_get_at(current, index) ==
                      (index >= n ? nullptr : model[index < 0 ? 0 : size_t(index)].data));
            break;
        case 4: {
            void *id = ozmu_list_get_id(current, index);
            check(!id == (index < 0 || index >= n));
            if (id)
                check(ozmu_list_get_atid(current, id) == model[size_t(index)].data);
            if (id && (byte() & 1))
                victim = index, ozmu_list_rem_atid(current, id);
            break;
        }
        case 5:
            victim = index >= 0 && index < n ? index : -1, ozmu_list_rem_at(current, index);
            break;
        case 6: victim = n ? 0 : -1, ozmu_list_rem_first(current); break;
        case 7: victim = n - 1, ozmu_list_rem_last(current); break;
        case 8: cur = n ? 0 : -1, got = ozmu_list_move_first(current); break;
        case 9: cur = n - 1, got = ozmu_list_move_last(current); break;
        case 10:
            cur = cur < 0 || cur == n - 1 ? -1 : cur + 1, got = ozmu_list_move_next(current);
            break;
        case 11: cur = cur <= 0 ? -1 : cur - 1, got = ozmu_list_move_prev(current); break;
        case 12: victim = cur, ozmu_list_rem_cur(current); break;
        case 13: victim = n ? (cur < 0 ? n - 1 : cur - 1) : -1, ozmu_list_rem_prev(current); break;
        case 14:
            victim = cur >= 0 && cur < n - 1 ? cur + 1 : -1, ozmu_list_rem_next(current);
            break;
        case 15:
            if (index == -2)  // now and then: everything
                sweep(ozmu_list_rem_all);
            break;
        default: got = ozmu_list_get_cur(current);
        }
        if (op <= 2 && got)
            ++next_value;
        check(released == (with_callback && victim >= 0 && op != 15));
        if (victim >= 0 && op != 15) {
            model.erase(model.begin() + victim);
            cur = cur == victim ? (victim < static_cast<int>(model.size()) ? victim : -1)
                                : cur - (cur > victim);
        }
        if (op >= 8 && op <= 11)
            check(got == (cur < 0 ? nullptr : model[size_t(cur)].data));
        const int m = static_cast<int>(model.size());
        check(ozmu_list_get_cnt(current) == m &&
              ozmu_list_get_cur(current) == (cur < 0 ? nullptr : model[size_t(cur)].data));
        check(ozmu_list_get_first(current) == (m ? model[0].data : nullptr));
        check(ozmu_list_get_last(current) == (m ? model.back().data : nullptr));
        if (m)
            check(intact(model[size_t(index < 0 || index >= m ? 0 : index)]));
    }
    // A full walk by cursor, then delete, which releases what is left.
    void *walk = ozmu_list_move_first(current);
    for (const Elem &e : model) {
        check(walk == e.data && intact(e));
        walk = ozmu_list_move_next(current);
    }
    check(walk == nullptr);
    sweep(ozmu_list_delete);
    return 0;
}
