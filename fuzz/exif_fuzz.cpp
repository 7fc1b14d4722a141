// Reads and changes EXIF bytes: nothing outside them may be touched, and what was changed must read
// as upright.

#include "pxtool/Exif.h"

#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    constexpr size_t kMaxBytes = 64 << 10;  // as large as a JPEG marker
    if (size > kMaxBytes) return 0;
    std::vector<uint8_t> exif(bytes, bytes + size);
    const px::tool::ExifFacts before = px::tool::ReadExif(exif);
    if (before.orientation < 1 || before.orientation > 8) std::abort();
    for (const bool flag : {false, true}) {
        std::vector<uint8_t> changed = exif;
        px::tool::ChangeExif(changed,
                             {px::tool::ExifColour::kSRGB, true, flag, flag ? 70000U : 0U, 9});
        if (!before.isReadable && changed != exif) std::abort();
    }
    return 0;
}
