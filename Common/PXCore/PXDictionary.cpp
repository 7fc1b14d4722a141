#include "PXCore/PXDictionary.h"

#include "Base/Ref.h"
#include "Base/Status.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXUtils.h"

#include <algorithm>
#include <limits>

namespace {

constexpr char kEventSource[] = "PXString";

CFTypeRef Find(CFDictionaryRef dictionary, CFStringRef key)
{
    PX_REQUIRE_OR(key, nullptr);
    return CFDictionaryGetValue(dictionary, key);
}

template <class T>
T GetNumber(CFDictionaryRef dictionary, CFStringRef key, CFNumberType type, T value)
{
    // What is no number leaves the default in place.
    if (CFTypeRef number = Find(dictionary, key))
        CFNumberGetValue(static_cast<CFNumberRef>(number), type, &value);
    return value;
}

void Set(CFMutableDictionaryRef dictionary, CFStringRef key, CFTypeRef value)
{
    PX_REQUIRE_OR(dictionary && key, );
    CFDictionarySetValue(dictionary, key, value);
}

template <class T>
void SetNumber(CFMutableDictionaryRef dictionary, CFStringRef key, CFNumberType type, T value)
{
    Set(dictionary, key,
        CFRef<CFNumberRef>::Adopt(CFNumberCreate(kCFAllocatorDefault, type, &value)).Get());
}

void AppendValue(const void* /*key*/, const void* value, void* array)
{
    CFArrayAppendValue(static_cast<CFMutableArrayRef>(array), value);
}

// Gives up a cached array. Whoever retained it sees it empty.
void Drop(CFMutableArrayRef array)
{
    CFArrayRemoveAllValues(array);
    CFRelease(array);
}

}  // namespace

PXDictionary::PXDictionary() noexcept
    : mutableDictionary_(PXUtilsCFDictionaryCreateMutable2()),
      dictionary_(mutableDictionary_),
      isOwner_(true)
{
}

PXDictionary::PXDictionary(CFDictionaryRef dictionary) noexcept : dictionary_(dictionary)
{
    PX_REQUIRE_OR(dictionary, );
    CFRetain(dictionary);
}

PXDictionary::PXDictionary(CFMutableDictionaryRef dictionary) noexcept
    : PXDictionary(static_cast<CFDictionaryRef>(dictionary))
{
    mutableDictionary_ = dictionary;
}

PXDictionary::~PXDictionary()
{
    if (isOwner_) CFDictionaryRemoveAllValues(mutableDictionary_);
    CFRelease(dictionary_);
    if (keys_) Drop(keys_);
    if (values_) Drop(values_);
}

CFMutableDictionaryRef PXDictionary::copyDictionary() const noexcept
{
    return copyDictionary(dictionary_);
}

CFMutableDictionaryRef PXDictionary::copyDictionary(CFDictionaryRef dictionary) noexcept
{
    PX_REQUIRE_OR(dictionary, nullptr);
    return CFDictionaryCreateMutableCopy(kCFAllocatorDefault, CFDictionaryGetCount(dictionary),
                                         dictionary);
}

CFArrayRef PXDictionary::getKeys() noexcept
{
    resetKeysArray();
    if (CFDictionaryGetCount(dictionary_) > 0) keys_ = PXUtilsCFDictionaryGetKeysCopy(dictionary_);
    return keys_;
}

CFArrayRef PXDictionary::getValues() noexcept
{
    resetValuesArray();
    const CFIndex count = CFDictionaryGetCount(dictionary_);
    if (count > 0)
        values_ = CFArrayCreateMutable(kCFAllocatorDefault, count, &kCFTypeArrayCallBacks);
    if (values_) CFDictionaryApplyFunction(dictionary_, AppendValue, values_);
    return values_;
}

void PXDictionary::resetKeysArray() noexcept
{
    CFRelease(keys_);
    keys_ = nullptr;
}

