#pragma once

#include <cstdint>
#include <random>

namespace px::test {

// The seed of a random test: `fixed`, or the environment variable PX_TEST_SEED. Prints it.
uint64_t Seed(uint64_t fixed);

// Random numbers that begin at a seed.
class Random : public std::mt19937_64 {
public:
    explicit Random(uint64_t fixed) : std::mt19937_64(Seed(fixed)) {}
    // From 0 to below `limit`, which is above 0.
    int32_t Within(int32_t limit)
    {
        return static_cast<int32_t>((*this)() % static_cast<uint64_t>(limit));
    }
};

}  // namespace px::test
