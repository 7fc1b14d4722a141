// Modules, symbols, the stack and memory from the system.

#include "Base/Folders.h"
#include "Base/Mutex.h"
#include "Base/NeverDestroyed.h"
#include "Base/PXProcess.h"
#include "Base/Platform/Platform.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"

#include <cerrno>
#include <string>
#include <unordered_map>

namespace {

constexpr char kEventSource[] = "PXProcess";
constexpr size_t kMaxPath = 4096;
constexpr size_t kMostFrames = 128;

// The modules that are out and how often each: the system's loader follows any pointer it is given,
// so that only these may reach it.
class OpenModules {
public:
    static OpenModules& Shared()
    {
        static px::NeverDestroyed<OpenModules> modules;
        return *modules;
    }

    PXModule Add(px::os::Module module)
    {
        px::MutexLocker lock(mutex_);
        ++counts_[module];
        return reinterpret_cast<PXModule>(module);
    }

    // False for what is no module.
    bool Remove(PXModule module)
    {
        px::MutexLocker lock(mutex_);
        const auto found = counts_.find(reinterpret_cast<px::os::Module>(module));
        if (found == counts_.end()) return false;
        if (--found->second == 0) counts_.erase(found);
        return true;
    }

    bool Has(PXModule module)
    {
        px::MutexLocker lock(mutex_);
        return counts_.contains(reinterpret_cast<px::os::Module>(module));
    }

private:
    px::Mutex mutex_;
    std::unordered_map<px::os::Module, uint32_t> counts_ PX_GUARDED_BY(mutex_);
};

int OpenByName(const std::string& name, bool onlyLoaded, px::os::Module* module)
{
    char fileName[kMaxPath];
    if (const int error = px::os::Os().moduleFileName(name.c_str(), fileName, sizeof(fileName)))
        return error;
    char executable[kMaxPath];
    if (px::os::Os().executablePath(executable, sizeof(executable)) == 0) {
        const std::string folder = px::ParentOf(executable);
        for (const std::string& place : {folder + "/", folder + "/../lib/"}) {
            const std::string path = place + fileName;
            px::os::FileFacts facts;
            if (px::os::Os().factsOfPath(path.c_str(), &facts) != 0 || !facts.isRegular) continue;
            return px::os::Os().openModule(path.c_str(), onlyLoaded, module);
        }
    }
    return px::os::Os().openModule(fileName, onlyLoaded, module);
}

PXStatus OpenFramework(CFStringRef name, bool onlyLoaded, PXModule* outModule)
{
    PX_REQUIRE(outModule);
    *outModule = nullptr;
    const std::string text = px::UTF8Of(name);
    PX_REQUIRE(!text.empty() && text.find_first_of(std::string("/\\\0", 3)) == std::string::npos);
    px::os::Module module = 0;
    if (const int error = OpenByName(text, onlyLoaded, &module))
        return PX_FAIL(px::os::StatusOf(error));
    *outModule = OpenModules::Shared().Add(module);
    return kPXOK;
}

void* FindFunction(px::os::Module module, CFStringRef name)
{
    const std::string text = px::UTF8Of(name);
    return text.empty() ? nullptr : px::os::Os().findSymbol(module, text.c_str());
}

}  // namespace

PXStatus PXProcessLoadDylib(CFURLRef url, PXModule* outModule) noexcept
{
    PX_REQUIRE(outModule);
    *outModule = nullptr;
    const std::string path = px::PathOf(url);
    PX_REQUIRE(!path.empty());
    px::os::Module module = 0;
    if (const int error = px::os::Os().openModule(path.c_str(), false, &module))
        return PX_FAIL(px::os::StatusOf(error));
    *outModule = OpenModules::Shared().Add(module);
    return kPXOK;
}

PXStatus PXProcessLoadFramework(CFStringRef name, PXModule* outModule) noexcept
{
    return OpenFramework(name, false, outModule);
}

PXStatus PXProcessOpenFrameworkAgain(CFStringRef name, PXModule* outModule) noexcept
{
    return OpenFramework(name, true, outModule);
}

PXStatus PXProcessUnloadDylib(PXModule module) noexcept
{
    PX_REQUIRE(OpenModules::Shared().Remove(module));
    PX_REQUIRE(px::os::Os().closeModule(reinterpret_cast<px::os::Module>(module)) == 0);
    return kPXOK;
}

void* PXProcessGetFunctionPointForName(CFStringRef name) noexcept
{
    return FindFunction(0, name);
}

void* PXProcessGetDylibFunctionPointForName(PXModule module, CFStringRef name) noexcept
{
    if (!OpenModules::Shared().Has(module)) return nullptr;
    return FindFunction(reinterpret_cast<px::os::Module>(module), name);
}

void* PXProcessAllocateVirtualMemory(uint64_t sizeBytes) noexcept
{
    PX_REQUIRE_OR(sizeBytes > 0, nullptr);
    void* memory = sizeBytes <= PTRDIFF_MAX
                       ? px::os::Os().allocateBlock(static_cast<size_t>(sizeBytes))
                       : nullptr;
    if (!memory) (void)PX_FAIL(kPXErrCreate);
    return memory;
}

void PXProcessFreeVirtualMemory(void* memory, uint64_t sizeBytes) noexcept
{
    if (memory) px::os::Os().freeBlock(memory, static_cast<size_t>(sizeBytes));
}

void PXProcessDumpStack(void) noexcept
{
    void* addresses[kMostFrames];
    const size_t count = px::os::Os().captureStack(addresses, kMostFrames);
    for (size_t i = 0; i < count; ++i) {
        char text[512];
        px::os::Os().describeAddress(addresses[i], text, sizeof(text));
        const CFRef<CFStringRef> place = px::StringOfAnyBytes(text);
        PXLog(CFSTR("#%d %p %@"), static_cast<int>(i), addresses[i], place.Get());
    }
}
