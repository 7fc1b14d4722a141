#include "Base/Ref.h"
#include "Base/Status.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXUtils.h"

#include <cstdint>

namespace {

constexpr char kEventSource[] = "PXString";

template <class T>
CFRef<CFNumberRef> Number(CFNumberType type, T value)
{
    return CFRef<CFNumberRef>::Adopt(CFNumberCreate(kCFAllocatorDefault, type, &value));
}

// Zero for what is no number; CFNumberGetValue then writes nothing.
template <class T>
T ValueOf(CFTypeRef number, CFNumberType type)
{
    T value = 0;
    if (number) CFNumberGetValue(static_cast<CFNumberRef>(number), type, &value);
    return value;
}

template <class T>
void Set(CFMutableDictionaryRef dictionary, CFStringRef key, CFNumberType type, T value)
{
    PX_REQUIRE_OR(dictionary && key, );
    CFDictionarySetValue(dictionary, key, Number(type, value).Get());
}

template <class T>
T Get(CFDictionaryRef dictionary, CFStringRef key, CFNumberType type)
{
    PX_REQUIRE_OR(dictionary && key, 0);
    return ValueOf<T>(CFDictionaryGetValue(dictionary, key), type);
}

bool IsA(CFTypeRef value, CFTypeID type)
{
    return value && CFGetTypeID(value) == type;
}

void AppendKey(const void* key, const void* /*value*/, void* array)
{
    CFArrayAppendValue(static_cast<CFMutableArrayRef>(array), key);
}

struct Comparison {
    CFDictionaryRef other;
    bool isEqual;
};

void CompareEntry(const void* key, const void* value, void* context)
{
    auto* comparison = static_cast<Comparison*>(context);
    if (!comparison->isEqual) return;
    const void* other = CFDictionaryGetValue(comparison->other, key);
    comparison->isEqual = value && other ? CFEqual(value, other) : value == other;
}

}  // namespace

void PXUtilsCFDictionarySetValueBool(CFMutableDictionaryRef dictionary, CFStringRef key,
                                     bool value) noexcept
{
    Set<int>(dictionary, key, kCFNumberIntType, value ? 1 : 0);
}

bool PXUtilsCFDictionaryGetValueBool(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<int>(dictionary, key, kCFNumberIntType) != 0;
}

void PXUtilsCFDictionarySetValueInt(CFMutableDictionaryRef dictionary, CFStringRef key,
                                    int value) noexcept
{
    Set(dictionary, key, kCFNumberIntType, value);
}

int PXUtilsCFDictionaryGetValueInt(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<int>(dictionary, key, kCFNumberIntType);
}

void PXUtilsCFDictionarySetValueLongLong(CFMutableDictionaryRef dictionary, CFStringRef key,
                                         long long value) noexcept
{
    Set(dictionary, key, kCFNumberLongLongType, value);
}

long long PXUtilsCFDictionaryGetValueLongLong(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<long long>(dictionary, key, kCFNumberLongLongType);
}

void PXUtilsCFDictionarySetValueFloat(CFMutableDictionaryRef dictionary, CFStringRef key,
                                      float value) noexcept
{
    Set(dictionary, key, kCFNumberFloatType, value);
}

float PXUtilsCFDictionaryGetValueFloat(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<float>(dictionary, key, kCFNumberFloatType);
}

void PXUtilsCFDictionarySetValueDouble(CFMutableDictionaryRef dictionary, CFStringRef key,
                                       double value) noexcept
{
    Set(dictionary, key, kCFNumberDoubleType, value);
}

double PXUtilsCFDictionaryGetValueDouble(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<double>(dictionary, key, kCFNumberDoubleType);
}

void PXUtilsCFDictionarySetValuePointer(CFMutableDictionaryRef dictionary, CFStringRef key,
                                        void* value) noexcept
{
    Set(dictionary, key, kCFNumberSInt64Type,
        static_cast<int64_t>(reinterpret_cast<uintptr_t>(value)));
}

void* PXUtilsCFDictionaryGetValuePointer(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return reinterpret_cast<void*>(
        static_cast<uintptr_t>(Get<int64_t>(dictionary, key, kCFNumberSInt64Type)));
}

