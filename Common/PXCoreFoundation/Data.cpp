#include "CoreFoundation/CFData.h"

#include "CoreFoundation/PXCFExtensions.h"

#include "Classes.h"
#include "Description_p.h"
#include "Hash_p.h"
#include "Runtime.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace px::cf {
inline constexpr uint8_t kDataIsLent = kClassFlagA;  // the caller's bytes; `deallocator` frees them
}

// Bytes made here start at a multiple of 16: behind this header, or in a block of malloc's.
//
// Immutable data keeps its bytes behind this header unless they are lent; mutable data owns a block
// of `capacity` bytes, or none while that is 0.
struct alignas(16) __CFData : px::cf::Object, PXCFDataSpan {
    static constexpr px::cf::Type kType = px::cf::Type::kData;
    explicit __CFData(uint8_t dataFlags) : Object(kType, dataFlags), PXCFDataSpan()
    {
        bytes = reinterpret_cast<UInt8*>(this + 1);
    }

    CFAllocatorRef deallocator = nullptr;
};

namespace px::cf {

namespace {

using Data = __CFData;

void CopyBytes(UInt8* to, const UInt8* from, CFIndex count)
{
    if (count > 0) std::memmove(to, from, static_cast<size_t>(count));
}

void DestroyData(Object* object)
{
    auto* data = static_cast<Data*>(object);
    if (data->flags & kDataIsLent) {
        DeallocateWith(data->deallocator, data->bytes);
        if (data->deallocator) CFRelease(data->deallocator);
    } else if (data->capacity > 0) {
        std::free(data->bytes);
    }
    FreeObject(data);
}

bool DataEqual(const Object* a, const Object* b, PairList&)
{
    auto* first = static_cast<const Data*>(a);
    auto* second = static_cast<const Data*>(b);
    return first->length == second->length &&
           std::memcmp(first->bytes, second->bytes, static_cast<size_t>(first->length)) == 0;
}

CFHashCode HashData(const Object* object)
{
    auto* data = static_cast<const Data*>(object);
    return HashBytes(data->bytes, static_cast<size_t>(data->length));
}

// Makes room for `length` bytes in all, growing by half at least.
bool EnsureCapacity(Data* data, CFIndex length)
{
    if (length <= data->capacity) return true;
    const CFIndex half = data->capacity / 2;
    const CFIndex roomy = data->capacity > std::numeric_limits<CFIndex>::max() - half
                              ? length
                              : data->capacity + half;
    const CFIndex capacity = std::max({length, roomy, CFIndex{32}});
    void* grown = ReallocateBytes(data->capacity > 0 ? data->bytes : nullptr, capacity);
    if (!grown) return false;
    data->bytes = static_cast<UInt8*>(grown);
    data->capacity = capacity;
    return true;
}

// Where `bytes` lies inside the data's own block, or -1.
CFIndex OffsetInside(const Data* data, const UInt8* bytes)
{
    const auto begin = reinterpret_cast<uintptr_t>(data->bytes);
    const auto at = reinterpret_cast<uintptr_t>(bytes);
    const bool inside = at >= begin && at - begin < static_cast<uintptr_t>(data->capacity);
    return inside ? static_cast<CFIndex>(at - begin) : -1;
}

// Puts `count` bytes in the place of `range`. The bytes may be the data's own.
void Replace(Data* data, CFRange range, const UInt8* bytes, CFIndex count)
{
    const CFIndex rest = data->length - range.length;
    if (count > std::numeric_limits<CFIndex>::max() - rest) return;
    const CFIndex tail = rest - range.location;
    const CFIndex own = OffsetInside(data, bytes);
    UInt8* aside = nullptr;
    if (own >= 0 && tail > 0) {  // moving the tail would pull the bytes away
        aside = static_cast<UInt8*>(AllocateBytes(count));
        if (!aside) return;
        CopyBytes(aside, bytes, count);
        bytes = aside;
    }
    if (EnsureCapacity(data, rest + count)) {
        if (own >= 0 && !aside) bytes = data->bytes + own;
        UInt8* at = data->bytes + range.location;
        CopyBytes(at + count, at + range.length, tail);
        CopyBytes(at, bytes, count);
        data->length = rest + count;
    }
    std::free(aside);
}

void SetLength(Data* data, CFIndex length)
{
    if (!EnsureCapacity(data, length)) return;
    if (length > data->length) {
        std::memset(data->bytes + data->length, 0, static_cast<size_t>(length - data->length));
    }
    data->length = length;
}

Data* NewData(const UInt8* bytes, CFIndex length)
{
    Data* made = NewObject<Data>(length, uint8_t{0});
    if (!made) return nullptr;
    made->length = length;
    CopyBytes(made->bytes, bytes, length);
    return made;
}

bool CheckBytes(const UInt8* bytes, CFIndex length, const char* function)
{
    if (length >= 0 && (bytes || length == 0)) return true;
    Misuse(function, "no bytes");
    return false;
}

}  // namespace

const ClassInfo kDataClass = {"CFData", DestroyData,        DataEqual,
                              HashData, DescribeByTextForm, false};

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFTypeID CFDataGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kData);
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length)
{
    return CheckBytes(bytes, length, __func__) ? NewData(bytes, length) : nullptr;
}

