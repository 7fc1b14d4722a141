// .cube files from strangers: what is read is interpolated, and written and read back the same.

#include "PXCore/PXColorCube.h"

#include <cstdint>
#include <cstdlib>

#include "CoreFoundation/CoreFoundation.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size > (64 << 10)) return 0;
    CFDataRef data = CFDataCreate(nullptr, bytes, CFIndex(size));
    PXColorCube cube = PXColorCubeCreateFromFileData(data);
    CFRelease(data);
    if (!cube) return 0;
    PXVec3F color = {0.3F, -1, 7};
    if (PXColorCubeConvertColor(cube, &color, &color)) std::abort();
    CFDataRef text = PXColorCubeCreateFileData(cube, nullptr);
    PXColorCube again = PXColorCubeCreateFromFileData(text);
    if (!again || !CFEqual(PXColorCubeGetDataRef(cube), PXColorCubeGetDataRef(again))) std::abort();
    PXColorCubeRelease(again);
    CFRelease(text);
    PXColorCubeRelease(cube);
    return 0;
}
