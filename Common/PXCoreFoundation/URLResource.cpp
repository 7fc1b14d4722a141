// Files behind URLs: whether they are there, their bytes and properties.

#include "Base/Platform/Platform.h"
#include "CoreFoundation/CFArray.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFDate.h"
#include "CoreFoundation/CFDictionary.h"
#include "CoreFoundation/CFError.h"
#include "Error_p.h"
#include "FileData.h"
#include "Number_p.h"
#include "String_p.h"
#include "URL_p.h"

#include <cerrno>
#include <vector>

namespace px::cf {

namespace {

constinit __CFString existsKey{"kCFURLFileExists"};
constinit __CFString contentsKey{"kCFURLFileDirectoryContents"};
constinit __CFString lengthKey{"kCFURLFileLength"};
constinit __CFString modifiedKey{"kCFURLFileLastModificationTime"};
constinit __CFString modeKey{"kCFURLFilePOSIXMode"};

SInt32 ReasonOf(int error)
{
    switch (error) {
        case 0:
            return 0;
        case ENOENT:
        case ENOTDIR:
            return kCFURLResourceNotFoundError;
        case EACCES:
        case EPERM:
        case EROFS:
            return kCFURLResourceAccessViolationError;
        default:
            return kCFURLUnknownError;
    }
}

// The path of the file of a URL; otherwise the reason why there is none.
SInt32 FindPath(CFURLRef url, std::string* path, const char* function)
{
    if (!Check<const __CFURL>(url, function)) return kCFURLImproperArgumentsError;
    if (PathOf(url, true, kCFURLPOSIXPathStyle, path)) return 0;
    const Owned<CFStringRef> scheme(CFURLCopyScheme(url));
    std::string name;
    const bool isFile =
        !scheme || (PathBytes(scheme.Get(), &name) && EqualsIgnoringCase(name, "file"));
    return isFile ? kCFURLImproperArgumentsError : kCFURLUnknownSchemeError;
}

Boolean Answer(SInt32 reason, SInt32* errorCode)
{
    if (errorCode) *errorCode = reason;
    return reason == 0;
}

CFArrayRef NewContents(const std::string& folder)
{
    std::vector<std::string> names;
    if (ListNames(folder, &names) != 0) return nullptr;
    Owned<CFMutableArrayRef> contents(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (const std::string& name : names) {
        const std::string path = folder + "/" + name;
        os::FileFacts facts;
        const bool isFolder = os::Os().factsOfPath(path.c_str(), &facts) == 0 && facts.isFolder;
        const Owned<CFURLRef> url(CFURLCreateFromFileSystemRepresentation(
            nullptr, reinterpret_cast<const UInt8*>(path.data()), static_cast<CFIndex>(path.size()),
            isFolder));
        if (url) CFArrayAppendValue(contents.Get(), url.Get());
    }
    return contents.Detach();
}

// What is known about one resource.
class Properties {
public:
    explicit Properties(const std::string& path)
        : path_(path), error_(os::Os().factsOfPath(path.c_str(), &facts_))
    {
    }

    int Error() const { return error_; }

    // An owned value, or null and the reason.
    CFTypeRef Copy(CFStringRef key, SInt32* reason) const
    {
        CFTypeRef value = nullptr;
        const bool isThere = error_ == 0;
        *reason = isThere ? kCFURLPropertyKeyUnavailableError : ReasonOf(error_);
        if (StringsEqual(key, &existsKey)) {
            value = isThere ? kCFBooleanTrue : kCFBooleanFalse;
        } else if (StringsEqual(key, &contentsKey)) {
            value = isThere && facts_.isFolder ? NewContents(path_) : nullptr;
        } else if (StringsEqual(key, &lengthKey)) {
            value = isThere && !facts_.isFolder ? NewInteger(facts_.size) : nullptr;
        } else if (StringsEqual(key, &modifiedKey)) {
            const double since1970 = static_cast<double>(facts_.modifiedSeconds);
            value = isThere ? CFDateCreate(nullptr, since1970 - kCFAbsoluteTimeIntervalSince1970)
                            : nullptr;
        } else if (StringsEqual(key, &modeKey)) {
            value = isThere ? NewInteger(facts_.permissions) : nullptr;
        } else {
            *reason = kCFURLUnknownPropertyKeyError;
        }
        if (value) *reason = 0;
        return value;
    }

private:
    const std::string& path_;
    os::FileFacts facts_;
    int error_;
};

bool IsString(CFTypeRef value)
{
    return value && ObjectOf(value)->type == Type::kString;
}

// The wanted properties, all that there are for null; the first reason for which one is missing.
SInt32 CollectProperties(const std::string& path, CFArrayRef wanted, CFDictionaryRef* result)
{
    const Properties properties(path);
    if (!wanted && properties.Error() != 0) return ReasonOf(properties.Error());
    const CFStringRef all[] = {&existsKey, &contentsKey, &lengthKey, &modifiedKey, &modeKey};
    const CFIndex count = wanted ? CFArrayGetCount(wanted) : CFIndex{std::size(all)};
    Owned<CFMutableDictionaryRef> found(CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    SInt32 reason = 0;
    for (CFIndex i = 0; i < count; ++i) {
        CFTypeRef key = wanted ? CFArrayGetValueAtIndex(wanted, i) : all[i];
        SInt32 missing = kCFURLUnknownPropertyKeyError;
        const Owned<CFTypeRef> value(
            IsString(key) ? properties.Copy(static_cast<CFStringRef>(key), &missing) : nullptr);
        if (value) CFDictionarySetValue(found.Get(), key, value.Get());
        if (!value && wanted && reason == 0) reason = missing;
    }
    *result = found.Detach();
    return reason;
}

SInt32 WriteBytes(const std::string& path, CFDataRef data)
{
    os::File file = os::kNoFile;
    int error = os::Os().openFile(path.c_str(), os::OpenMode::kCreate, &file);
    if (error) return ReasonOf(error);
    error = os::WriteAll(file, CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data)));
    const int closeError = os::Os().closeFile(file);
    return ReasonOf(error ? error : closeError);
}

SInt32 WriteMode(const std::string& path, CFTypeRef value)
{
    constexpr int64_t kAllBits = 0777;
    int64_t mode = 0;
    if (CFGetTypeID(value) != CFNumberGetTypeID() ||
        !CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &mode) ||
        mode < 0 || mode > kAllBits) {
        return kCFURLImproperArgumentsError;
    }
    os::File file = os::kNoFile;
    int error = os::Os().openFile(path.c_str(), os::OpenMode::kRead, &file);
    if (error) return ReasonOf(error);
    error = os::Os().setPermissions(file, static_cast<uint32_t>(mode));
    os::Os().closeFile(file);
    return ReasonOf(error);
}

SInt32 WriteProperties(const std::string& path, CFDictionaryRef properties)
{
    const auto count = static_cast<size_t>(CFDictionaryGetCount(properties));
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    CFDictionaryGetKeysAndValues(properties, keys.data(), values.data());
    SInt32 reason = 0;
    for (size_t i = 0; i < count; ++i) {
        SInt32 failure = kCFURLPropertyKeyUnavailableError;
        if (IsString(keys[i]) && StringsEqual(static_cast<CFStringRef>(keys[i]), &modeKey)) {
            failure = WriteMode(path, values[i]);
        }
        if (reason == 0) reason = failure;
    }
    return reason;
}

template <class Ref>
bool IsOptional(Ref ref, Type type)
{
    return !ref || ObjectOf(ref)->type == type;
}

}  // namespace

}  // namespace px::cf

