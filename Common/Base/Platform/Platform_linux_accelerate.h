#pragma once

// Platform_linux_accelerate — the table's answers about the processor and aligned memory.

#include <cstddef>
#include <cstdint>

namespace px::os {

bool ProcessorLeaf(uint32_t leaf, uint32_t subleaf, uint32_t registers[4]);
void* AllocateAligned(size_t size, size_t alignment);
void FreeAligned(void* block);

}  // namespace px::os
