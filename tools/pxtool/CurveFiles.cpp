#include "pxtool/CurveFiles.h"

#include "pxtool/ListFile.h"

namespace px::tool {

Failure ReadCurve(const std::string& path, int32_t sampleCount, PXRef<PXBezierCurve>* curve)
{
    constexpr int32_t kSlots = 256;
    CFRef<CFDataRef> bytes;
    if (Failure failure = ReadFileBytes(path, &bytes)) return failure;
    *curve = PXRef<PXBezierCurve>::Adopt(new PXBezierCurve(0, sampleCount, kSlots));
    if ((*curve)->initWithPresetRawData(bytes.Get()) == kPXOK) return Done();
    return CannotRead(path, "it is no preset of a curve", "see pxtool plist lint");
}

}  // namespace px::tool
