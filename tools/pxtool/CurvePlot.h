#pragma once

// CurvePlot — a tone curve as a drawing: the curve, its points and the identity.
//
// Drawings are square; y is that of the graph, 0 at the top, so that the fresh curve lies on the
// identity, which rises from the lower left to the upper right.

#include "PXCore/PXBezierCurve.h"
#include "pxtool/Picture.h"

#include <string>

namespace px::tool {

// Vectors, `size` units wide.
std::string PlotSVG(const PXBezierCurve& curve, int32_t size);
// 8 bits of RGB, `size` pixels wide. `path` is what a failure names.
Failure PlotPicture(const PXBezierCurve& curve, int32_t size, const std::string& path,
                    Picture* picture);

}  // namespace px::tool
