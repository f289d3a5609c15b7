// NEON Hadamard and SATD kernels. (Placeholder: forwards to the references until the vector code
// lands.)
#include "metric/metric.h"

namespace ozmu::neon {

int hadamard4x4(const int16_t *coef) { return ref::hadamard4x4(coef); }
int satd4x4(const uint8_t *a, const uint8_t *b, int sa, int sb) { return ref::satd4x4(a, b, sa, sb); }
int satd4x4_bi(const int16_t *a, const uint8_t *b, int sa, int sb)
{
    return ref::satd4x4_bi(a, b, sa, sb);
}
int satd4x4_16(const int16_t *a, const int16_t *b, int sa, int sb)
{
    return ref::satd4x4_16(a, b, sa, sb);
}
int satd8x8(const uint8_t *a, const uint8_t *b, int sa, int sb) { return ref::satd8x8(a, b, sa, sb); }
int satd8x8_16(const int16_t *a, const int16_t *b, int sa, int sb)
{
    return ref::satd8x8_16(a, b, sa, sb);
}
int satd8x8_bi(const int16_t *a, const uint8_t *b, int sa, int sb)
{
    return ref::satd8x8_bi(a, b, sa, sb);
}
int satd8x8_bi_16(const int16_t *a, const int16_t *b, int sa, int sb)
{
    return ref::satd8x8_bi_16(a, b, sa, sb);
}

}  // namespace ozmu::neon
