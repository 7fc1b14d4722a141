// Universally unique identifiers: random ones (version 4) and their text.

#include "CoreFoundation/CFUUID.h"

#include "Base/Platform/Platform.h"
#include "Classes.h"
#include "PercentEscapes.h"
#include "String_p.h"

#include <cstring>
#include <mutex>
#include <vector>

struct __CFUUID : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kUUID;
    explicit __CFUUID(const CFUUIDBytes& given) : Object(kType, 0), bytes(given) {}

    CFUUIDBytes bytes;
};

namespace px::cf {

namespace {

static_assert(sizeof(CFUUIDBytes) == 16);

constexpr CFIndex kTextLength = 36;

bool IsHyphenAt(CFIndex index)
{
    return index == 8 || index == 13 || index == 18 || index == 23;
}

const __CFUUID* AsUUID(const Object* object)
{
    return static_cast<const __CFUUID*>(object);
}

bool EqualUUIDs(const Object* a, const Object* b, PairList&)
{
    return std::memcmp(&AsUUID(a)->bytes, &AsUUID(b)->bytes, sizeof(CFUUIDBytes)) == 0;
}

CFHashCode HashUUID(const Object* object)
{
    uint64_t halves[2];
    std::memcpy(halves, &AsUUID(object)->bytes, sizeof(halves));
    return static_cast<CFHashCode>(halves[0] ^ halves[1] * 0x9E3779B97F4A7C15U);
}

CFStringRef DescribeUUID(const Object* object)
{
    return CFUUIDCreateString(nullptr, AsUUID(object));
}

// Constants are never destroyed, and no live objects for leak tests.
class ConstantUUIDs {
public:
    CFUUIDRef Find(const CFUUIDBytes& bytes)
    {
        const std::lock_guard lock(mutex_);
        for (const __CFUUID* known : known_) {
            if (std::memcmp(&known->bytes, &bytes, sizeof(bytes)) == 0) return known;
        }
        __CFUUID* made = NewObject<__CFUUID>(0, bytes);
        if (!made) return nullptr;
        made->flags |= kImmortal;
        CountDestroyed(Type::kUUID);
        known_.push_back(made);
        return made;
    }

private:
    std::mutex mutex_;
    std::vector<const __CFUUID*> known_;
};

void DestroyUUID(Object* object)
{
    FreeObject(static_cast<__CFUUID*>(object));
}

}  // namespace

const ClassInfo kUUIDClass = {"CFUUID", DestroyUUID, EqualUUIDs, HashUUID, DescribeUUID, false};

}  // namespace px::cf

using namespace px::cf;

CFTypeID CFUUIDGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kUUID);
}

CFUUIDRef CFUUIDCreate(CFAllocatorRef)
{
    CFUUIDBytes bytes;
    if (px::os::Os().randomBytes(&bytes, sizeof(bytes)) != 0) return nullptr;
    bytes.byte6 = static_cast<UInt8>((bytes.byte6 & 0x0F) | 0x40);  // version 4
    bytes.byte8 = static_cast<UInt8>((bytes.byte8 & 0x3F) | 0x80);  // the common variant
    return NewObject<__CFUUID>(0, bytes);
}

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef, CFUUIDBytes bytes)
{
    return NewObject<__CFUUID>(0, bytes);
}

CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef, CFStringRef uuidStr)
{
    if (!Check<const String>(uuidStr, __func__)) return nullptr;
    const StringView text = ViewOf(uuidStr);
    if (text.length != kTextLength) return nullptr;
    UInt8 bytes[16] = {};
    size_t digits = 0;
    for (CFIndex i = 0; i < kTextLength; ++i) {
        if (IsHyphenAt(i)) {
            if (text[i] != '-') return nullptr;
            continue;
        }
        const int value = HexValue(text[i]);
        if (value < 0) return nullptr;
        bytes[digits / 2] = static_cast<UInt8>(bytes[digits / 2] << 4 | value);
        ++digits;
    }
    CFUUIDBytes result;
    std::memcpy(&result, bytes, sizeof(result));
    return NewObject<__CFUUID>(0, result);
}

CFStringRef CFUUIDCreateString(CFAllocatorRef, CFUUIDRef uuid)
{
    if (!Check<const __CFUUID>(uuid, __func__)) return nullptr;
    UInt8 bytes[16];
    std::memcpy(bytes, &uuid->bytes, sizeof(bytes));
    char text[kTextLength];
    size_t digits = 0;
    for (CFIndex i = 0; i < kTextLength; ++i) {
        if (IsHyphenAt(i)) {
            text[i] = '-';
            continue;
        }
        const UInt8 byte = bytes[digits / 2];
        text[i] = kHexDigits[digits % 2 == 0 ? byte >> 4 : byte & 15];
        ++digits;
    }
    return NewAsciiString(text, kTextLength);
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid)
{
    return Check<const __CFUUID>(uuid, __func__) ? uuid->bytes : CFUUIDBytes{};
}

CFUUIDRef CFUUIDCreateWithBytes(CFAllocatorRef, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8,
                                UInt8 byte9, UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13,
                                UInt8 byte14, UInt8 byte15)
{
    return NewObject<__CFUUID>(
        0, CFUUIDBytes{byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7, byte8, byte9, byte10,
                       byte11, byte12, byte13, byte14, byte15});
}

CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef, UInt8 byte0, UInt8 byte1, UInt8 byte2,
                                         UInt8 byte3, UInt8 byte4, UInt8 byte5, UInt8 byte6,
                                         UInt8 byte7, UInt8 byte8, UInt8 byte9, UInt8 byte10,
                                         UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14,
                                         UInt8 byte15)
{
    static auto* const constants = new ConstantUUIDs;
    return constants->Find({byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7, byte8, byte9,
                            byte10, byte11, byte12, byte13, byte14, byte15});
}
