#pragma once

// Platform_linux_display — what Linux knows of the display's colour profile, see Platform.h.
//
// Both answers load the library that they need when they are asked, so that nothing graphical is
// linked. The libraries stay loaded: they keep state of their own.

#include "Base/Platform/Platform.h"

#include <string>

namespace px::os::linux_display {

int AssignedMonitorProfile(char* path, size_t size);
int ServerMonitorProfile(uint64_t limitBytes, BytesVisitor visit, void* context);

// A library whose functions are looked up by name; which one is missing makes it incomplete.
class Library {
public:
    explicit Library(const char* fileName)
    {
        if (Os().openModule(fileName, false, &module_) != 0) isComplete_ = false;
    }

    template <class Function>
    void Find(const char* name, Function* function)
    {
        void* symbol = isComplete_ ? Os().findSymbol(module_, name) : nullptr;
        *function = reinterpret_cast<Function>(symbol);
        isComplete_ = isComplete_ && symbol;
    }
    bool IsComplete() const { return isComplete_; }

private:
    Module module_ = 0;
    bool isComplete_ = true;
};

}  // namespace px::os::linux_display
