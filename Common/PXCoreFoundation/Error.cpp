#include "Error_p.h"

#include "Classes.h"
#include "CoreFoundation/CFDictionary.h"
#include "Runtime.h"
#include "String_p.h"

#include <cstring>

// Immutable. The user info is null when empty.
struct __CFError : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kError;
    __CFError(CFErrorDomain errorDomain, CFIndex errorCode, CFDictionaryRef info)
        : Object(kType, 0), domain(errorDomain), code(errorCode), userInfo(info)
    {
    }

    CFErrorDomain domain;
    CFIndex code;
    CFDictionaryRef userInfo;
};

namespace px::cf {

namespace {

using Error = __CFError;

constinit __CFString posixDomain{"NSPOSIXErrorDomain"};
constinit __CFString osStatusDomain{"NSOSStatusErrorDomain"};
constinit __CFString machDomain{"NSMachErrorDomain"};
constinit __CFString cocoaDomain{"NSCocoaErrorDomain"};

constinit __CFString localizedDescriptionKey{"NSLocalizedDescription"};
constinit __CFString localizedFailureReasonKey{"NSLocalizedFailureReason"};
constinit __CFString localizedRecoverySuggestionKey{"NSLocalizedRecoverySuggestion"};
constinit __CFString descriptionKey{"NSDescription"};
constinit __CFString underlyingErrorKey{"NSUnderlyingError"};
constinit __CFString urlKey{"NSURL"};
constinit __CFString filePathKey{"NSFilePath"};

CFDictionaryRef EmptyUserInfo()
{
    return CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                              &kCFTypeDictionaryValueCallBacks);
}

// Borrowed; null when the user info has no such text.
CFStringRef TextFor(const Error* error, CFStringRef key)
{
    if (!error->userInfo) return nullptr;
    const void* found = CFDictionaryGetValue(error->userInfo, key);
    if (!found || ObjectOf(found)->type != Type::kString) return nullptr;
    return static_cast<CFStringRef>(found);
}

void DestroyError(Object* object)
{
    auto* error = static_cast<Error*>(object);
    CFRelease(error->domain);
    CFRelease(error->userInfo);
    FreeObject(error);
}

bool ErrorsEqual(const Object* a, const Object* b, PairList& pending)
{
    auto* first = static_cast<const Error*>(a);
    auto* second = static_cast<const Error*>(b);
    return first->code == second->code && StringsEqual(first->domain, second->domain) &&
           pending.Push(first->userInfo, second->userInfo);
}

CFHashCode HashOfError(const Object* object)
{
    return static_cast<CFHashCode>(static_cast<const Error*>(object)->code);
}

// "<domain> error <code>", and what went wrong behind it when that is known.
CFStringRef DescribeWithoutText(const Error* error)
{
    CFStringRef reason = TextFor(error, &localizedFailureReasonKey);
    if (!reason) reason = TextFor(error, &descriptionKey);
    if (!reason) {
        return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ error %lld"), error->domain,
                                        static_cast<long long>(error->code));
    }
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ error %lld: %@"), error->domain,
                                    static_cast<long long>(error->code), reason);
}

CFStringRef CopyText(const Error* error)
{
    CFStringRef text = TextFor(error, &localizedDescriptionKey);
    return text ? CFStringCreateCopy(nullptr, text) : DescribeWithoutText(error);
}

CFStringRef CopyInfoText(const Error* error, CFStringRef key)
{
    CFStringRef text = error ? TextFor(error, key) : nullptr;
    return text ? CFStringCreateCopy(nullptr, text) : nullptr;
}

CFStringRef DescribeError(const Object* object)
{
    Owned<CFStringRef> text(CopyText(static_cast<const Error*>(object)));
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<CFError %p: %@>"),
                                    static_cast<const void*>(object), text.Get());
}

}  // namespace

const ClassInfo kErrorClass = {"CFError",   DestroyError,  ErrorsEqual,
                               HashOfError, DescribeError, true};

