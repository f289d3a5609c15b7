// Doubly linked list of fixed-size elements, each copied into its own node, between two sentinels
// that link to themselves at the outer ends. One cursor; an optional callback sees every element
// that leaves.
#include <cstring>

#include "container/container.h"

namespace ozmu::container {
namespace {

size_t node_bytes(const ozmu_list *list)
{
    return sizeof(ListNode) + static_cast<size_t>(list->elem_size);
}

bool is_sentinel(const ozmu_list *list, const ListNode *node)
{
    return node == list->head || node == list->tail;
}

ListNode *new_node(const ozmu_list *list, const void *data, const Heap &heap)
{
    auto *node = static_cast<ListNode *>(heap.allocate(node_bytes(list)));
    if (node && list->elem_size > 0)
        std::memcpy(payload(node), data, static_cast<size_t>(list->elem_size));
    return node;
}

void *link_after(ozmu_list *list, ListNode *at, ListNode *node)
{
    node->prev = at;
    node->next = at->next;
    at->next->prev = node;
    at->next = node;
    ++list->count;
    return payload(node);
}

// Every removal ends here. A cursor on the node moves on to the next element, or to null when
// the node is the last one. The callback runs once the node is unlinked, before it is freed and
// counted out.
void remove_node(ozmu_list *list, ListNode *node)
{
    if (list->cursor == node)
        list->cursor = node->next == list->tail ? nullptr : node->next;
    node->prev->next = node->next;
    node->next->prev = node->prev;
    if (list->release)
        list->release(payload(node));
    std::free(node);
    --list->count;
}

// The node at index < count, walked from the nearer end. Any negative index takes one step from
// the head: the first element, or the tail sentinel of an empty list.
ListNode *node_at(const ozmu_list *list, int index)
{
    ListNode *node;
    if (list->count / 2 >= index) {
        node = list->head->next;
        for (int i = 0; i < index; ++i)
            node = node->next;
    } else {
        node = list->tail->prev;
        for (int i = list->count - index - 1; i > 0; --i)
            node = node->prev;
    }
    return node;
}

void *data_or_null(const ListNode *node)
{
    return node ? payload(const_cast<ListNode *>(node)) : nullptr;
}

}  // namespace

// The sentinels are full-sized and zeroed: the one pointer a sentinel's data can escape through
// (get_at with a negative index on an empty list) then points at harmless memory.
ozmu_list *list_create(int elem_size, ozmu_list_release_fn release, const Heap &heap)
{
    if (elem_size < 0)
        return nullptr;
    auto *list = static_cast<ozmu_list *>(heap.allocate(sizeof(ozmu_list)));
    if (!list)
        return nullptr;
    list->elem_size = elem_size;
    auto *head = static_cast<ListNode *>(heap.allocate(node_bytes(list)));
    if (!head) {
        heap.release(list);
        return nullptr;
    }
    auto *tail = static_cast<ListNode *>(heap.allocate(node_bytes(list)));
    if (!tail) {
        heap.release(head);
        heap.release(list);
        return nullptr;
    }
    std::memset(head, 0, node_bytes(list));
    std::memset(tail, 0, node_bytes(list));
    head->prev = head;
    head->next = tail;
    tail->prev = head;
    tail->next = tail;
    list->count = 0;
    list->head = head;
    list->tail = tail;
    list->cursor = nullptr;
    list->release = release;
    return list;
}

void *list_add(ozmu_list *list, const void *data, const Heap &heap)
{
    ListNode *node = new_node(list, data, heap);
    return node ? link_after(list, list->tail->prev, node) : nullptr;
}

void *list_add_first(ozmu_list *list, const void *data, const Heap &heap)
{
    ListNode *node = new_node(list, data, heap);
    return node ? link_after(list, list->head, node) : nullptr;
}

// Not a positional insert: an index inside the list is refused, a negative one inserts at the
// front, index == count appends and anything larger is refused.
void *list_insert_at(ozmu_list *list, const void *data, int index, const Heap &heap)
{
    if (index >= 0 && list->count > index)
        return nullptr;
    ListNode *at = list->head;
    for (int i = 0; i < index && at != list->tail; ++i)  // the tail steps to itself
        at = at->next;
    if (at == list->tail)
        return nullptr;
    ListNode *node = new_node(list, data, heap);
    return node ? link_after(list, at, node) : nullptr;
}

}  // namespace ozmu::container

