#include "support/Seed.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace px::test {

uint64_t Seed(uint64_t fixed)
{
    const char* given = std::getenv("PX_TEST_SEED");
    const uint64_t seed = given ? std::strtoull(given, nullptr, 0) : fixed;
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    return seed;
}

}  // namespace px::test

// Tests ask for more memory than there is and expect to be refused, not ended. Read by the address
// sanitizer, and by nobody without it.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}
