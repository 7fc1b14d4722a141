#include "PXAccelerate/DotProducts.h"

// Highway's baseline here has one lane; these four are part of every x86-64 processor.
#include <xmmintrin.h>

namespace px {

namespace {

float SumOfLanes(__m128 lanes)
{
    alignas(16) float parts[4];
    _mm_store_ps(parts, lanes);
    return (parts[0] + parts[1]) + (parts[2] + parts[3]);
}

// sums + a * b, lane by lane.
__m128 AddProducts(__m128 sums, __m128 a, const float* b)
{
    return _mm_add_ps(sums, _mm_mul_ps(a, _mm_loadu_ps(b)));
}

}  // namespace

float DotScalar(const float* a, const float* b, int n)
{
    float sum = 0;
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        sum += a[i] * b[i];
        sum += a[i + 1] * b[i + 1];
        sum += a[i + 2] * b[i + 2];
        sum += a[i + 3] * b[i + 3];
    }
    for (; i < n; ++i) sum += a[i] * b[i];
    return sum;
}

void Dot4Scalar(const float* x, const float* const rows[4], float out[4], int n)
{
    for (int k = 0; k < 4; ++k) out[k] = 0;
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < 4; ++k) out[k] += x[i] * rows[k][i];
    }
}

float DotVector(const float* a, const float* b, int n)
{
    __m128 sums = _mm_setzero_ps();
    int i = 0;
    for (; i + 4 <= n; i += 4) sums = AddProducts(sums, _mm_loadu_ps(a + i), b + i);
    float sum = SumOfLanes(sums);
    for (; i < n; ++i) sum += a[i] * b[i];
    return sum;
}

void Dot4Vector(const float* x, const float* const rows[4], float out[4], int n)
{
    for (int k = 0; k < 4; ++k) out[k] = 0;
    __m128 sums[4] = {_mm_setzero_ps(), _mm_setzero_ps(), _mm_setzero_ps(), _mm_setzero_ps()};
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128 loaded = _mm_loadu_ps(x + i);
        for (int k = 0; k < 4; ++k) sums[k] = AddProducts(sums[k], loaded, rows[k] + i);
    }
    for (int k = 0; k < 4; ++k) out[k] = SumOfLanes(sums[k]);
    for (; i < n; ++i) {
        for (int k = 0; k < 4; ++k) out[k] += x[i] * rows[k][i];
    }
}

}  // namespace px
