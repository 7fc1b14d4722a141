// Images on streams: any bytes are refused or give an image, and a small image, written again,
// reads the same.

#include "Base/Ref.h"
#include "PXCore/PXImage.h"
#include "PXCore/PXImageStream.h"
#include "PXCore/PXStream.h"

#include "CoreFoundation/CoreFoundation.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

constexpr int64_t kMaxBytes = 1 << 20;

PXImage ReadImage(CFDataRef bytes)
{
    PXStream stream = nullptr;
    if (PXStreamCreateForConstantData(bytes, &stream) != kPXOK) return nullptr;
    PXImage image = nullptr;
    if (PXStreamOpen(stream) == kPXOK && PXImageCreateFromStream(stream, &image) != kPXOK)
        image = nullptr;
    PXStreamRelease(stream);
    return image;
}

std::vector<uint8_t> PixelsOf(PXImage image)
{
    const PXRect bounds = PXImageGetBounds(image);
    const int64_t row =
        (int64_t{bounds.width} * PXImageGetDepth(image) * PXImageGetNumPlanes(image) + 7) / 8;
    if (row <= 0 || bounds.height <= 0 || row > kMaxBytes / bounds.height) return {};
    std::vector<uint8_t> pixels(static_cast<size_t>(row * bounds.height));
    if (PXImageRead2(image, bounds, pixels.data(), row) != kPXOK) return {};
    return pixels;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const auto data =
        CFRef<CFDataRef>::Adopt(CFDataCreate(nullptr, bytes, static_cast<CFIndex>(size)));
    PXImage image = ReadImage(data.Get());
    if (!image) return 0;
    const std::vector<uint8_t> pixels = PixelsOf(image);
    if (!pixels.empty()) {
        const auto copy = CFRef<CFMutableDataRef>::Adopt(CFDataCreateMutable(nullptr, 0));
        PXStream stream = nullptr;
        if (PXStreamCreateForData(copy.Get(), &stream) != kPXOK || PXStreamOpen(stream) != kPXOK ||
            PXImageWriteToStream(image, stream) != kPXOK)
            std::abort();
        PXStreamRelease(stream);
        PXImage again = ReadImage(copy.Get());
        if (!again || PixelsOf(again) != pixels) std::abort();
        PXImageRelease(again);
    }
    PXImageRelease(image);
    return 0;
}