CFErrorRef NewError(CFErrorDomain domain, CFIndex code, CFStringRef key, const char* text)
{
    Owned<CFStringRef> value(NewUTF8String(text, static_cast<CFIndex>(std::strlen(text))));
    if (!value) return nullptr;
    const void* keys[] = {key};
    const void* values[] = {value.Get()};
    Owned<CFDictionaryRef> info(CFDictionaryCreate(nullptr, keys, values, 1,
                                                   &kCFTypeDictionaryKeyCallBacks,
                                                   &kCFTypeDictionaryValueCallBacks));
    return info ? CFErrorCreate(nullptr, domain, code, info.Get()) : nullptr;
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

constinit const CFErrorDomain kCFErrorDomainPOSIX = &posixDomain;
constinit const CFErrorDomain kCFErrorDomainOSStatus = &osStatusDomain;
constinit const CFErrorDomain kCFErrorDomainMach = &machDomain;
constinit const CFErrorDomain kCFErrorDomainCocoa = &cocoaDomain;

constinit const CFStringRef kCFErrorLocalizedDescriptionKey = &localizedDescriptionKey;
constinit const CFStringRef kCFErrorLocalizedFailureReasonKey = &localizedFailureReasonKey;
constinit const CFStringRef kCFErrorLocalizedRecoverySuggestionKey =
    &localizedRecoverySuggestionKey;
constinit const CFStringRef kCFErrorDescriptionKey = &descriptionKey;
constinit const CFStringRef kCFErrorUnderlyingErrorKey = &underlyingErrorKey;
constinit const CFStringRef kCFErrorURLKey = &urlKey;
constinit const CFStringRef kCFErrorFilePathKey = &filePathKey;

CFTypeID CFErrorGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kError);
}

CFErrorRef CFErrorCreate(CFAllocatorRef, CFErrorDomain domain, CFIndex code,
                         CFDictionaryRef userInfo)
{
    if (!Check<const __CFString>(domain, __func__)) return nullptr;
    if (userInfo && ObjectOf(userInfo)->type != Type::kDictionary) {
        Misuse(__func__, "user info of another class");
        return nullptr;
    }
    Owned<CFStringRef> ownDomain(CFStringCreateCopy(nullptr, domain));
    Owned<CFDictionaryRef> ownInfo;
    if (userInfo && CFDictionaryGetCount(userInfo) > 0) {
        ownInfo.Reset(CFDictionaryCreateCopy(nullptr, userInfo));
        if (!ownInfo) return nullptr;
    }
    Error* made = ownDomain ? NewObject<Error>(0, ownDomain.Get(), code, ownInfo.Get()) : nullptr;
    if (!made) return nullptr;
    // The error holds both now.
    (void)ownDomain.Detach();
    (void)ownInfo.Detach();
    return made;
}

CFErrorRef CFErrorCreateWithUserInfoKeysAndValues(CFAllocatorRef allocator, CFErrorDomain domain,
                                                  CFIndex code, const void* const* userInfoKeys,
                                                  const void* const* userInfoValues,
                                                  CFIndex numUserInfoValues)
{
    // Neither array is written to.
    const Owned<CFDictionaryRef> info(CFDictionaryCreate(
        nullptr, const_cast<const void**>(userInfoKeys), const_cast<const void**>(userInfoValues),
        numUserInfoValues, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    return info ? CFErrorCreate(allocator, domain, code, info.Get()) : nullptr;
}

CFErrorDomain CFErrorGetDomain(CFErrorRef err)
{
    const Error* error = Check<const Error>(err, __func__);
    return error ? error->domain : nullptr;
}

CFIndex CFErrorGetCode(CFErrorRef err)
{
    const Error* error = Check<const Error>(err, __func__);
    return error ? error->code : 0;
}

CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err)
{
    const Error* error = Check<const Error>(err, __func__);
    if (!error) return nullptr;
    if (!error->userInfo) return EmptyUserInfo();
    return static_cast<CFDictionaryRef>(CFRetain(error->userInfo));
}

CFStringRef CFErrorCopyDescription(CFErrorRef err)
{
    const Error* error = Check<const Error>(err, __func__);
    return error ? CopyText(error) : nullptr;
}

CFStringRef CFErrorCopyFailureReason(CFErrorRef err)
{
    return CopyInfoText(Check<const Error>(err, __func__), &localizedFailureReasonKey);
}

CFStringRef CFErrorCopyRecoverySuggestion(CFErrorRef err)
{
    return CopyInfoText(Check<const Error>(err, __func__), &localizedRecoverySuggestionKey);
}

}  // extern "C"
