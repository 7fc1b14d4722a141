#pragma once

// DotProducts — the routines behind PXAccelerateDot and PXAccelerateDot4.

namespace px {

float DotScalar(const float* a, const float* b, int n);
void Dot4Scalar(const float* x, const float* const rows[4], float out[4], int n);

// Four lanes, whatever the processor: the order of the sums is promised.
float DotVector(const float* a, const float* b, int n);
void Dot4Vector(const float* x, const float* const rows[4], float out[4], int n);

}  // namespace px
