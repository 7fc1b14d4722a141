// Geometry records in dictionaries: the raw bytes of the record as a CFData.

#include "Base/Ref.h"
#include "Base/Status.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXUtils.h"

#include <array>
#include <cstring>

namespace {

constexpr char kEventSource[] = "PXString";

template <class Record>
void Set(CFMutableDictionaryRef dictionary, CFStringRef key, const Record& record)
{
    PX_REQUIRE_OR(dictionary && key, );
    const auto data = CFRef<CFDataRef>::Adopt(
        CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(&record), sizeof(record)));
    CFDictionarySetValue(dictionary, key, data.Get());
}

// Copies the bytes of a CFData of just the record's length; false, with nothing written, for any
// other value.
template <class Record>
bool ReadData(CFTypeRef value, Record* out)
{
    if (!value || CFGetTypeID(value) != CFDataGetTypeID()) return false;
    auto data = static_cast<CFDataRef>(value);
    if (CFDataGetLength(data) != sizeof(Record)) return false;
    std::memcpy(out, CFDataGetBytePtr(data), sizeof(Record));
    return true;
}

template <class Record>
Record Get(CFDictionaryRef dictionary, CFStringRef key)
{
    Record record = {};
    PX_REQUIRE_OR(dictionary && key, record);
    const void* value = CFDictionaryGetValue(dictionary, key);
    if (!value)
        PX_FAIL(kPXErrNotFound);
    else if (!ReadData(value, &record))
        PX_FAIL(kPXErrBadArgument);
    return record;
}

bool ReadNumber(CFTypeRef value, float* out)
{
    if (!value || CFGetTypeID(value) != CFNumberGetTypeID()) return false;
    // The nearest float is good enough: 0.1 as a double is what other tools write for 0.1F.
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberFloat32Type, out);
    return true;
}

template <class Record>
bool ReadArray(CFTypeRef value, Record* out)
{
    std::array<float, sizeof(Record) / sizeof(float)> floats = {};
    if (!value || CFGetTypeID(value) != CFArrayGetTypeID()) return false;
    auto array = static_cast<CFArrayRef>(value);
    if (CFArrayGetCount(array) != static_cast<CFIndex>(floats.size())) return false;
    for (size_t i = 0; i < floats.size(); ++i)
        if (!ReadNumber(CFArrayGetValueAtIndex(array, static_cast<CFIndex>(i)), &floats[i]))
            return false;
    std::memcpy(out, floats.data(), sizeof(Record));
    return true;
}

template <class Record>
bool GetIfPresent(CFDictionaryRef dictionary, CFStringRef key, Record* out)
{
    PX_REQUIRE_OR(dictionary && key, false);
    Record record;
    const void* value = CFDictionaryGetValue(dictionary, key);
    if (!ReadData(value, &record) && !ReadArray(value, &record)) return false;
    if (out) *out = record;
    return true;
}

}  // namespace

void PXUtilsCFDictionarySetValuePXPoint(CFMutableDictionaryRef dictionary, CFStringRef key,
                                        PXPoint value) noexcept
{
    Set(dictionary, key, value);
}

PXPoint PXUtilsCFDictionaryGetValuePXPoint(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<PXPoint>(dictionary, key);
}

void PXUtilsCFDictionarySetValuePXPointF(CFMutableDictionaryRef dictionary, CFStringRef key,
                                         PXPointF value) noexcept
{
    Set(dictionary, key, value);
}

PXPointF PXUtilsCFDictionaryGetValuePXPointF(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<PXPointF>(dictionary, key);
}

void PXUtilsCFDictionarySetValuePXVec2(CFMutableDictionaryRef dictionary, CFStringRef key,
                                       PXVec2 value) noexcept
{
    Set(dictionary, key, value);
}

PXVec2 PXUtilsCFDictionaryGetValuePXVec2(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<PXVec2>(dictionary, key);
}

void PXUtilsCFDictionarySetValuePXVec2F(CFMutableDictionaryRef dictionary, CFStringRef key,
                                        PXVec2F value) noexcept
{
    Set(dictionary, key, value);
}

PXVec2F PXUtilsCFDictionaryGetValuePXVec2F(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<PXVec2F>(dictionary, key);
}

void PXUtilsCFDictionarySetValuePXVec3(CFMutableDictionaryRef dictionary, CFStringRef key,
                                       PXVec3 value) noexcept
{
    Set(dictionary, key, value);
}

PXVec3 PXUtilsCFDictionaryGetValuePXVec3(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<PXVec3>(dictionary, key);
}

void PXUtilsCFDictionarySetValuePXVec3F(CFMutableDictionaryRef dictionary, CFStringRef key,
                                        PXVec3F value) noexcept
{
    Set(dictionary, key, value);
}

PXVec3F PXUtilsCFDictionaryGetValuePXVec3F(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<PXVec3F>(dictionary, key);
}

void PXUtilsCFDictionarySetValuePXVec4(CFMutableDictionaryRef dictionary, CFStringRef key,
                                       PXVec4 value) noexcept
{
    Set(dictionary, key, value);
}

PXVec4 PXUtilsCFDictionaryGetValuePXVec4(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<PXVec4>(dictionary, key);
}

void PXUtilsCFDictionarySetValuePXVec4F(CFMutableDictionaryRef dictionary, CFStringRef key,
                                        PXVec4F value) noexcept
{
    Set(dictionary, key, value);
}

PXVec4F PXUtilsCFDictionaryGetValuePXVec4F(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<PXVec4F>(dictionary, key);
}

void PXUtilsCFDictionarySetValuePXRect(CFMutableDictionaryRef dictionary, CFStringRef key,
                                       PXRect value) noexcept
{
    Set(dictionary, key, value);
}

PXRect PXUtilsCFDictionaryGetValuePXRect(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<PXRect>(dictionary, key);
}

void PXUtilsCFDictionarySetValuePXRectF(CFMutableDictionaryRef dictionary, CFStringRef key,
                                        PXRectF value) noexcept
{
    Set(dictionary, key, value);
}

PXRectF PXUtilsCFDictionaryGetValuePXRectF(CFDictionaryRef dictionary, CFStringRef key) noexcept
{
    return Get<PXRectF>(dictionary, key);
}

bool PXUtilsCFDictionaryGetValuePXVec3FIfPresent(CFDictionaryRef dictionary, CFStringRef key,
                                                 PXVec3F* out) noexcept
{
    return GetIfPresent(dictionary, key, out);
}

bool PXUtilsCFDictionaryGetValuePXVec4FIfPresent(CFDictionaryRef dictionary, CFStringRef key,
                                                 PXVec4F* out) noexcept
{
    return GetIfPresent(dictionary, key, out);
}
