#include "PXAccelerate/CPUCapabilities.h"

#include "Base/Platform/Platform.h"

#include <array>

namespace px {

namespace {

enum Register : uint32_t { kA, kB, kC, kD };
using Leaf = std::array<uint32_t, 4>;

struct Feature {
    Register where;
    uint32_t bit;
    PXCPUCapabilities capability;
};

constexpr Feature kLeaf1[] = {
    {kD, 23, kPXCPUMMX},  {kD, 25, kPXCPUSSE}, {kD, 26, kPXCPUSSE2},   {kC, 0, kPXCPUSSE3},
    {kC, 9, kPXCPUSSSE3}, {kC, 12, kPXCPUFMA}, {kC, 19, kPXCPUSSE41},  {kC, 20, kPXCPUSSE42},
    {kC, 25, kPXCPUAES},  {kC, 28, kPXCPUAVX}, {kC, 30, kPXCPURDRAND},
};

constexpr Feature kLeaf7[] = {
    {kB, 3, kPXCPUBMI1},        {kB, 5, kPXCPUAVX2},        {kB, 8, kPXCPUBMI2},
    {kB, 16, kPXCPUAVX512F},    {kB, 17, kPXCPUAVX512DQ},   {kB, 19, kPXCPUADX},
    {kB, 21, kPXCPUAVX512IFMA}, {kB, 26, kPXCPUAVX512PF},   {kB, 27, kPXCPUAVX512ER},
    {kB, 28, kPXCPUAVX512CD},   {kB, 29, kPXCPUSHA},        {kB, 30, kPXCPUAVX512BW},
    {kB, 31, kPXCPUAVX512VL},   {kC, 0, kPXCPUPREFETCHWT1}, {kC, 1, kPXCPUAVX512VBMI},
};

constexpr Feature kExtended1[] = {
    {kC, 5, kPXCPULZCNT}, {kC, 6, kPXCPUSSE4a},     {kC, 11, kPXCPUXOP},
    {kC, 16, kPXCPUFMA4}, {kD, 29, kPXCPULongMode},
};

Leaf ReadLeaf(uint32_t leaf)
{
    Leaf registers = {};
    if (!os::Os().processorLeaf(leaf, 0, registers.data())) registers = {};
    return registers;
}

template <size_t kCount>
PXCPUCapabilities FeaturesIn(uint32_t leaf, const Feature (&features)[kCount])
{
    const Leaf registers = ReadLeaf(leaf);
    PXCPUCapabilities found = 0;
    for (const Feature& feature : features) {
        if (registers[feature.where] >> feature.bit & 1) found |= feature.capability;
    }
    return found;
}

}  // namespace

PXCPUCapabilities DetectCPUCapabilities() noexcept
{
    constexpr uint32_t kExtended = 0x80000000;
    const uint32_t most = ReadLeaf(0)[kA];
    PXCPUCapabilities found = 0;
    if (most != 0) found |= FeaturesIn(1, kLeaf1);
    if (most >= 7) found |= FeaturesIn(7, kLeaf7);
    if (ReadLeaf(kExtended)[kA] > kExtended) found |= FeaturesIn(kExtended + 1, kExtended1);
    return found;
}

}  // namespace px
