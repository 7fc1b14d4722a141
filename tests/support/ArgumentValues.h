#pragma once

// What arguments_test passes for a parameter of each type: null and zero, the ends of the range,
// and good ones. The first value of a list is the neutral one, the last a good one.

#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/CF.h"

#define FUNCTION(name, givesStatus)
#include "arguments_functions.inc"
#undef FUNCTION

namespace px::test {

// Good objects, made anew for each call, which may release them, and left to the process.
struct Good {
    static void Make(PXImage* made) { PXImageCreateWithParams({0, 0, 8, 8}, 8, 4, made); }
    static void Make(PXStream* made) { PXStreamCreateForData(nullptr, made); }
    static void Make(PXSocket* made) { PXSocketCreate(made); }
    static void Make(PXBlitter* made)
    {
        PXBlitterCreate({0, 0, 8, 8}, {0, 0, 4, 4}, 4, 8, kPXBlitBilinear, made);
    }
    static void Make(PXColorProfile* made)
    {
        *made = PXColorProfileCreateStandard(kPXColorStandardSRGB);
    }
    static void Make(PXColorProfileDesc* made)
    {
        *made = PXColorProfileGetDefaultProfileDescCopy();
    }
    static void Make(PXHttpMessage* made) { *made = PXHttpMessageCreateResponse(200); }
    static void Make(PXProgress* made) { *made = PXProgressCreate(); }
    static void Make(PXThread* made) { *made = PXThreadCreate(); }
    static void Make(PXMutex* made) { *made = PXMutexCreate(); }
    static void Make(PXCondition* made) { *made = PXConditionCreate(); }
    static void Make(PXColorCube* made) { *made = PXColorCubeCreate(); }
    static void Make(PXLogger* made) { *made = PXLoggerCreate(); }
};

template <class T>
concept IsHandle = requires(T made)
{
    Good::Make(&made);
};

// One object of each class of values; a function meets its own and every other.
inline std::vector<CFTypeRef> Objects()
{
    return {nullptr,
            kCFBooleanTrue,
            Number(int64_t{7}).Detach(),
            DataOf("data").Detach(),
            ArrayOf({CFSTR("item")}).Detach(),
            DictionaryOf({{CFSTR("key"), CFSTR("value")}}).Detach(),
            URLOf("file:///none/such").Detach(),
            CFDateCreate(nullptr, 0),
            CFSTR(""),
            Text(std::string(5000, 'x')).Detach(),
            ChangeableText(u"text").Detach()};
}

template <class T, class... Others>
constexpr bool kIsOneOf = (std::is_same_v<T, Others> || ...);
template <class T>
constexpr bool kIsObject =
    kIsOneOf<T, CFStringRef, CFMutableStringRef, CFDataRef, CFArrayRef, CFMutableArrayRef,
             CFDictionaryRef, CFMutableDictionaryRef, CFNumberRef, CFURLRef, CFDateRef, CFSetRef>;

// Room for what a function gives back through a pointer.
alignas(64) inline std::array<unsigned char, 1 << 16> room;

template <class T>
std::vector<T> Values()
{
    using Pointee = std::remove_pointer_t<T>;
    if constexpr (std::is_same_v<T, bool>) {
        return {false, true};
    } else if constexpr (std::is_integral_v<T>) {
        using Limits = std::numeric_limits<T>;
        return {0, Limits::min(), Limits::max(), T(-1), T(kPXColorStandardSRGB), 1};
    } else if constexpr (std::is_floating_point_v<T>) {
        using Limits = std::numeric_limits<T>;
        constexpr T kHuge = Limits::infinity();
        return {0, Limits::quiet_NaN(), kHuge, -kHuge, Limits::max(), Limits::denorm_min(), -1, 1};
    } else if constexpr (std::is_same_v<T, const char*>) {
        return {nullptr, "", "%s%n", "\xff\xfe", "text"};
    } else if constexpr (IsHandle<T>) {
        T made = nullptr;
        Good::Make(&made);
        return {nullptr, made};
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