using namespace ozmu::container;

extern "C" {

ozmu_list *ozmu_list_create(int elem_size, ozmu_list_release_fn release)
{
    return list_create(elem_size, release);
}

void ozmu_list_rem_all(ozmu_list *list)
{
    while (list->head->next != list->tail)
        remove_node(list, list->head->next);
    list->cursor = nullptr;
}

void ozmu_list_delete(ozmu_list *list)
{
    if (!list)
        return;
    ozmu_list_rem_all(list);
    std::free(list->head);
    std::free(list->tail);
    std::free(list);
}

void *ozmu_list_add(ozmu_list *list, const void *data) { return list_add(list, data); }

void *ozmu_list_add_first(ozmu_list *list, const void *data) { return list_add_first(list, data); }

void *ozmu_list_insert_at(ozmu_list *list, const void *data, int index)
{
    return list_insert_at(list, data, index);
}

void *ozmu_list_get_at(const ozmu_list *list, int index)
{
    if (index >= 0 && index >= list->count)
        return nullptr;
    return payload(node_at(list, index));
}

void *ozmu_list_get_id(const ozmu_list *list, int index)
{
    if (index < 0 || index >= list->count)
        return nullptr;
    return node_at(list, index);
}

// Only ids of elements in the list are found; anything else, sentinels included, gives null.
void *ozmu_list_get_atid(const ozmu_list *list, const void *id)
{
    for (ListNode *node = list->head->next; node != list->tail; node = node->next)
        if (node == id)
            return payload(node);
    return nullptr;
}

void *ozmu_list_get_first(const ozmu_list *list)
{
    return list->count < 1 ? nullptr : payload(list->head->next);
}

void *ozmu_list_get_last(const ozmu_list *list)
{
    return list->count < 1 ? nullptr : payload(list->tail->prev);
}

int ozmu_list_get_cnt(const ozmu_list *list) { return list->count; }

void ozmu_list_rem_at(ozmu_list *list, int index)
{
    if (index >= 0 && index < list->count)
        remove_node(list, node_at(list, index));
}

// Membership is not searched for (that would cost a walk); null and the sentinels are refused.
void ozmu_list_rem_atid(ozmu_list *list, void *id)
{
    auto *node = static_cast<ListNode *>(id);
    if (node && !is_sentinel(list, node))
        remove_node(list, node);
}

void ozmu_list_rem_first(ozmu_list *list)
{
    if (list->count >= 1)
        remove_node(list, list->head->next);
}

void ozmu_list_rem_last(ozmu_list *list)
{
    if (list->count >= 1)
        remove_node(list, list->tail->prev);
}

void *ozmu_list_get_cur(const ozmu_list *list) { return data_or_null(list->cursor); }

void *ozmu_list_move_first(ozmu_list *list)
{
    list->cursor = list->count < 1 ? nullptr : list->head->next;
    return data_or_null(list->cursor);
}

void *ozmu_list_move_last(ozmu_list *list)
{
    list->cursor = list->count < 1 ? nullptr : list->tail->prev;
    return data_or_null(list->cursor);
}

// No wrap-around: stepping off either end clears the cursor.
void *ozmu_list_move_next(ozmu_list *list)
{
    if (list->count < 1 || !list->cursor || list->cursor->next == list->tail)
        list->cursor = nullptr;
    else
        list->cursor = list->cursor->next;
    return data_or_null(list->cursor);
}

void *ozmu_list_move_prev(ozmu_list *list)
{
    if (list->count < 1 || !list->cursor || list->cursor->prev == list->head)
        list->cursor = nullptr;
    else
        list->cursor = list->cursor->prev;
    return data_or_null(list->cursor);
}

void ozmu_list_rem_cur(ozmu_list *list)
{
    if (list->count >= 1 && list->cursor)
        remove_node(list, list->cursor);
}

// Without a cursor the victim is the last element.
void ozmu_list_rem_prev(ozmu_list *list)
{
    if (list->count < 1)
        return;
    ListNode *victim = list->cursor ? list->cursor->prev : list->tail->prev;
    if (victim != list->head)
        remove_node(list, victim);
}

void ozmu_list_rem_next(ozmu_list *list)
{
    if (list->count < 1 || !list->cursor)
        return;
    ListNode *victim = list->cursor->next;
    if (victim != list->tail)
        remove_node(list, victim);
}

}  // extern "C"
