#pragma once

// AccelerateState — the process-wide state of acceleration, and memory for vector code.
//
// Threads: written by PXAccelerateInit and its kin, which run alone; read from any thread.

#include "PXAccelerate/PXAccelerate.h"

#include <atomic>
#include <cstddef>
#include <memory>

namespace px {

struct AccelerateState {
    std::atomic<PXCPUCapabilities> capabilities{0};
    std::atomic<uint64_t> alignmentShift{4};
    // Read when a blitter is made, to choose its engine.
    std::atomic<bool> isOn{false};
};

AccelerateState& Acceleration() noexcept;

// Blocks for kernels begin at cache lines, which suits every vector width.
inline constexpr size_t kBlockAlignment = 64;

struct AlignedFree {
    void operator()(void* block) const noexcept;
};
template <class T>
using AlignedBlock = std::unique_ptr<T[], AlignedFree>;

// `size` bytes at a cache line, not zeroed; null when there is no memory.
void* AllocateForKernels(size_t size) noexcept;

template <class T>
AlignedBlock<T> MakeAligned(size_t count) noexcept
{
    if (count > SIZE_MAX / sizeof(T)) return nullptr;
    return AlignedBlock<T>(static_cast<T*>(AllocateForKernels(count * sizeof(T))));
}

}  // namespace px
