#include "PXAccelerate/PXAccelerate.h"

#include "Base/Platform/Platform.h"
#include "PXAccelerate/AccelerateState.h"
#include "PXAccelerate/BlitKernels.h"
#include "PXAccelerate/CPUCapabilities.h"
#include "PXAccelerate/DotProducts.h"
#include "PXAccelerate/ResizeKernels.h"
#include "PXAccelerate/ResizePrimitives.h"
#include "PXAccelerate/TransformKernels.h"

#include <cstring>

namespace px {

AccelerateState& Acceleration() noexcept
{
    static AccelerateState state;  // trivially destroyed
    return state;
}

void* AllocateForKernels(size_t size) noexcept
{
    return os::Os().allocateAligned(size, kBlockAlignment);
}

void AlignedFree::operator()(void* block) const noexcept
{
    os::Os().freeAligned(block);
}

}  // namespace px

PXAccelerateDotProc PXAccelerateDot = px::DotScalar;
PXAccelerateDot4Proc PXAccelerateDot4 = px::Dot4Scalar;

int PXAccelerateInit() noexcept
{
    px::AccelerateState& state = px::Acceleration();
    state.capabilities = px::DetectCPUCapabilities();
    state.alignmentShift = state.capabilities & kPXCPUAVX ? 5 : 4;
    PXAccelerateDSPInit();
    px::FillResizeTable(&px::ResizeTable());
    state.isOn = true;
    return 0;
}

int PXAccelerateShutdown() noexcept
{
    px::Acceleration().isOn = false;
    return 0;
}

PXCPUCapabilities PXAccelerateCPUCapabilities() noexcept
{
    return px::Acceleration().capabilities;
}

const char* PXAccelerateGetKernelName(uint32_t step) noexcept
{
    switch (step) {
        case kPXAccelerateBlit:
            return px::SelectBlitKernels().name;
        case kPXAccelerateResize:
            return px::SelectResizeKernels().name;
        case kPXAccelerateTransform:
            return px::SelectTransformKernels().name;
        default:
            return nullptr;
    }
}

uint64_t PXAccelerateAlignment() noexcept
{
    return uint64_t{1} << px::Acceleration().alignmentShift;
}

uint64_t PXAccelerateAlignBytes(uint64_t size) noexcept
{
    const uint64_t mask = PXAccelerateAlignment() - 1;
    return size > UINT64_MAX - mask ? UINT64_MAX & ~mask : (size + mask) & ~mask;
}

void* PXAccelerateAlloc(uint64_t size) noexcept
{
    // An empty block is a block: null means a lack of memory only.
    const uint64_t rounded = PXAccelerateAlignBytes(size > 0 ? size : 1);
    void* block = rounded < size ? nullptr : px::AllocateForKernels(rounded);
    if (block) std::memset(block, 0, rounded);
    return block;
}

void PXAccelerateFree(void* block) noexcept
{
    px::AlignedFree()(block);
}

int PXAccelerateDSPInit() noexcept
{
    if (PXAccelerateCPUCapabilities() & kPXCPUSSE2) {
        PXAccelerateDot = px::DotVector;
        PXAccelerateDot4 = px::Dot4Vector;
    }
    return 0;
}
