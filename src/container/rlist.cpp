// Slot list: a FIFO of equally sized buffers drawn from a pool allocated once. The slots form one
// chain; taken slots sit nearest the back, oldest last, and a slot given back moves to the front,
// so it is the last free slot to be taken again. Nothing is allocated or copied after creation.
#include "container/container.h"

namespace ozmu::container {
namespace {

void free_chain(Slot *front, const Heap &heap)
{
    while (front) {
        Slot *next = front->toward_back;
        heap.release(front);
        front = next;
    }
}

// Moves the oldest taken slot from the back of the chain to its front. A one-slot chain has no
// other slot to become the back: its slot simply becomes free.
void give_back_oldest(ozmu_rlist *pool)
{
    Slot *given = pool->back;
    Slot *newer = given->toward_front;
    if (newer) {
        newer->toward_back = nullptr;
        pool->back = newer;
        given->toward_back = pool->front;
        given->toward_front = nullptr;
        pool->front->toward_front = given;
        pool->front = given;
    }
    --pool->used;
}

}  // namespace

// A capacity below 2 still gets one slot; the capacity is kept as given, so a pool asked for
// fewer than one slot never lends any.
ozmu_rlist *rlist_create(int buf_size, int capacity, const Heap &heap)
{
    if (buf_size < 0)
        return nullptr;
    auto *pool = static_cast<ozmu_rlist *>(heap.allocate(sizeof(ozmu_rlist)));
    if (!pool)
        return nullptr;
    const size_t slot_bytes = sizeof(Slot) + static_cast<size_t>(buf_size);
    const int slots = capacity < 2 ? 1 : capacity;
    Slot *front = nullptr, *back = nullptr;
    for (int i = 0; i < slots; ++i) {
        auto *slot = static_cast<Slot *>(heap.allocate(slot_bytes));
        if (!slot) {
            free_chain(front, heap);
            heap.release(pool);
            return nullptr;
        }
        slot->toward_front = back;
        slot->toward_back = nullptr;
        if (back)
            back->toward_back = slot;
        else
            front = slot;
        back = slot;
    }
    pool->capacity = capacity;
    pool->buf_size = buf_size;
    pool->used = 0;
    pool->back = back;
    pool->front = front;
    return pool;
}

}  // namespace ozmu::container

using namespace ozmu::container;

extern "C" {

ozmu_rlist *ozmu_rlist_create(int buf_size, int capacity)
{
    return rlist_create(buf_size, capacity);
}

void ozmu_rlist_delete(ozmu_rlist *pool)
{
    if (!pool)
        return;
    free_chain(pool->front, kCHeap);
    std::free(pool);
}

int ozmu_rlist_get_used_cnt(const ozmu_rlist *pool) { return pool->used; }

int ozmu_rlist_get_free_cnt(const ozmu_rlist *pool) { return pool->capacity - pool->used; }

// The k-th outstanding slot lies k steps in front of the back, so a take walks `used` links.
void *ozmu_rlist_get_buf(ozmu_rlist *pool)
{
    if (!pool->back || !pool->front || pool->used >= pool->capacity)
        return nullptr;
    Slot *slot = pool->back;
    for (int i = 0; i < pool->used; ++i)
        slot = slot->toward_front;
    ++pool->used;
    return payload(slot);
}

void *ozmu_rlist_get_data(const ozmu_rlist *pool)
{
    if (pool->used == 0 || !pool->back)
        return nullptr;
    return payload(pool->back);
}

void ozmu_rlist_rem_data(ozmu_rlist *pool)
{
    if (pool->used != 0 && pool->back)
        give_back_oldest(pool);
}

void ozmu_rlist_rem_all(ozmu_rlist *pool)
{
    while (pool->used != 0 && pool->back)
        give_back_oldest(pool);
}

}  // extern "C"
