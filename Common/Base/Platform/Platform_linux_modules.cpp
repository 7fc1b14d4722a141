// Modules, symbols and the stack.

#include "Base/Platform/Platform_linux_process.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace px::os {

int OpenModule(const char* path, bool onlyLoaded, Module* module)
{
    const int flags = RTLD_NOW | RTLD_LOCAL | (onlyLoaded ? RTLD_NOLOAD : 0);
    void* opened = dlopen(path, flags);
    // The loader explains itself in words only; a missing file is by far the usual reason.
    if (!opened) return std::strchr(path, '/') && access(path, R_OK) == 0 ? ENOEXEC : ENOENT;
    *module = reinterpret_cast<Module>(opened);
    return 0;
}

int CloseModule(Module module)
{
    return dlclose(reinterpret_cast<void*>(module)) ? EINVAL : 0;
}

int ModuleFileName(const char* name, char* buffer, size_t size)
{
    const bool isFile = std::strstr(name, ".so") != nullptr;
    const int length =
        std::snprintf(buffer, size, "%s%s%s", isFile ? "" : "lib", name, isFile ? "" : ".so");
    return length < 0 || static_cast<size_t>(length) >= size ? ERANGE : 0;
}

void* FindSymbol(Module module, const char* name)
{
    return dlsym(module ? reinterpret_cast<void*>(module) : RTLD_DEFAULT, name);
}

size_t CaptureStack(void** addresses, size_t most)
{
    const int count = backtrace(addresses, static_cast<int>(most));
    return count > 0 ? static_cast<size_t>(count) : 0;
}

void DescribeAddress(const void* address, char* buffer, size_t size)
{
    Dl_info found = {};
    if (!dladdr(address, &found) || !found.dli_fname) {
        std::snprintf(buffer, size, "?");
        return;
    }
    const char* slash = std::strrchr(found.dli_fname, '/');
    const char* name = slash ? slash + 1 : found.dli_fname;
    const void* base = found.dli_sname ? found.dli_saddr : found.dli_fbase;
    const size_t offset =
        static_cast<size_t>(static_cast<const char*>(address) - static_cast<const char*>(base));
    char* plain =
        found.dli_sname ? abi::__cxa_demangle(found.dli_sname, nullptr, nullptr, nullptr) : nullptr;
    const char* symbol = plain ? plain : found.dli_sname ? found.dli_sname : "";
    std::snprintf(buffer, size, "%s %s%s+ 0x%zx", name, symbol, *symbol ? " " : "", offset);
    std::free(plain);
}

void WriteDebugText(const char* text)
{
    std::fprintf(stderr, "%s\n", text);
}

}  // namespace px::os
