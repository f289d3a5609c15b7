// mfal: a bare reference-counted record whose zeroed tail belongs to the caller.
#include <cstdlib>
#include <cstring>

#include "buffer/counted.h"
#include "ozmu.h"

namespace {

int mfal_addref(ozmu_mfal *m) { return ozmu::counted_addref(m); }
int mfal_getref(ozmu_mfal *m) { return ozmu::counted_getref(m); }
int mfal_release(ozmu_mfal *m) { return ozmu::counted_release(m, [](ozmu_mfal *) {}); }

}  // namespace

extern "C" {

ozmu_mfal *ozmu_mfal_create(uint64_t, int *err)
{
    auto *m = static_cast<ozmu_mfal *>(std::malloc(sizeof(ozmu_mfal)));
    if (!m) {
        ozmu::store_err(err, OZMU_ERR_MALLOC);
        return nullptr;
    }
    std::memset(m, 0, sizeof *m);
    ozmu::counted_start(m, mfal_addref, mfal_getref, mfal_release);
    ozmu::store_err(err, OZMU_OK);
    return m;
}

}  // extern "C"
