// The code of bundles: loading it, and finding functions and variables in it.

#include "Bundle_p.h"
#include "FileData.h"
#include "String_p.h"
#include "URL_p.h"

namespace px::cf {

namespace {

bool FindModule(__CFBundle* bundle, os::Module* module)
{
    const std::lock_guard lock(bundle->moduleMutex);
    if (bundle->isLoaded) *module = bundle->module;
    return bundle->isLoaded;
}

// The code of the main bundle is the program, which is always there.
bool Load(__CFBundle* bundle, os::Module* module)
{
    *module = 0;
    if (bundle->isMain || FindModule(bundle, module)) return true;
    if (bundle->executable.empty()) return false;
    const ErrnoKeeper errnoKeeper;
    // Without the lock, because the code that is loaded runs its initialisers meanwhile.
    if (os::Os().openModule(bundle->executable.c_str(), false, module) != 0) return false;
    const std::lock_guard lock(bundle->moduleMutex);
    if (bundle->isLoaded) {
        os::Os().closeModule(*module);  // another thread was faster; the module stays
    } else {
        bundle->module = *module;
        bundle->isLoaded = true;
    }
    return true;
}

void* FindSymbol(CFBundleRef bundle, CFStringRef name, const char* function)
{
    std::string symbol;
    if (!Check<__CFBundle>(bundle, function) || !Check<const String>(name, function) ||
        !PathBytes(name, &symbol) || symbol.empty()) {
        return nullptr;
    }
    os::Module module = 0;
    return Load(bundle, &module) ? os::Os().findSymbol(module, symbol.c_str()) : nullptr;
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

Boolean CFBundleLoadExecutable(CFBundleRef bundle)
{
    if (!Check<__CFBundle>(bundle, __func__)) return false;
    px::os::Module module = 0;
    return Load(bundle, &module);
}

Boolean CFBundleIsExecutableLoaded(CFBundleRef bundle)
{
    if (!Check<__CFBundle>(bundle, __func__)) return false;
    px::os::Module module = 0;
    return bundle->isMain || FindModule(bundle, &module);
}

void CFBundleUnloadExecutable(CFBundleRef bundle)
{
    if (!Check<__CFBundle>(bundle, __func__)) return;
    px::os::Module module = 0;
    {
        const std::lock_guard lock(bundle->moduleMutex);
        if (!std::exchange(bundle->isLoaded, false)) return;
        module = std::exchange(bundle->module, 0);
    }
    px::os::Os().closeModule(module);
}

void* CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef functionName)
{
    return FindSymbol(bundle, functionName, __func__);
}

void* CFBundleGetDataPointerForName(CFBundleRef bundle, CFStringRef symbolName)
{
    return FindSymbol(bundle, symbolName, __func__);
}

}  // extern "C"
