// The table behind CFSTR: one immortal string for each text, for the life of the process.

#include "CoreFoundation/CFError.h"
#include "CoreFoundation/CFLocale.h"
#include "CoreFoundation/CFNumberFormatter.h"
#include "CoreFoundation/CFStream.h"
#include "CoreFoundation/CFURL.h"
#include "StringStorage.h"

#include <mutex>

namespace px::cf {

namespace {

// Open addressing over a power of two of slots, at most half full. Strings are never removed. Plain
// data and a constant-initialised lock, so that it works before main and after exit handlers ran.
struct ConstantTable {
    std::mutex lock;
    CFStringRef* slots = nullptr;
    size_t capacity = 0;
    size_t count = 0;
};
constinit ConstantTable constants;

// The exported constants are objects of their own; CFSTR of their text gives those very objects.
// Every new one belongs here.
const CFStringRef* const kExportedConstants[] = {
    &kCFErrorDomainPOSIX,
    &kCFErrorDomainOSStatus,
    &kCFErrorDomainMach,
    &kCFErrorDomainCocoa,
    &kCFErrorLocalizedDescriptionKey,
    &kCFErrorLocalizedFailureReasonKey,
    &kCFErrorLocalizedRecoverySuggestionKey,
    &kCFErrorDescriptionKey,
    &kCFErrorUnderlyingErrorKey,
    &kCFErrorURLKey,
    &kCFErrorFilePathKey,
    &kCFStreamPropertyDataWritten,
    &kCFStreamPropertyFileCurrentOffset,
    &kCFStreamPropertyAppendToFile,
    &kCFLocaleIdentifier,
    &kCFLocaleLanguageCode,
    &kCFLocaleCountryCode,
    &kCFLocaleDecimalSeparator,
    &kCFLocaleGroupingSeparator,
    &kCFNumberFormatterUseGroupingSeparator,
    &kCFNumberFormatterMinIntegerDigits,
    &kCFNumberFormatterMinFractionDigits,
    &kCFNumberFormatterMaxFractionDigits,
    &kCFNumberFormatterAlwaysShowDecimalSeparator,
    &kCFURLFileExists,
    &kCFURLFileDirectoryContents,
    &kCFURLFileLength,
    &kCFURLFileLastModificationTime,
    &kCFURLFilePOSIXMode,
};

CFStringRef* SlotFor(CFStringRef* slots, size_t capacity, CFStringRef string)
{
    size_t at = HashOfString(string) & (capacity - 1);
    while (slots[at] && !StringsEqual(slots[at], string)) at = (at + 1) & (capacity - 1);
    return &slots[at];
}

bool GrowTable(ConstantTable& table)
{
    const size_t capacity = table.capacity ? table.capacity * 2 : 256;
    const size_t size = capacity * sizeof(CFStringRef);
    auto* slots = static_cast<CFStringRef*>(AllocateBytes(static_cast<CFIndex>(size)));
    if (!slots) return false;
    std::memset(slots, 0, size);
    for (size_t i = 0; i < table.capacity; ++i) {
        if (table.slots[i]) *SlotFor(slots, capacity, table.slots[i]) = table.slots[i];
    }
    std::free(table.slots);
    table.slots = slots;
    table.capacity = capacity;
    return true;
}

bool MakeRoom(ConstantTable& table)
{
    if (table.count * 2 < table.capacity) return true;
    const bool isNew = table.capacity == 0;
    if (!GrowTable(table)) return false;
    if (!isNew) return true;
    for (const CFStringRef* exported : kExportedConstants) {
        CFStringRef* slot = SlotFor(table.slots, table.capacity, *exported);
        if (!*slot) ++table.count;
        *slot = *exported;
    }
    return true;
}

// Takes `string` over and returns the constant of its text; null when memory runs out.
CFStringRef Intern(CFStringRef string)
{
    const std::lock_guard<std::mutex> guard(constants.lock);
    if (!MakeRoom(constants)) {
        CFRelease(string);
        return nullptr;
    }
    CFStringRef* slot = SlotFor(constants.slots, constants.capacity, string);
    if (*slot) {
        CFRelease(string);
        return *slot;
    }
    auto* fresh = const_cast<String*>(string);
    fresh->flags |= kImmortal;
    CountDestroyed(Type::kString);  // constants are no live objects for leak tests
    ++constants.count;
    return *slot = fresh;
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" CFStringRef __CFStringMakeConstantString(const char* cStr)
{
    if (!cStr) return nullptr;
    const auto length = static_cast<CFIndex>(std::strlen(cStr));
    CFStringRef made = NewUTF8String(cStr, length);
    if (!made) made = CFStringCreateWithCString(nullptr, cStr, kCFStringEncodingISOLatin1);
    return made ? Intern(made) : nullptr;
}
