#include "Base/Platform/Platform_linux_accelerate.h"

#if defined(__x86_64__)
#include <cpuid.h>
#endif

#include <algorithm>
#include <cstdlib>

namespace px::os {

bool ProcessorLeaf(uint32_t leaf, uint32_t subleaf, uint32_t registers[4])
{
    std::fill_n(registers, 4, 0U);
#if defined(__x86_64__)
    __cpuid_count(leaf, subleaf, registers[0], registers[1], registers[2], registers[3]);
    return true;
#else
    (void)leaf;
    (void)subleaf;
    return false;
#endif
}

void* AllocateAligned(size_t size, size_t alignment)
{
    void* block = nullptr;
    return posix_memalign(&block, std::max(alignment, sizeof(void*)), size) == 0 ? block : nullptr;
}

void FreeAligned(void* block)
{
    std::free(block);
}

}  // namespace px::os
