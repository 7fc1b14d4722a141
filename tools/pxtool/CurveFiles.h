#pragma once

// CurveFiles — tone curves out of preset files.

#include "Base/Ref.h"
#include "PXCore/PXBezierCurve.h"
#include "pxtool/Errors.h"

#include <string>

namespace px::tool {

// Enough to draw and to show.
inline constexpr int32_t kCurveSamples = 256;

Failure ReadCurve(const std::string& path, int32_t sampleCount, PXRef<PXBezierCurve>* curve);

}  // namespace px::tool
