// Facts about the machine and the list of processes.

#include "Base/PXProcess.h"
#include "Base/Platform/Platform.h"
#include "Base/Ref.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"

#include <algorithm>
#include <atomic>
#include <string>

namespace {

constexpr size_t kMaxPath = 4096;

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

// What an application id asks for, and the first process that answers to it.
struct AppSearch {
    std::string name;       // the whole id
    std::string lastPiece;  // of a dotted id, in lower case; else empty
    uint32_t found = 0;
};

std::string LowerCase(std::string text)
{
    for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    return text;
}

bool IsApp(uint32_t processId, void* context)
{
    auto* search = static_cast<AppSearch*>(context);
    char path[kMaxPath];
    if (px::os::Os().processExecutable(processId, path, sizeof(path)) != 0) return true;
    std::string name = path;
    name.erase(0, name.rfind('/') + 1);
    const bool isPiece = !search->lastPiece.empty() && LowerCase(name) == search->lastPiece;
    if (name == search->name || isPiece) search->found = processId;
    return search->found == 0;
}

}  // namespace

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

uint32_t PXProcessGetPID(void) noexcept
{
    return px::os::Os().processId();
}

uint32_t PXProcessGetPIDWithAppID(CFStringRef appID) noexcept
{
    AppSearch search;
    search.name = px::UTF8Of(appID);
    if (search.name.empty()) return 0;
    const size_t dot = search.name.rfind('.');
    if (dot != std::string::npos) search.lastPiece = LowerCase(search.name.substr(dot + 1));
    px::os::Os().listProcesses(IsApp, &search);
    return search.found;
}

CFStringRef PXProcessGetUserName(void) noexcept
{
    static constinit std::atomic<CFStringRef> kept{nullptr};
    if (CFStringRef known = kept.load(std::memory_order_acquire)) return known;
    char name[kMaxPath];
    if (px::os::Os().userName(name, sizeof(name)) != 0) return nullptr;
    CFRef<CFStringRef> made = px::StringOfAnyBytes(name);
    CFStringRef first = nullptr;
    return kept.compare_exchange_strong(first, made.Get()) ? made.Detach() : first;
}

bool PXProcessGetSandboxed(void) noexcept
{
    return px::os::Os().isSandboxed();
}

CFStringRef PXProcessGetCopyHWMachineModel(void) noexcept
{
    char model[kMaxPath];
    if (px::os::Os().machineModel(model, sizeof(model)) != 0) return nullptr;
    return px::StringOfAnyBytes(model).Detach();
}

bool PXProcessIsAppWinArm64(void) noexcept
{
    return false;
}
