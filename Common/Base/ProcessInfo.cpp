// Facts about the machine and the list of processes.

#include "Base/PXProcess.h"
#include "Base/Platform/Platform.h"
#include "Base/Ref.h"
#include "CoreFoundation/CoreFoundation.h"

#include <algorithm>

namespace {

// A buffer of 8192 bytes takes as many ids.
constexpr size_t kMostProcesses = 8192 / sizeof(uint32_t);

struct ProcessIds {
    uint32_t ids[kMostProcesses];
    size_t count = 0;
};

bool AddId(uint32_t processId, void* context)
{
    auto* found = static_cast<ProcessIds*>(context);
    found->ids[found->count++] = processId;
    return found->count < kMostProcesses;
}

}  // namespace

uint32_t PXProcessGetCurrentThreadID(void) noexcept
{
    return px::os::Os().currentThreadId();
}

uint32_t PXThreadGetCurrentThreadID(void) noexcept
{
    return px::os::Os().currentThreadId();
}

uint32_t PXProcessGetNumProcessors(void) noexcept
{
    return std::max(1U, px::os::Os().onlineProcessorCount());
}

uint32_t PXProcessGetNumPhysicalProcessors(void) noexcept
{
    uint32_t count = 0;
    return px::os::Os().coreCount(&count) == 0 && count > 0 ? count : 1;
}

uint32_t PXProcessGetEffectiveProcessorCount(void) noexcept
{
    const uint32_t usable = px::os::Os().processorCount();
    uint32_t quota = usable;
    if (px::os::Os().processorQuota(&quota) != 0) quota = usable;
    return std::max(1U, std::min(usable, quota));
}

uint64_t PXProcessGetActualPhysicalMem(void) noexcept
{
    return px::os::Os().physicalMemory();
}

uint64_t PXProcessGetPhysicalMem(void) noexcept
{
    const uint64_t total = px::os::Os().physicalMemory();
    px::os::MemoryFacts facts;
    if (px::os::Os().memoryFacts(&facts) != 0) return total;
    return total - std::min(total, facts.kernel);
}

uint64_t PXProcessGetAvailableMem(void) noexcept
{
    px::os::MemoryFacts facts;
    uint64_t addressSpace = 0;
    if (px::os::Os().memoryFacts(&facts) != 0) facts = {};
    if (px::os::Os().availableAddressSpace(&addressSpace) != 0) addressSpace = 0;
    return facts.available + addressSpace;
}

uint64_t PXProcessGetEffectiveMemLimit(void) noexcept
{
    const uint64_t total = px::os::Os().physicalMemory();
    uint64_t quota = total;
    if (px::os::Os().memoryQuota(&quota) != 0) quota = total;
    return std::min(total, quota);
}

CFSetRef PXProcessGetPIDSCopy(void) noexcept
{
    CFMutableSetRef set = CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks);
    ProcessIds found;
    if (!set || px::os::Os().listProcesses(AddId, &found) != 0) return set;
    for (size_t i = 0; i < found.count; ++i) {
        const auto number =
            CFRef<CFNumberRef>::Adopt(CFNumberCreate(nullptr, kCFNumberSInt32Type, &found.ids[i]));
        if (number) CFSetAddValue(set, number.Get());
    }
    return set;
}
