#pragma once

#include <cstdint>

namespace px::test {

// The seed of a random test: `fixed`, or the environment variable PX_TEST_SEED. Prints it.
uint64_t Seed(uint64_t fixed);

}  // namespace px::test
