// Strings over the caller's text, and as names of files.

#include "StringEncoding.h"

namespace px::cf {

namespace {

bool IsDeallocator(CFAllocatorRef deallocator, const char* function)
{
    if (!deallocator || ObjectOf(deallocator)->type == Type::kAllocator) return true;
    Misuse(function, "the deallocator is no allocator");
    return false;
}

// Strings keep a copy, so lent text goes back at once; it stays the caller's without a string.
CFStringRef GiveBack(CFStringRef made, const void* text, CFAllocatorRef deallocator)
{
    if (made && text) DeallocateWith(deallocator, text);
    return made;
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFStringRef CFStringCreateWithBytesNoCopy(CFAllocatorRef alloc, const UInt8* bytes,
                                          CFIndex numBytes, CFStringEncoding encoding,
                                          Boolean isExternalRepresentation,
                                          CFAllocatorRef contentsDeallocator)
{
    if (!IsDeallocator(contentsDeallocator, __func__)) return nullptr;
    return GiveBack(
        CFStringCreateWithBytes(alloc, bytes, numBytes, encoding, isExternalRepresentation), bytes,
        contentsDeallocator);
}

CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef alloc, const char* cStr,
                                            CFStringEncoding encoding,
                                            CFAllocatorRef contentsDeallocator)
{
    if (!IsDeallocator(contentsDeallocator, __func__)) return nullptr;
    return GiveBack(CFStringCreateWithCString(alloc, cStr, encoding), cStr, contentsDeallocator);
}

CFStringRef CFStringCreateWithCharactersNoCopy(CFAllocatorRef alloc, const UniChar* chars,
                                               CFIndex numChars, CFAllocatorRef contentsDeallocator)
{
    if (!IsDeallocator(contentsDeallocator, __func__)) return nullptr;
    return GiveBack(CFStringCreateWithCharacters(alloc, chars, numChars), chars,
                    contentsDeallocator);
}

CFStringRef CFStringCreateWithFileSystemRepresentation(CFAllocatorRef alloc, const char* buffer)
{
    return CFStringCreateWithCString(alloc, buffer, kCFStringEncodingUTF8);
}

Boolean CFStringGetFileSystemRepresentation(CFStringRef string, char* buffer, CFIndex maxBufLen)
{
    if (!buffer || maxBufLen <= 0) return false;
    if (!CFStringGetCString(string, buffer, maxBufLen, kCFStringEncodingUTF8)) return false;
    // A name ends at its first zero, so text that holds one names no file.
    const StringView text = ViewOf(string);
    for (CFIndex i = 0; i < text.length; ++i) {
        if (text[i] != 0) continue;
        buffer[0] = 0;
        return false;
    }
    return true;
}

CFIndex CFStringGetMaximumSizeOfFileSystemRepresentation(CFStringRef string)
{
    const auto* text = Check<const String>(string, __func__);
    if (!text) return 0;
    return CFStringGetMaximumSizeForEncoding(text->length, kCFStringEncodingUTF8) + 1;
}

}  // extern "C"