CFDataRef CFDataCreateCopy(CFAllocatorRef, CFDataRef theData)
{
    auto* source = Check<const Data>(theData, __func__);
    if (!source) return nullptr;
    // Lent bytes may go with their owner, so a copy does not share them.
    if (source->flags & (kMutable | kDataIsLent)) return NewData(source->bytes, source->length);
    RetainObject(source);
    return source;
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef, const UInt8* bytes, CFIndex length,
                                      CFAllocatorRef bytesDeallocator)
{
    if (!CheckBytes(bytes, length, __func__)) return nullptr;
    if (bytesDeallocator && ObjectOf(bytesDeallocator)->type != Type::kAllocator) {
        Misuse(__func__, "the deallocator is no allocator");
        return nullptr;
    }
    Data* made = NewObject<Data>(0, bytes ? kDataIsLent : uint8_t{0});
    if (!made || !bytes) return made;
    made->bytes = const_cast<UInt8*>(bytes);
    made->length = length;
    made->deallocator = bytesDeallocator;
    if (bytesDeallocator) CFRetain(bytesDeallocator);
    return made;
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex capacity)
{
    if (capacity < 0) {
        Misuse(__func__, "negative capacity");
        return nullptr;
    }
    return NewObject<Data>(0, kMutable);
}

CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFDataRef theData)
{
    auto* source = Check<const Data>(theData, __func__);
    if (!source || capacity < 0) return nullptr;
    Data* made = NewObject<Data>(0, kMutable);
    if (!made) return nullptr;
    if (source->length > 0 && !EnsureCapacity(made, source->length)) {
        ReleaseObject(made);
        return nullptr;
    }
    CopyBytes(made->bytes, source->bytes, source->length);
    made->length = source->length;
    return made;
}

CFIndex CFDataGetLength(CFDataRef theData)
{
    auto* data = Check<const Data>(theData, __func__);
    return data ? data->length : 0;
}

const UInt8* CFDataGetBytePtr(CFDataRef theData)
{
    auto* data = Check<const Data>(theData, __func__);
    return data ? data->bytes : nullptr;
}

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData)
{
    auto* data = CheckMutable<Data>(theData, __func__);
    return data ? data->bytes : nullptr;
}

PXCFDataSpan* PXCFDataGetSpan(CFDataRef theData)
{
    return Check<Data>(theData, __func__);
}

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer)
{
    auto* data = Check<const Data>(theData, __func__);
    if (data && buffer && CheckRange(range, data->length, __func__)) {
        CopyBytes(buffer, data->bytes + range.location, range.length);
    }
}

void CFDataSetLength(CFMutableDataRef theData, CFIndex length)
{
    auto* data = CheckMutable<Data>(theData, __func__);
    if (data && CheckRange({0, length}, std::numeric_limits<CFIndex>::max(), __func__)) {
        SetLength(data, length);
    }
}

void CFDataIncreaseLength(CFMutableDataRef theData, CFIndex extraLength)
{
    auto* data = CheckMutable<Data>(theData, __func__);
    if (!data) return;
    if (extraLength > std::numeric_limits<CFIndex>::max() - data->length ||
        extraLength < -data->length) {
        Misuse(__func__, "length out of range");
        return;
    }
    SetLength(data, data->length + extraLength);
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length)
{
    auto* data = CheckMutable<Data>(theData, __func__);
    if (!data || !CheckBytes(bytes, length, __func__)) return;
    if (length > data->capacity - data->length) {
        return Replace(data, {data->length, 0}, bytes, length);
    }
    CopyBytes(data->bytes + data->length, bytes, length);
    data->length += length;
}

void CFDataDeleteBytes(CFMutableDataRef theData, CFRange range)
{
    CFDataReplaceBytes(theData, range, nullptr, 0);
}

void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes,
                        CFIndex newLength)
{
    auto* data = CheckMutable<Data>(theData, __func__);
    if (data && CheckRange(range, data->length, __func__) &&
        CheckBytes(newBytes, newLength, __func__)) {
        Replace(data, range, newBytes, newLength);
    }
}

CFRange CFDataFind(CFDataRef theData, CFDataRef dataToFind, CFRange searchRange,
                   CFDataSearchFlags compareOptions)
{
    constexpr CFRange kNowhere = {kCFNotFound, 0};
    auto* data = Check<const Data>(theData, __func__);
    auto* sought = Check<const Data>(dataToFind, __func__);
    if (!data || !sought || !CheckRange(searchRange, data->length, __func__)) return kNowhere;
    if (sought->length == 0 || sought->length > searchRange.length) return kNowhere;
    const auto textOf = [](const UInt8* bytes, CFIndex count) {
        return std::string_view(reinterpret_cast<const char*>(bytes), static_cast<size_t>(count));
    };
    const std::string_view text = textOf(data->bytes + searchRange.location, searchRange.length);
    const std::string_view needle = textOf(sought->bytes, sought->length);
    const bool isBackwards = (compareOptions & kCFDataSearchBackwards) != 0;
    const size_t last = text.size() - needle.size();
    size_t at = isBackwards ? last : 0;
    if (!(compareOptions & kCFDataSearchAnchored)) {
        at = isBackwards ? text.rfind(needle) : text.find(needle);
    } else if (text.compare(at, needle.size(), needle) != 0) {
        at = text.npos;
    }
    if (at == text.npos) return kNowhere;
    return {searchRange.location + static_cast<CFIndex>(at), sought->length};
}

}  // extern "C"
