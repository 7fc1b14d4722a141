// Binary property lists: what is read must be writable and come back equal from both formats.

#include "ListRoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size > 65536 || size < 6 || std::memcmp(bytes, "bplist", 6) != 0) return 0;
    px::fuzz::ReadInEveryForm(bytes, size);
    return 0;
}
