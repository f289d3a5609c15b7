// NEON SAD and SSD kernels. (Placeholder: forwards to the references until the vector code lands.)
#include "metric/metric.h"

namespace ozmu::neon {

#define OZMU_FORWARD_SAD(w, h)                                                                     \
    int sad##w##x##h(const uint8_t *a, const uint8_t *b, int sa, int sb)                           \
    {                                                                                              \
        return ref::sad##w##x##h(a, b, sa, sb);                                                    \
    }                                                                                              \
    int sad##w##x##h##_16(const int16_t *a, const int16_t *b, int sa, int sb)                      \
    {                                                                                              \
        return ref::sad##w##x##h##_16(a, b, sa, sb);                                               \
    }
#define OZMU_FORWARD_SAD_BI(w, h)                                                                  \
    int sad##w##x##h##_bi(const int16_t *a, const uint8_t *b, int sa, int sb)                      \
    {                                                                                              \
        return ref::sad##w##x##h##_bi(a, b, sa, sb);                                               \
    }
OZMU_METRIC_SMALL_SIZES(OZMU_FORWARD_SAD)
OZMU_METRIC_BI_SIZES(OZMU_FORWARD_SAD)
OZMU_METRIC_BI_SIZES(OZMU_FORWARD_SAD_BI)

int sad(int w, int h, const uint8_t *a, const uint8_t *b, int sa, int sb)
{
    return ref::sad(w, h, a, b, sa, sb);
}
int sad_16(int w, int h, const int16_t *a, const int16_t *b, int sa, int sb)
{
    return ref::sad_16(w, h, a, b, sa, sb);
}
int ssd(int w, int h, const uint8_t *a, const uint8_t *b, int sa, int sb)
{
    return ref::ssd(w, h, a, b, sa, sb);
}
int ssd_16(int w, int h, const int16_t *a, const int16_t *b, int sa, int sb)
{
    return ref::ssd_16(w, h, a, b, sa, sb);
}

}  // namespace ozmu::neon