bool PXUtilsCFDictionaryGetValueIntIfPresent(CFDictionaryRef dictionary, CFStringRef key,
                                             int* out) noexcept
{
    PX_REQUIRE_OR(dictionary && key, false);
    const void* number = CFDictionaryGetValue(dictionary, key);
    int32_t value = 0;
    if (!IsA(number, CFNumberGetTypeID()) ||
        !CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt32Type, &value))
        return false;
    if (out) *out = value;
    return true;
}

void PXUtilsCFDictionarySetKeyInt(CFMutableDictionaryRef dictionary, int key,
                                  CFTypeRef value) noexcept
{
    PX_REQUIRE_OR(dictionary && value, );
    CFDictionarySetValue(dictionary, Number(kCFNumberIntType, key).Get(), value);
}

CFDictionaryRef PXUtilsCFDictionaryGetCFDictionary(CFDictionaryRef dictionary,
                                                   CFStringRef key) noexcept
{
    PX_REQUIRE_OR(dictionary && key, nullptr);
    const void* value = CFDictionaryGetValue(dictionary, key);
    return IsA(value, CFDictionaryGetTypeID()) ? static_cast<CFDictionaryRef>(value) : nullptr;
}

void PXUtilsCFDictionarySetCFDictionary(CFMutableDictionaryRef dictionary, CFStringRef key,
                                        CFDictionaryRef value) noexcept
{
    PX_REQUIRE_OR(dictionary && key && value, );
    CFDictionarySetValue(dictionary, key, value);
}

CFMutableDictionaryRef PXUtilsCFDictionaryCreateMutable2() noexcept
{
    return CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                     &kCFTypeDictionaryValueCallBacks);
}

CFMutableArrayRef PXUtilsCFDictionaryGetKeysCopy(CFDictionaryRef dictionary) noexcept
{
    PX_REQUIRE_OR(dictionary, nullptr);
    CFMutableArrayRef keys = CFArrayCreateMutable(
        kCFAllocatorDefault, CFDictionaryGetCount(dictionary), &kCFTypeArrayCallBacks);
    if (keys) CFDictionaryApplyFunction(dictionary, AppendKey, keys);
    return keys;
}

bool PXUtilsCFDictionaryEqual(CFDictionaryRef a, CFDictionaryRef b) noexcept
{
    PX_REQUIRE_OR(a && b, false);
    if (CFDictionaryGetCount(a) != CFDictionaryGetCount(b)) return false;
    Comparison comparison = {b, true};
    CFDictionaryApplyFunction(a, CompareEntry, &comparison);
    return comparison.isEqual;
}

CFNumberRef PXUtilsCFNumberCreateSInt32(int value) noexcept
{
    return Number(kCFNumberSInt32Type, static_cast<int32_t>(value)).Detach();
}

int PXUtilsGetIntValue(CFNumberRef number) noexcept
{
    return ValueOf<int>(number, kCFNumberIntType);
}

double PXUtilsGetDoubleValue(CFNumberRef number) noexcept
{
    return ValueOf<double>(number, kCFNumberDoubleType);
}

int PXUtilsCFValueGetInt(CFTypeRef value) noexcept
{
    if (IsA(value, CFStringGetTypeID()))
        return CFStringGetIntValue(static_cast<CFStringRef>(value));
    return ValueOf<int>(value, kCFNumberIntType);
}

void PXUtilsCFArrayAppendValueUInt32(CFMutableArrayRef array, uint32_t value) noexcept
{
    PX_REQUIRE_OR(array, );
    CFArrayAppendValue(array, Number(kCFNumberSInt32Type, static_cast<int32_t>(value)).Get());
}

void PXUtilsCFArrayRemoveValue(CFMutableArrayRef array, CFTypeRef value) noexcept
{
    PX_REQUIRE_OR(array && value, );
    const CFIndex index =
        CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, CFArrayGetCount(array)), value);
    if (index != kCFNotFound) CFArrayRemoveValueAtIndex(array, index);
}
