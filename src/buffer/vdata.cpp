// vdata: a tagged value record owning a copy of a blob. The copy is followed by two zero bytes so
// that 8-bit and 16-bit text held in it ends terminated.
#include <cstdlib>
#include <cstring>

#include "ozmu.h"

namespace {

int vdata_copy(ozmu_vdata *v, const void *data, int size, uint32_t tag)
{
    auto *copy = static_cast<uint8_t *>(std::malloc(static_cast<size_t>(size) + 2));
    v->data = copy;
    if (!copy)
        return OZMU_ERR_MALLOC;
    std::memcpy(copy, data, static_cast<size_t>(size));
    copy[size] = 0;
    copy[size + 1] = 0;
    v->size = size;
    v->tag = tag;
    return OZMU_OK;
}

}  // namespace

extern "C" {

int ozmu_vdata_set(ozmu_vdata *v, const void *data, int size, int tag)
{
    if (!v || !data || size < 1)
        return OZMU_ERR_INVALID_ARG;
    return vdata_copy(v, data, size, static_cast<uint32_t>(tag));
}

int ozmu_vdata_cpy(ozmu_vdata *dst, const ozmu_vdata *src)
{
    if (!dst || !src || !src->data || src->size < 1)
        return OZMU_ERR_INVALID_ARG;
    // dst's previous copy stays the caller's to free.
    return vdata_copy(dst, src->data, src->size, src->tag);
}

void ozmu_vdata_free(ozmu_vdata *v)
{
    if (!v)
        return;
    std::free(v->data);
    v->data = nullptr;
    v->tag = 0;
    v->size = 0;
}

}  // extern "C"
