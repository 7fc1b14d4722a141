// Uses an installed library from C++: the standard profiles must be found beside it.

#include <Base/BaseCore.h>
#include <PXCore/PXColorProfile.h>

#include <cstdio>

int main()
{
    PXColorProfile profile = PXColorProfileCreateStandard(kPXColorStandardProPhoto22);
    const bool isValid = PXColorProfileIsValid(profile);
    PXColorProfileRelease(profile);
    std::printf("%s\n", isValid ? "found" : "missing");
    return isValid ? 0 : 1;
}
