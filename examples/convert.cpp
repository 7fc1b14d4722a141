// Converts an image of random pixels from sRGB to Adobe RGB (1998) and prints one of them.

#include "PXCore/PXColorProfile.h"

#include <cstdint>
#include <cstdio>
#include <vector>

int main()
{
    const PXRect bounds = {0, 0, 640, 480};
    std::vector<uint8_t> pixels(640 * 480 * 3);
    for (size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<uint8_t>(i * 2654435761U >> 13);

    PXImage image = nullptr;
    PXColorProfile from = PXColorProfileCreateStandard(kPXColorStandardSRGB);
    PXColorProfile to = PXColorProfileCreateStandard(kPXColorStandardAdobeRGB1998);
    int status = static_cast<int>(PXImageCreateMemory(bounds, 8, 3, kPXColorSpaceRGB,
                                                      kPXTransparencyNone, pixels.data(), &image));
    const unsigned before = pixels[1];
    if (!status)
        status = PXColorProfileConvertProfile(from, to, image, image, bounds, kPXIntentPerceptual);
    std::printf("status %d, green of the first pixel %u -> %u\n", status, before, pixels[1]);

    PXImageRelease(image);
    PXColorProfileRelease(to);
    PXColorProfileRelease(from);
    return status ? 1 : 0;
}