using namespace px;
using namespace px::cf;

extern "C" {

constinit const CFStringRef kCFURLFileExists = &existsKey;
constinit const CFStringRef kCFURLFileDirectoryContents = &contentsKey;
constinit const CFStringRef kCFURLFileLength = &lengthKey;
constinit const CFStringRef kCFURLFileLastModificationTime = &modifiedKey;
constinit const CFStringRef kCFURLFilePOSIXMode = &modeKey;

Boolean CFURLResourceIsReachable(CFURLRef url, CFErrorRef* error)
{
    if (error) *error = nullptr;
    std::string path;
    os::FileFacts facts;
    const SInt32 reason = FindPath(url, &path, __func__);
    const int failure = reason ? EINVAL : os::Os().factsOfPath(path.c_str(), &facts);
    if (failure && error) {
        *error =
            NewError(kCFErrorDomainPOSIX, failure, kCFErrorDescriptionKey, os::TextOf(failure));
    }
    return failure == 0;
}

Boolean CFURLCreateDataAndPropertiesFromResource(CFAllocatorRef, CFURLRef url,
                                                 CFDataRef* resourceData,
                                                 CFDictionaryRef* properties,
                                                 CFArrayRef desiredProperties, SInt32* errorCode)
{
    if (resourceData) *resourceData = nullptr;
    if (properties) *properties = nullptr;
    std::string path;
    SInt32 reason = FindPath(url, &path, __func__);
    if (!IsOptional(desiredProperties, Type::kArray)) reason = kCFURLImproperArgumentsError;
    if (reason) return Answer(reason, errorCode);
    if (resourceData) {
        int error = 0;
        *resourceData = ReadWholeFile(path.c_str(), &error);
        reason = ReasonOf(error);
    }
    if (properties) {
        const SInt32 missing = CollectProperties(path, desiredProperties, properties);
        if (reason == 0) reason = missing;
    }
    return Answer(reason, errorCode);
}

Boolean CFURLWriteDataAndPropertiesToResource(CFURLRef url, CFDataRef dataToWrite,
                                              CFDictionaryRef propertiesToWrite, SInt32* errorCode)
{
    std::string path;
    SInt32 reason = FindPath(url, &path, __func__);
    if (!IsOptional(dataToWrite, Type::kData) ||
        !IsOptional(propertiesToWrite, Type::kDictionary) ||
        (!reason && dataToWrite && CFURLHasDirectoryPath(url))) {
        reason = kCFURLImproperArgumentsError;
    }
    if (!reason && dataToWrite) reason = WriteBytes(path, dataToWrite);
    if (!reason && propertiesToWrite) reason = WriteProperties(path, propertiesToWrite);
    return Answer(reason, errorCode);
}

Boolean CFURLDestroyResource(CFURLRef url, SInt32* errorCode)
{
    std::string path;
    const SInt32 reason = FindPath(url, &path, __func__);
    if (reason) return Answer(reason, errorCode);
    os::FileFacts facts;
    int error = os::Os().factsOfPath(path.c_str(), &facts);
    // A link to a folder is removed like a file, and so is one that leads nowhere.
    const bool isFolder = error == 0 && facts.isFolder;
    error = isFolder ? os::Os().removeFolder(path.c_str()) : os::Os().removeFile(path.c_str());
    if (isFolder && error == ENOTDIR) error = os::Os().removeFile(path.c_str());
    return Answer(ReasonOf(error), errorCode);
}

}  // extern "C"