void PXDictionary::resetValuesArray() noexcept
{
    CFRelease(values_);
    values_ = nullptr;
}

signed char PXDictionary::getCharValue(CFStringRef key, signed char defaultValue) const noexcept
{
    return GetNumber(dictionary_, key, kCFNumberCharType, defaultValue);
}

short PXDictionary::getShortValue(CFStringRef key, short defaultValue) const noexcept
{
    return GetNumber(dictionary_, key, kCFNumberShortType, defaultValue);
}

int PXDictionary::getIntValue(CFStringRef key, int defaultValue) const noexcept
{
    return GetNumber(dictionary_, key, kCFNumberIntType, defaultValue);
}

int32_t PXDictionary::getLongValue(CFStringRef key, int32_t defaultValue) const noexcept
{
    // The type is the system's long, which may have twice the bits of the result.
    const long value = GetNumber(dictionary_, key, kCFNumberLongType, long{defaultValue});
    return static_cast<int32_t>(std::clamp<long>(value, std::numeric_limits<int32_t>::min(),
                                                 std::numeric_limits<int32_t>::max()));
}

float PXDictionary::getFloatValue(CFStringRef key, float defaultValue) const noexcept
{
    return GetNumber(dictionary_, key, kCFNumberFloatType, defaultValue);
}

double PXDictionary::getDoubleValue(CFStringRef key, double defaultValue) const noexcept
{
    return GetNumber(dictionary_, key, kCFNumberDoubleType, defaultValue);
}

bool PXDictionary::getBooleanValue(CFStringRef key, bool defaultValue) const noexcept
{
    CFTypeRef value = Find(dictionary_, key);
    return value ? CFBooleanGetValue(static_cast<CFBooleanRef>(value)) : defaultValue;
}

CFNumberRef PXDictionary::getNumberValue(CFStringRef key, CFNumberRef defaultValue) const noexcept
{
    CFTypeRef value = Find(dictionary_, key);
    return value ? static_cast<CFNumberRef>(value) : defaultValue;
}

CFStringRef PXDictionary::getStringValue(CFStringRef key, CFStringRef defaultValue) const noexcept
{
    CFTypeRef value = Find(dictionary_, key);
    return value ? static_cast<CFStringRef>(value) : defaultValue;
}

void PXDictionary::setCharValue(CFStringRef key, signed char value) noexcept
{
    SetNumber(mutableDictionary_, key, kCFNumberCharType, value);
}

void PXDictionary::setShortValue(CFStringRef key, short value) noexcept
{
    SetNumber(mutableDictionary_, key, kCFNumberShortType, value);
}

void PXDictionary::setIntValue(CFStringRef key, int value) noexcept
{
    SetNumber(mutableDictionary_, key, kCFNumberIntType, value);
}

void PXDictionary::setLongValue(CFStringRef key, int32_t value) noexcept
{
    SetNumber(mutableDictionary_, key, kCFNumberLongType, long{value});
}

void PXDictionary::setFloatValue(CFStringRef key, float value) noexcept
{
    SetNumber(mutableDictionary_, key, kCFNumberFloatType, value);
}

void PXDictionary::setDoubleValue(CFStringRef key, double value) noexcept
{
    SetNumber(mutableDictionary_, key, kCFNumberDoubleType, value);
}

void PXDictionary::setBooleanValue(CFStringRef key, bool value) noexcept
{
    Set(mutableDictionary_, key, value ? kCFBooleanTrue : kCFBooleanFalse);
}

unsigned char PXDictionary::containsKey(CFStringRef key) const noexcept
{
    PX_REQUIRE_OR(key, 0);
    return CFDictionaryContainsKey(dictionary_, key);
}

unsigned char PXDictionary::containsValue(CFTypeRef value) const noexcept
{
    PX_REQUIRE_OR(value, 0);
    return CFDictionaryContainsValue(dictionary_, value);
}
