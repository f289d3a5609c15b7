// The containers' records and links: pin every field offset on LP64 targets.
#include <cstddef>

#include "container/container.h"

#if defined(__LP64__)
#define OZMU_AT(record, field, offset) static_assert(offsetof(record, field) == (offset), #field)

OZMU_AT(ozmu_list, elem_size, 0);
OZMU_AT(ozmu_list, count, 4);
OZMU_AT(ozmu_list, head, 8);
OZMU_AT(ozmu_list, tail, 16);
OZMU_AT(ozmu_list, cursor, 24);
OZMU_AT(ozmu_list, release, 32);
static_assert(sizeof(ozmu_list) == 40);

OZMU_AT(ozmu::container::ListNode, prev, 0);
OZMU_AT(ozmu::container::ListNode, next, 8);
static_assert(sizeof(ozmu::container::ListNode) == 16);  // element bytes follow

OZMU_AT(ozmu_rbuf, write_index, 0);
OZMU_AT(ozmu_rbuf, read_index, 4);
OZMU_AT(ozmu_rbuf, size, 8);
OZMU_AT(ozmu_rbuf, storage, 16);
static_assert(sizeof(ozmu_rbuf) == 24);

OZMU_AT(ozmu_rlist, capacity, 0);
OZMU_AT(ozmu_rlist, buf_size, 4);
OZMU_AT(ozmu_rlist, used, 8);
OZMU_AT(ozmu_rlist, back, 16);
OZMU_AT(ozmu_rlist, front, 24);
static_assert(sizeof(ozmu_rlist) == 32);

OZMU_AT(ozmu::container::Slot, toward_front, 0);
OZMU_AT(ozmu::container::Slot, toward_back, 8);
static_assert(sizeof(ozmu::container::Slot) == 16);  // the buffer follows

#undef OZMU_AT
#endif
