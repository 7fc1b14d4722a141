// Converts a picture from one colour profile to another, and shows what a device would make of it.

#include "Base/PXHandle.h"
#include "PXCore/PXColorProfileImages.h"
#include "PXCore/PXImage.h"

#include <cstdio>
#include <cstdlib>

using Image = PXHandle<PXImageRetain, PXImageRelease>;
using Profile = PXHandle<PXColorProfileRetain, PXColorProfileRelease>;

int main()
{
    // Two pixels of a wide colour space: a grey, and a green that no sRGB device has.
    uint16_t wide[2 * 3] = {0x8000, 0x8000, 0x8000, 0x1000, 0xF000, 0x1000};
    uint8_t shown[2 * 3] = {};
    const PXRect bounds = {0, 0, 2, 1};
    Image source;
    Image result;
    PXStatus status = PXImageCreateMemory(bounds, 16, 3, kPXColorSpaceRGB, kPXTransparencyNone,
                                          wide, source.Receive());
    if (status == kPXOK)
        status = PXImageCreateMemory(bounds, 8, 3, kPXColorSpaceRGB, kPXTransparencyNone, shown,
                                     result.Receive());

    // Standard profiles are shared: making one again gives the same object.
    const auto proPhoto = Profile::Adopt(PXColorProfileCreateStandard(kPXColorStandardProPhoto));
    const auto sRGB = Profile::Adopt(PXColorProfileCreateStandard(kPXColorStandardSRGB));
    const auto adobeRGB =
        Profile::Adopt(PXColorProfileCreateStandard(kPXColorStandardAdobeRGB1998));

    // Source and result may differ in depth, and may be the same picture.
    int failure = static_cast<int>(status);
    if (!failure)
        failure = PXColorProfileApplyToImage2(proPhoto.Get(), source.Get(), sRGB.Get(),
                                              result.Get(), kPXIntentRelativeColorimetric);
    const bool isGrey = std::abs(shown[0] - shown[1]) <= 1 && std::abs(shown[1] - shown[2]) <= 1;
    std::printf("grey stays grey: %s\n", isGrey ? "yes" : "no");
    std::printf("the green is clipped to the edge: %s\n",
                shown[3] == 0 && shown[4] == 255 ? "yes" : "no");

    // What an Adobe RGB display shows of what an sRGB device makes of it; colours that the device
    // does not have are pure red. A null display is the monitor.
    if (!failure)
        failure = PXColorProfileSoftProofImage(proPhoto.Get(), sRGB.Get(),
                                               kPXIntentRelativeColorimetric, adobeRGB.Get(), true,
                                               false, source.Get(), result.Get(), bounds, nullptr);
    for (int i = 0; i < 2; ++i) {
        const bool isOut = shown[i * 3] == 255 && shown[i * 3 + 1] == 0 && shown[i * 3 + 2] == 0;
        std::printf("pixel %d: %s\n", i, isOut ? "out of the device's gamut" : "can be shown");
    }
    return failure ? 1 : 0;
}
