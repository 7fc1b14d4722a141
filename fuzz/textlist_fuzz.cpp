// Property lists of the older text form: what is read must be writable and come back equal.

#include "ListRoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    // Other first bytes lead to the other readers, which have targets of their own.
    if (size > 65536 || (size >= 6 && std::memcmp(bytes, "bplist", 6) == 0)) return 0;
    if (size > 0 && bytes[0] == '<') return 0;
    px::fuzz::ReadInEveryForm(bytes, size);
    return 0;
}
