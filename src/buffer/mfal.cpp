// mfal: a bare reference-counted record whose zeroed tail belongs to the caller.

#include "buffer/counted.h"
#include "ozmu.h"

namespace {

int mfal_addref(ozmu_mfal *m) { return ozmu::counted_addref(m); }
int mfal_getref(ozmu_mfal *m) { return ozmu::counted_getref(m); }
int mfal_release(ozmu_mfal *m)
{
    return ozmu::counted_release(m, [](ozmu_mfal *) {});
}

}  // namespace

extern "C" {

ozmu_mfal *ozmu_mfal_create(uint64_t, int *err)
{
    auto *m = ozmu::new_zeroed_record<ozmu_mfal>();
    if (!m) {
        ozmu::store_err(err, OZMU_ERR_MALLOC);
        return nullptr;
    }
    ozmu::counted_start(m, mfal_addref, mfal_getref, mfal_release);
    ozmu::store_err(err, OZMU_OK);
    return m;
}

}  // extern "C"
