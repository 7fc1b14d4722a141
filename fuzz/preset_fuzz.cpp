// Presets and archives of presets from strangers. What is read is written and read again: a preset
// must then be what it was, and an archive that is taken holds only harmless names.

#include "Base/Ref.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXBezierCurve.h"
#include "PXCore/PXColor.h"
#include "PXCore/PXUtils.h"
#include "PXCore/PresetArchive.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

void TryArchive(CFDataRef data)
{
    std::vector<px::ArchiveEntry> entries;
    if (px::ReadArchive(data, {".pxcurve", ".png"}, &entries)) return;
    for (const px::ArchiveEntry& entry : entries) {
        if (entry.name.find('/') != std::string::npos || entry.name[0] == '.') std::abort();
    }
}

// The shape alone decides about 0…1, so samples are looked at, too.
void TryCurve(CFDataRef data)
{
    auto curve = PXRef<PXBezierCurve>::Adopt(new PXBezierCurve(0, 64, 4));
    if (curve->initWithPresetRawData(data) != kPXOK) return;
    for (const float sample : curve->getSamples()) {
        if (!(sample >= 0 && sample <= 1)) std::abort();
    }
    const auto xml = CFRef<CFDataRef>::Adopt(PXUtilsCreateXMLData(nullptr, curve->presetData()));
    if (!xml) return;  // a name with characters that XML does not have
    auto again = PXRef<PXBezierCurve>::Adopt(new PXBezierCurve(0, 64, 4));
    if (again->initWithPresetRawData(xml.Get()) != kPXOK) std::abort();
    // Numbers that are none differ from themselves.
    const std::vector<PXPointF> points = curve->getControlPoints();
    const bool isPlain = PXBezierCurve::pointVectorCompare(points, points);
    if (isPlain && *curve != *again) std::abort();
}

void TryColour(CFDataRef data)
{
    const auto list = CFRef<CFMutableDictionaryRef>::Adopt(
        PXUtilsCreateDictionaryFromXMLData(nullptr, data, kCFPropertyListImmutable, nullptr));
    if (!list) return;
    PXColor colour;
    colour.initWithPresetData(list.Get());
    PXColor again;
    again.initWithPresetData(colour.presetData());
    if (again != colour) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size > (64 << 10)) return 0;
    const auto data =
        CFRef<CFDataRef>::Adopt(CFDataCreate(nullptr, bytes, static_cast<CFIndex>(size)));
    TryArchive(data.Get());
    TryCurve(data.Get());
    TryColour(data.Get());
    return 0;
}
