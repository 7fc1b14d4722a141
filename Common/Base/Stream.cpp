#include "Base/Stream.h"

#include "Base/LineBuffer.h"
#include "Base/Ref.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "PXCore/PXUtils.h"

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

namespace {

constexpr char kEventSource[] = "BaseStream";

// Memory for a block is taken in such a step first, and doubled as its bytes arrive.
constexpr uint64_t kFirstStep = 1 << 20;

template <size_t kBytes>
struct BitsOf;
template <>
struct BitsOf<2> {
    using Type = uint16_t;
};
template <>
struct BitsOf<4> {
    using Type = uint32_t;
};
template <>
struct BitsOf<8> {
    using Type = uint64_t;
};

constexpr uint16_t Swapped(uint16_t bits)
{
    return static_cast<uint16_t>(bits << 8 | bits >> 8);
}

constexpr uint32_t Swapped(uint32_t bits)
{
    return __builtin_bswap32(bits);
}

constexpr uint64_t Swapped(uint64_t bits)
{
    return __builtin_bswap64(bits);
}

struct FreeBlock {
    void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<UInt8, FreeBlock>;

bool Resize(Block& block, size_t size)
{
    void* resized = std::realloc(block.get(), size);
    if (!resized) return false;
    static_cast<void>(block.release());
    block.reset(static_cast<UInt8*>(resized));
    return true;
}

// What is known to be there is read in one piece, whatever else step by step.
uint64_t FirstStep(CBaseStream& stream, uint64_t count)
{
    uint64_t length = 0;
    uint64_t position = 0;
    if (count <= kFirstStep || stream.GetLength(length) || stream.GetPos(position) ||
        length < position) {
        return std::min(count, kFirstStep);
    }
    return std::min(count, std::max(kFirstStep, length - position));
}

}  // namespace

// Waits for all of it; a stream that ends before has not kept its word.
PXStatus CBaseStream::ReadWhole(void* buffer, int flag, size_t size)
{
    size_t done = size;
    const PXStatus status = ReadChunk(buffer, flag, done);
    if (status != kPXOK) return PX_FAIL(status);
    return done == size ? PXStatus{kPXOK} : PX_FAIL(kPXErrStreamEnd);
}

PXStatus CBaseStream::WriteWhole(const void* bytes, size_t size)
{
    size_t done = size;
    const PXStatus status = WriteChunk(bytes, done);
    if (status != kPXOK) return PX_FAIL(status);
    return done == size ? PXStatus{kPXOK} : PX_FAIL(kPXErrStreamEnd);
}

template <class Number>
PXStatus CBaseStream::ReadNumber(Number& value)
{
    typename BitsOf<sizeof(Number)>::Type bits = 0;
    value = 0;
    PX_TRY(ReadWhole(&bits, kFixedWidth, sizeof(bits)));
    if (byteOrder_ == kPXStreamByteOrderSwapped) bits = Swapped(bits);
    value = std::bit_cast<Number>(bits);
    return kPXOK;
}

template <class Number>
PXStatus CBaseStream::WriteNumber(Number value)
{
    auto bits = std::bit_cast<typename BitsOf<sizeof(Number)>::Type>(value);
    if (byteOrder_ == kPXStreamByteOrderSwapped) bits = Swapped(bits);
    return WriteWhole(&bits, sizeof(bits));
}

PXStatus CBaseStream::ReadInt16(int16_t& value)
{
    return ReadNumber(value);
}

PXStatus CBaseStream::ReadUInt16(uint16_t& value)
{
    return ReadNumber(value);
}

PXStatus CBaseStream::ReadInt32(int32_t& value)
{
    return ReadNumber(value);
}

PXStatus CBaseStream::ReadUInt32(uint32_t& value)
{
    return ReadNumber(value);
}

PXStatus CBaseStream::ReadInt64(int64_t& value)
{
    return ReadNumber(value);
}

PXStatus CBaseStream::ReadUInt64(uint64_t& value)
{
    return ReadNumber(value);
}

PXStatus CBaseStream::ReadFloat32(float& value)
{
    return ReadNumber(value);
}

PXStatus CBaseStream::WriteInt16(int16_t value)
{
    return WriteNumber(value);
}

PXStatus CBaseStream::WriteUInt16(uint16_t value)
{
    return WriteNumber(value);
}

PXStatus CBaseStream::WriteInt32(int32_t value)
{
    return WriteNumber(value);
}

PXStatus CBaseStream::WriteUInt32(uint32_t value)
{
    return WriteNumber(value);
}

PXStatus CBaseStream::WriteInt64(int64_t value)
{
    return WriteNumber(value);
}

PXStatus CBaseStream::WriteUInt64(uint64_t value)
{
    return WriteNumber(value);
}

PXStatus CBaseStream::WriteFloat32(float value)
{
    return WriteNumber(value);
}

PXStatus CBaseStream::WriteString(CFStringRef text)
{
    PX_REQUIRE(text);
    const std::string bytes = px::UTF8Of(text);
    return WriteWhole(bytes.data(), bytes.size());
}

PXStatus CBaseStream::WriteStringParams(CFStringRef format, ...)
{
    PX_REQUIRE(format);
    va_list arguments;
    va_start(arguments, format);
    const auto text = CFRef<CFStringRef>::Adopt(
        CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, arguments));
    va_end(arguments);
    return text ? WriteString(text.Get()) : PX_FAIL(kPXErrCreate);
}

