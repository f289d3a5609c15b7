/* A plain C caller of the installed library. */
#include <stdio.h>
#include <stdint.h>

#include <ozmu.h>

int main(void)
{
    int err = -1;
    uint32_t pad[3] = {OZMU_HV(16, 16), OZMU_HV(8, 8), OZMU_HV(8, 8)};
    ozmu_imgb *img = ozmu_imgb_create(64, 48, OZMU_CS_YUV420, 0, NULL, pad, NULL, NULL, &err);
    void *block = ozmu_malloc_align32(100);
    int ok = img != NULL && err == OZMU_OK && ((uintptr_t)block & 31) == 0 &&
             img->stride[0] == 96 && ozmu_floor_log2(1024) == 10;
    ozmu_mfree_align32(block);
    if (img)
        ok = ok && img->release(img) == 0;
    printf("consumer %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
