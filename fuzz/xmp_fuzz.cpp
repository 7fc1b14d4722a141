// Corrects XMP packets: they keep their length or are left out, and a corrected one is well-formed
// and has nothing left to correct.

#include "pxtool/XMP.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    std::vector<uint8_t> packet(bytes, bytes + size);
    px::tool::CorrectXMP(&packet);
    if (packet.empty()) return 0;
    if (packet.size() != size) std::abort();
    std::vector<uint8_t> again = packet;
    px::tool::CorrectXMP(&again);
    if (again != packet) std::abort();
    return 0;
}
