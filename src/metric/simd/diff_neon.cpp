// NEON difference kernels. (Placeholder: forwards to the references until the vector code lands.)
#include "metric/metric.h"

namespace ozmu::neon {

#define OZMU_FORWARD_DIFF16(w, h)                                                                  \
    void diff##w##x##h##_16(const int16_t *a, const int16_t *b, int sa, int sb, int so,            \
                            int16_t *o)                                                            \
    {                                                                                              \
        ref::diff##w##x##h##_16(a, b, sa, sb, so, o);                                              \
    }
#define OZMU_FORWARD_DIFF(w, h)                                                                    \
    void diff##w##x##h(const uint8_t *a, const uint8_t *b, int sa, int sb, int so, int16_t *o)     \
    {                                                                                              \
        ref::diff##w##x##h(a, b, sa, sb, so, o);                                                   \
    }                                                                                              \
    OZMU_FORWARD_DIFF16(w, h)
OZMU_METRIC_SMALL_SIZES(OZMU_FORWARD_DIFF)
OZMU_METRIC_BI_SIZES(OZMU_FORWARD_DIFF)
OZMU_METRIC_DIFF16_ONLY_SIZES(OZMU_FORWARD_DIFF16)

void diff(int w, int h, const uint8_t *a, const uint8_t *b, int sa, int sb, int so, int16_t *o)
{
    ref::diff(w, h, a, b, sa, sb, so, o);
}
void diff_16(int w, int h, const int16_t *a, const int16_t *b, int sa, int sb, int so, int16_t *o)
{
    ref::diff_16(w, h, a, b, sa, sb, so, o);
}
void diff4x4_bi(const int16_t *a, const uint8_t *b, int sa, int sb, int so, int16_t *o)
{
    ref::diff4x4_bi(a, b, sa, sb, so, o);
}

}  // namespace ozmu::neon
