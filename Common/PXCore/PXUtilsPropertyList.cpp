#include "Base/PXLog.h"
#include "Base/Ref.h"
#include "Base/Status.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXUtils.h"

namespace {

constexpr char kEventSource[] = "PXString";

// A reader's or writer's sentence, which nobody here shows.
void Drop(CFStringRef sentence)
{
    CFRelease(sentence);
}

PXStatus Read(const void* bytes, long length, CFPropertyListRef* out)
{
    PX_REQUIRE(out);
    *out = nullptr;
    const auto stream = CFRef<CFReadStreamRef>::Adopt(CFReadStreamCreateWithBytesNoCopy(
        kCFAllocatorDefault, static_cast<const UInt8*>(bytes), length, kCFAllocatorNull));
    if (!stream) return PX_FAIL(kPXErrCreate);
    if (!CFReadStreamOpen(stream.Get())) return PX_FAIL(kPXErrNotFound);
    CFPropertyListFormat format = kCFPropertyListXMLFormat_v1_0;
    CFStringRef sentence = nullptr;
    *out = CFPropertyListCreateFromStream(kCFAllocatorDefault, stream.Get(), length,
                                          kCFPropertyListImmutable, &format, &sentence);
    Drop(sentence);
    CFReadStreamClose(stream.Get());
    return *out ? PXStatus{kPXOK} : PX_FAIL(kPXErrListRead);
}

PXStatus ReadData(CFDataRef data, CFPropertyListRef* out)
{
    if (out) *out = nullptr;
    PX_REQUIRE(data && out);
    const PXStatus status = Read(CFDataGetBytePtr(data), CFDataGetLength(data), out);
    // Logged again, as a failure of the data; Fail keeps quiet about the soft status.
    return status == kPXOK ? status : PX_FAIL(status);
}

PXStatus Write(CFPropertyListRef list, CFPropertyListFormat format, CFDataRef* out)
{
    if (out) *out = nullptr;
    PX_REQUIRE(list && out);
    const auto stream = CFRef<CFWriteStreamRef>::Adopt(
        CFWriteStreamCreateWithAllocatedBuffers(kCFAllocatorDefault, kCFAllocatorDefault));
    if (!stream) return PX_FAIL(kPXErrCreate);
    if (!CFWriteStreamOpen(stream.Get())) return PX_FAIL(kPXErrNotFound);
    CFStringRef sentence = nullptr;
    const CFIndex written = CFPropertyListWriteToStream(list, stream.Get(), format, &sentence);
    Drop(sentence);
    if (written > 0)
        *out = static_cast<CFDataRef>(
            CFWriteStreamCopyProperty(stream.Get(), kCFStreamPropertyDataWritten));
    CFWriteStreamClose(stream.Get());
    return *out ? PXStatus{kPXOK} : PX_FAIL(kPXErrListWrite);
}

// Whoever reads the log finds the culprit by its key; nested lists are not searched for it.
void LogCulprit(const void* key, const void* value, void* /*context*/)
{
    if (CFGetTypeID(key) != CFStringGetTypeID())
        PXLog(CFSTR("Property list key \"%@\" is not a string"), key);
    if (!CFPropertyListIsValid(value, kCFPropertyListXMLFormat_v1_0))
        PXLog(CFSTR("Property list value of key \"%@\" is not valid"), key);
}

}  // namespace

int PXUtilsCreatePropertyList(const void* bytes, long length, CFOptionFlags /*options*/,
                              CFPropertyListRef* out) noexcept
{
    return static_cast<int>(Read(bytes, length, out));
}

int PXUtilsCreatePropertyListFromData(CFDataRef data, CFOptionFlags /*options*/,
                                      CFPropertyListRef* out) noexcept
{
    return static_cast<int>(ReadData(data, out));
}

int PXUtilsCreatePropertyListData(CFPropertyListRef list, CFPropertyListFormat format,
                                  CFDataRef* out) noexcept
{
    return static_cast<int>(Write(list, format, out));
}

CFDataRef PXUtilsCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef list) noexcept
{
    PX_REQUIRE_OR(list, nullptr);
    CFDataRef xml = CFPropertyListCreateData(allocator, list, kCFPropertyListXMLFormat_v1_0,
                                             kPXCFPropertyListOmitDoctype, nullptr);
    if (!xml) PX_FAIL(kPXErrListWrite);
    return xml;
}

CFMutableDictionaryRef PXUtilsCreateDictionaryFromXMLData(CFAllocatorRef allocator, CFDataRef data,
                                                          CFOptionFlags mutability,
                                                          CFStringRef* errorString) noexcept
{
    if (errorString) *errorString = nullptr;
    PX_REQUIRE_OR(data, nullptr);
    CFPropertyListRef list =
        CFPropertyListCreateFromXMLData(allocator, data, mutability, errorString);
    if (list && CFGetTypeID(list) == CFDictionaryGetTypeID())
        return static_cast<CFMutableDictionaryRef>(const_cast<void*>(list));
    CFRelease(list);
    PX_FAIL(kPXErrListRead);
    return nullptr;
}

bool PXUtilsIsValidPropertyList(CFPropertyListRef list) noexcept
{
    PX_REQUIRE_OR(list, false);
    if (CFPropertyListIsValid(list, kCFPropertyListXMLFormat_v1_0)) return true;
    // Keys and values that are no objects cannot be looked at.
    if (PXCFDictionaryHoldsObjects(static_cast<CFDictionaryRef>(list)))
        CFDictionaryApplyFunction(static_cast<CFDictionaryRef>(list), LogCulprit, nullptr);
    return false;
}
