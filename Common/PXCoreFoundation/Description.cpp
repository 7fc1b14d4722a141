#include "Description_p.h"

#include "CoreFoundation/CFString.h"
#include "String_p.h"

#include <cstring>

namespace px::cf {

CFStringRef DescribeByTextForm(const Object* object)
{
    Owned<CFMutableStringRef> text(CFStringCreateMutable(nullptr, 0));
    if (!text) return nullptr;
    const char* name = InfoOf(object->type)->name;
    const bool begun = AppendAscii(text.Get(), "<", 1) &&
                       AppendAscii(text.Get(), name, static_cast<CFIndex>(std::strlen(name))) &&
                       AppendAscii(text.Get(), " ", 1);
    if (!begun) return nullptr;
    AppendTextForm(text.Get(), object);
    return AppendAscii(text.Get(), ">", 1) ? text.Detach() : nullptr;
}

}  // namespace px::cf
