// Reference counting shared by every counted record (image, audio and bit buffers, mfal). Each
// record starts with `refcnt` and its addref/getref/release pointers; these templates are the
// bodies of those operations, so that every record type counts and frees the same way.
#pragma once

#include <cstdlib>
#include <cstring>

#include "ozmu.h"

namespace ozmu {

// New count, or OZMU_ERR_INVALID_ARG for a null object.
template <class T>
int counted_addref(T *obj)
{
    if (!obj)
        return OZMU_ERR_INVALID_ARG;
    return ozmu_atomic_inc(&obj->refcnt);
}

// Current count, or OZMU_ERR_INVALID_ARG. Only a snapshot: other holders may change it at once.
template <class T>
int counted_getref(T *obj)
{
    if (!obj)
        return OZMU_ERR_INVALID_ARG;
    // A plain load on every target, but not a data race when other threads hold the object.
    return __atomic_load_n(&obj->refcnt, __ATOMIC_RELAXED);
}

// Drops one reference and returns the count left. The release that reaches 0 calls
// free_payload(obj) (the record's frame or sample memory, through its own callbacks), then frees
// the record itself and returns 0; the acquire/release decrement makes every other holder's
// writes visible to it first.
template <class T, class FreePayload>
int counted_release(T *obj, FreePayload &&free_payload)
{
    if (!obj)
        return OZMU_ERR_INVALID_ARG;
    const int left = ozmu_atomic_dec(&obj->refcnt);
    if (left != 0)
        return left;
    free_payload(obj);
    std::free(obj);
    return 0;
}

// Installs a record's three operations and takes the creator's reference (count 0 -> 1). The
// record must have been zeroed.
template <class T>
void counted_start(T *obj, decltype(T::addref) addref, decltype(T::getref) getref,
                   decltype(T::release) release)
{
    obj->addref = addref;
    obj->getref = getref;
    obj->release = release;
    ozmu_atomic_inc(&obj->refcnt);
}

// A counted record from malloc, zeroed, or null.
template <class T>
T *new_zeroed_record()
{
    auto *obj = static_cast<T *>(std::malloc(sizeof(T)));
    if (obj)
        std::memset(obj, 0, sizeof(T));
    return obj;
}

// Creators report through an optional `int *err`, never through a null one.
inline void store_err(int *err, int code)
{
    if (err)
        *err = code;
}

}  // namespace ozmu
