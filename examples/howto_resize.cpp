// Scales a picture with progress, cancels it half way, and makes the levels of a mip map.

#include "PXAccelerate/PXAccelerate.h"
#include "PXCore/PXImageDerived.h"

#include <cstdio>
#include <vector>

namespace {

// Runs on whatever thread works; cancelling is allowed from any.
void CancelHalfWay(PXProgress progress, void*)
{
    if (PXProgressGetFraction(progress) >= 0.5) PXProgressCancel(progress);
}

}  // namespace

int main()
{
    // Once, before anything is scaled: otherwise the library's own engine is used, which is slower.
    PXAccelerateInit();

    PXImage image = nullptr;
    PXStatus status = PXImageCreateWithParams2({0, 0, 3000, 2000}, 8, 4, kPXColorSpaceRGB,
                                               kPXTransparencyAlpha, kPXDataSourceMemory, &image);
    PXProgress progress = PXProgressCreate();
    PXImageScaleOptions options = {};
    options.filter = kPXBlitLanczos3;
    options.progress = progress;

    // Cancelled: no picture, no line in the log, and a status that is no error to show.
    PXImage scaled = nullptr;
    PXProgressSetCallback(progress, CancelHalfWay, nullptr);
    const PXStatus cancelled = PXImageCreateScaled(image, {0, 0, 1500, 1000}, &options, &scaled);
    std::printf("cancelled: %s, picture: %s\n", cancelled == kPXErrSoft ? "yes" : "no",
                scaled ? "yes" : "no");
    PXProgressRelease(progress);

    // A cancelled progress stays so: the next call gets a new one, or none.
    options.progress = nullptr;
    if (status == kPXOK) status = PXImageCreateScaledToFit(image, {640, 640}, &options, &scaled);
    std::printf("to fit 640 x 640: %d x %d\n", PXImageGetWidth(scaled), PXImageGetHeight(scaled));

    // Every level is half of the one before it.
    uint32_t count = PXImageGetMipCount(scaled);
    std::vector<PXImage> mips(count, nullptr);
    if (status == kPXOK) status = PXImageCreateMips(scaled, count, nullptr, &count, mips.data());
    std::printf("levels:");
    for (PXImage mip : mips) {
        std::printf(" %dx%d", PXImageGetWidth(mip), PXImageGetHeight(mip));
        PXImageRelease(mip);
    }
    std::printf("\n");
    PXImageRelease(scaled);
    PXImageRelease(image);
    return status == kPXOK ? 0 : 1;
}
