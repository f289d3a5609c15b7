// Records of the linked list, the ring buffer and the slot list. Callers hold only handles; the
// layouts are nevertheless part of the contract, and record_layout.cpp pins them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "ozmu.h"

namespace ozmu::container {

// A list node, and each sentinel, is two links followed by the element's bytes.
struct ListNode {
    ListNode *prev;
    ListNode *next;
};

// A slot is two links followed by its buffer. The chain runs from the front slot to the back
// slot; taken slots are the ones nearest the back, the oldest at the back itself.
struct Slot {
    Slot *toward_front;
    Slot *toward_back;
};

// Element bytes and slot buffers follow the two links.
template <class Link>
inline uint8_t *payload(Link *link)
{
    return reinterpret_cast<uint8_t *>(link) + sizeof(Link);
}

}  // namespace ozmu::container

struct ozmu_list {
    int32_t elem_size;
    int32_t count;
    ozmu::container::ListNode *head;    // start sentinel: head->prev == head
    ozmu::container::ListNode *tail;    // end sentinel: tail->next == tail
    ozmu::container::ListNode *cursor;  // null: no current element
    ozmu_list_release_fn release;
};

struct ozmu_rbuf {
    int32_t write_index;  // "head" in the operation names
    int32_t read_index;   // "tail"
    int32_t size;         // bytes of storage
    uint8_t *storage;
};

struct ozmu_rlist {
    int32_t capacity;
    int32_t buf_size;
    int32_t used;
    ozmu::container::Slot *back;
    ozmu::container::Slot *front;
};

namespace ozmu::container {

// Where creators and adders take memory from. The exported functions use the C heap; the tests
// pass one that fails on a chosen call, to show that a failure leaves nothing behind. Whatever
// `allocate` returns must be releasable with std::free, since removals and deletes use it.
struct Heap {
    void *(*allocate)(size_t size);
    void (*release)(void *block);
};
inline constexpr Heap kCHeap{[](size_t size) { return std::malloc(size); },
                             [](void *block) { std::free(block); }};

ozmu_list *list_create(int elem_size, ozmu_list_release_fn release, const Heap &heap = kCHeap);
void *list_add(ozmu_list *list, const void *data, const Heap &heap = kCHeap);
void *list_add_first(ozmu_list *list, const void *data, const Heap &heap = kCHeap);
void *list_insert_at(ozmu_list *list, const void *data, int index, const Heap &heap = kCHeap);

ozmu_rbuf *rbuf_create(int size, const Heap &heap = kCHeap);

ozmu_rlist *rlist_create(int buf_size, int capacity, const Heap &heap = kCHeap);

}  // namespace ozmu::container