PXStatus CBaseStream::ReadLine(char*& buffer, size_t& capacity)
{
    if (capacity == 0) return kPXOK;
    PX_REQUIRE(buffer);
    px::LineBuffer line(buffer, capacity, readCap_);
    for (;;) {
        char character = 0;
        PX_TRY(ReadChar(character));
        if (line.IsEndedBy(character)) return kPXOK;
        if (const PXStatus status = line.Append(&character, 1)) return PX_FAIL(status);
    }
}

PXStatus CBaseStream::ReadLineLent(Lender lend, Taker take, char*& buffer, size_t& capacity)
{
    if (capacity == 0) return kPXOK;
    PX_REQUIRE(buffer);
    px::LineBuffer line(buffer, capacity, readCap_);
    for (;;) {
        PXStatus status = kPXOK;
        const Lent lent = lend(this, &status);
        if (status != kPXOK) return status;
        const void* feed = std::memchr(lent.bytes, '\n', lent.size);
        const size_t size =
            feed ? static_cast<size_t>(static_cast<const char*>(feed) - lent.bytes) : lent.size;
        status = line.Append(lent.bytes, size);
        if (status == kPXOK && feed) {
            take(this, size + 1);
            if (line.IsEndedBy('\n')) return kPXOK;
            status = line.Append("\n", 1);
        } else {
            take(this, size);
        }
        if (status != kPXOK) return PX_FAIL(status);
    }
}

PXStatus CBaseStream::GetPos(uint64_t& /*position*/)
{
    return kPXErrStreamEnd;
}

PXStatus CBaseStream::SetPos(uint64_t /*position*/)
{
    return kPXErrStreamEnd;
}

PXStatus CBaseStream::GetLength(uint64_t& /*length*/)
{
    return kPXErrStreamEnd;
}

PXStatus CBaseStream::Skip(uint64_t count)
{
    char character = 0;
    for (; count > 0; --count) PX_TRY(ReadChar(character));
    return kPXOK;
}

PXStatus CBaseStream::SetBuffer(CFDataRef /*buffer*/)
{
    return kPXErrStreamEnd;
}

PXStatus CBaseStream::SetCaching(bool /*isOn*/)
{
    return kPXErrStreamEnd;
}

PXStatus CBaseStream::CreateCopy(CBaseStream*& copy)
{
    copy = nullptr;
    return kPXErrNotSupported;
}

PXStatus CBaseStream::WriteParts(const CBaseStreamPart* parts, size_t count)
{
    if (count == 1) return WriteWhole(parts[0].bytes, parts[0].size);
    size_t size = 0;
    for (size_t i = 0; i < count; ++i) size += parts[i].size;
    Block all;
    if (!Resize(all, std::max<uint64_t>(size, 1))) return PX_FAIL(kPXErrCreate);
    auto* at = all.get();
    for (size_t i = 0; i < count; ++i) {
        const auto* bytes = static_cast<const uint8_t*>(parts[i].bytes);
        at = std::copy_n(bytes, parts[i].size, at);
    }
    return WriteWhole(all.get(), size);
}

PXStatus CBaseStream::ReadDataCopy(uint64_t count, CFDataRef& data)
{
    data = nullptr;
    if (count > readCap_) return PX_FAIL(kPXErrNotSupported);
    Block block;
    uint64_t done = 0;
    uint64_t room = FirstStep(*this, count);
    for (;;) {
        if (!Resize(block, std::max<uint64_t>(room, 1))) return PX_FAIL(kPXErrCreate);
        if (room > done) PX_TRY(ReadWhole(block.get() + done, kBlock, room - done));
        done = room;
        if (done == count) break;
        room = std::min(count, 2 * done);
    }
    data = CFDataCreateWithBytesNoCopy(nullptr, block.get(), static_cast<CFIndex>(count), nullptr);
    if (!data) return PX_FAIL(kPXErrCreate);
    static_cast<void>(block.release());
    return kPXOK;
}

PXStatus CBaseStream::ReadBlockCopy(CFDataRef& data)
{
    data = nullptr;
    uint64_t length = 0;
    PX_TRY(ReadUInt64(length));
    return length == 0 ? PXStatus{kPXOK} : ReadDataCopy(length, data);
}

PXStatus CBaseStream::WriteBlock(CFDataRef data)
{
    const auto length = data ? static_cast<uint64_t>(CFDataGetLength(data)) : 0;
    const uint64_t bits = byteOrder_ == kPXStreamByteOrderSwapped ? Swapped(length) : length;
    const CBaseStreamPart parts[] = {
        {&bits, sizeof(bits)},
        {data ? CFDataGetBytePtr(data) : nullptr, static_cast<size_t>(length)}};
    // Small blocks leave as one chunk; a large one is not worth the copy that this may take.
    constexpr uint64_t kSmall = 64 << 10;
    if (length <= kSmall) return WriteParts(parts, length > 0 ? 2 : 1);
    PX_TRY(WriteWhole(parts[0].bytes, parts[0].size));
    return WriteWhole(parts[1].bytes, parts[1].size);
}

PXStatus CBaseStream::writePropertyList(CFPropertyListRef list, CFPropertyListFormat format)
{
    CFDataRef data = nullptr;
    PX_TRY(static_cast<PXStatus>(PXUtilsCreatePropertyListData(list, format, &data)));
    return WriteBlock(CFRef<CFDataRef>::Adopt(data).Get());
}

PXStatus CBaseStream::readPropertyListCopy(CFOptionFlags options, CFPropertyListRef& list)
{
    list = nullptr;
    CFDataRef data = nullptr;
    PX_TRY(ReadBlockCopy(data));
    const auto owner = CFRef<CFDataRef>::Adopt(data);
    if (!data) return PX_FAIL(kPXErrListRead);
    return static_cast<PXStatus>(PXUtilsCreatePropertyListFromData(data, options, &list));
}
