#pragma once

// What arguments_test passes for a parameter of each type: null and zero, the ends of the range,
// and good ones. The first value of a list is the neutral one, the last a good one.

#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"

#define FUNCTION(name, givesStatus)
#include "arguments_functions.inc"
#undef FUNCTION

namespace px::test {

// Good objects, made anew for each call, which may release them, and left to the process.
template <class Handle>
Handle Good() = delete;

template <class T>
concept IsHandle = requires
{
    Good<T>();
};

template <>
inline PXImage Good<PXImage>()
{
    PXImage made = nullptr;
    PXImageCreateWithParams({0, 0, 8, 8}, 8, 4, &made);
    return made;
}
template <>
inline PXColorProfile Good<PXColorProfile>()
{
    return PXColorProfileCreateStandard(kPXColorStandardSRGB);
}
template <>
inline PXStream Good<PXStream>()
{
    PXStream made = nullptr;
    PXStreamCreateForData(nullptr, &made);
    return made;
}
template <>
inline PXHttpMessage Good<PXHttpMessage>()
{
    return PXHttpMessageCreateResponse(200);
}
template <>
inline PXProgress Good<PXProgress>()
{
    return PXProgressCreate();
}
template <>
inline PXThread Good<PXThread>()
{
    return PXThreadCreate();
}
template <>
inline PXMutex Good<PXMutex>()
{
    return PXMutexCreate();
}
template <>
inline PXCondition Good<PXCondition>()
{
    return PXConditionCreate();
}
template <>
inline PXSocket Good<PXSocket>()
{
    PXSocket made = nullptr;
    PXSocketCreate(&made);
    return made;
}

template <>
inline PXColorProfileDesc Good<PXColorProfileDesc>()
{
    return PXColorProfileGetDefaultProfileDescCopy();
}
template <>
inline PXColorCube Good<PXColorCube>()
{
    return PXColorCubeCreate();
}
template <>
inline PXLogger Good<PXLogger>()
{
    return PXLoggerCreate();
}
template <>
inline PXBlitter Good<PXBlitter>()
{
    PXBlitter made = nullptr;
    PXBlitterCreate({0, 0, 8, 8}, {0, 0, 4, 4}, 4, 8, kPXBlitBilinear, &made);
    return made;
}

inline CFMutableDictionaryRef GoodDictionary()
{
    const auto made = CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks);
    CFDictionarySetValue(made, CFSTR("key"), CFSTR("value"));
    return made;
}

inline CFMutableArrayRef GoodArray()
{
    const auto made = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFArrayAppendValue(made, CFSTR("item"));
    return made;
}

// One object of each class of values; a function meets its own and every other.
inline std::vector<CFTypeRef> Objects()
{
    const SInt32 number = 7;
    const std::string letters(5000, 'x');
    return {nullptr,
            kCFBooleanTrue,
            CFNumberCreate(nullptr, kCFNumberSInt32Type, &number),
            CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("data"), 4),
            GoodArray(),
            GoodDictionary(),
            CFURLCreateWithString(nullptr, CFSTR("file:///none/such"), nullptr),
            CFDateCreate(nullptr, 0),
            CFSTR(""),
            CFStringCreateWithCString(nullptr, letters.c_str(), kCFStringEncodingUTF8),
            CFStringCreateMutableCopy(nullptr, 0, CFSTR("text"))};
}

template <class T>
constexpr bool kIsObject =
    std::is_same_v<T, CFStringRef> || std::is_same_v<T, CFMutableStringRef> ||
    std::is_same_v<T, CFDataRef> || std::is_same_v<T, CFArrayRef> ||
    std::is_same_v<T, CFMutableArrayRef> || std::is_same_v<T, CFDictionaryRef> ||
    std::is_same_v<T, CFMutableDictionaryRef> || std::is_same_v<T, CFNumberRef> ||
    std::is_same_v<T, CFURLRef> || std::is_same_v<T, CFDateRef> || std::is_same_v<T, CFSetRef>;

// Room for what a function gives back through a pointer.
alignas(64) inline std::array<unsigned char, 1 << 16> room;

template <class T>
std::vector<T> Values()
{
    using Pointee = std::remove_pointer_t<T>;
    if constexpr (std::is_same_v<T, bool>) {
        return {false, true};
    } else if constexpr (std::is_integral_v<T>) {
        return {0,
                std::numeric_limits<T>::min(),
                std::numeric_limits<T>::max(),
                static_cast<T>(-1),
                static_cast<T>(kPXColorStandardSRGB),
                1};
    } else if constexpr (std::is_floating_point_v<T>) {
        using Limits = std::numeric_limits<T>;
        return {0,
                Limits::quiet_NaN(),
                Limits::infinity(),
                -Limits::infinity(),
                Limits::max(),
                Limits::denorm_min(),
                -1,
                1};
    } else if constexpr (std::is_same_v<T, const char*>) {
        return {nullptr, "", "%s%n", "\xff\xfe", "text"};
    } else if constexpr (IsHandle<T>) {
        return {nullptr, Good<T>()};
    } else if constexpr (kIsObject<T>) {
        std::vector<T> values;
        for (CFTypeRef object : Objects()) values.push_back((T)object);
        return values;
    } else if constexpr (std::is_class_v<T>) {
        // Records of numbers: all bits clear, set, and patterns that are huge and negative.
        std::vector<T> values;
        for (const int pattern : {0, 0xFF, 0x7F, 0x80}) {
            T record;
            std::memset(static_cast<void*>(&record), pattern, sizeof(record));
            values.push_back(record);
            if (std::is_pointer_v<T>) break;
        }
        return values;
    } else if constexpr (std::is_pointer_v<T> && std::is_class_v<Pointee> &&
                         requires { sizeof(Pointee); }) {
        // What is only read may be a list of a length that others tell: good is none.
        if (std::is_const_v<Pointee>) return {nullptr, reinterpret_cast<T>(room.data()), nullptr};
        return {nullptr, reinterpret_cast<T>(room.data())};
    } else if constexpr (std::is_pointer_v<T> && std::is_pointer_v<Pointee>) {
        return {nullptr, reinterpret_cast<T>(room.data())};
    } else {
        // Functions, handles that need more to be made, and blocks of a length that others tell.
        static_assert(std::is_pointer_v<T>, "a kind of argument that nobody thought of");
        return {nullptr};
    }
}

}  // namespace px::test
