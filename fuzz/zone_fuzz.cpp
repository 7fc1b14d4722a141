// Files of the tz database: any bytes are read or refused, and what is read answers for any moment.

#include <cstdint>
#include <limits>
#include <string_view>

#include "ZoneRules.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size > 65536) return 0;
    const auto rules =
        px::cf::ZoneRules::Read(std::string_view(reinterpret_cast<const char*>(bytes), size));
    if (!rules) return 0;
    constexpr int64_t kFarthest = int64_t{1} << 56;
    for (int64_t at = kFarthest; at > 0; at /= 3) {
        rules->At(at);
        rules->At(-at);
    }
    return 0;
}
