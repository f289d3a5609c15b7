// 32-byte aligned allocation. The raw malloc pointer sits in the 8 bytes just before the block.
#include <cstdint>
#include <cstdlib>

#include "core/dispatch.h"
#include "ozmu.h"

extern "C" {

void *ozmu_malloc_align32(uint32_t size)
{
    // The request is formed in 32 bits and sign-extended on purpose: callers rely on sizes from
    // 0x7FFFFFE0 to 0xFFFFFFDF (a negative sum, an enormous request) failing, and on larger ones
    // wrapping to small blocks.
    const auto padded = static_cast<int32_t>(size + 32u);
    if (padded < 0)
        return nullptr;  // what malloc answers for a sign-extended request
    // A wrapped sum (sizes from 0xFFFFFFE0) is smaller than the header offset of up to 39
    // bytes: give it that room too, so the block still holds its (size + 32) mod 2^32 bytes.
    int64_t request = int64_t{padded} + 8;
    if (padded < 32)
        request += 32;
    auto *raw = static_cast<unsigned char *>(std::malloc(static_cast<size_t>(request)));
    if (!raw)
        return nullptr;
    const uintptr_t block = (reinterpret_cast<uintptr_t>(raw) + 39u) & ~static_cast<uintptr_t>(31u);
    auto *aligned = raw + (block - reinterpret_cast<uintptr_t>(raw));
    reinterpret_cast<void **>(aligned)[-1] = raw;
    return aligned;
}

void ozmu_mfree_align32(void *ptr)
{
    if (ptr)
        std::free(static_cast<void **>(ptr)[-1]);
}

void *ozmu_malloc_fast_align32(uint32_t size) OZMU_ALIAS(ozmu_malloc_align32);
void ozmu_mfree_fast_align32(void *ptr) OZMU_ALIAS(ozmu_mfree_align32);

}  // extern "C"
