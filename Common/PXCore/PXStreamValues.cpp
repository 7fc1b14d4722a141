// Making streams, and the values of any length on them.

#include "Base/Ref.h"
#include "Base/Status.h"
#include "Base/Stream.h"
#include "Base/StreamFile.h"
#include "Base/StreamMemory.h"
#include "Base/StreamSocket.h"
#include "Base/StreamSub.h"
#include "PXCore/PXStream.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <new>

namespace {

constexpr char kEventSource[] = "PXStream";

// Makes a stream, lets `setUp` prepare it, and hands it out.
template <class Stream, class SetUp>
PXStatus Create(PXStream* outStream, SetUp setUp)
{
    auto made = PXRef<Stream>::Adopt(new (std::nothrow) Stream);
    if (!made) return PX_FAIL(kPXErrCreate);
    setUp(*made);
    *outStream = px::ToHandle(made.Detach());
    return kPXOK;
}

// `count` units of text, in the byte order of a stream or from it; null when memory runs out.
class Units {
public:
    explicit Units(CFIndex count)
        : count_(static_cast<size_t>(count)), units_(new (std::nothrow) UniChar[count_])
    {
    }
    UniChar* Get() const { return units_.get(); }
    CFRange Bytes() const { return CFRangeMake(0, static_cast<CFIndex>(count_ * sizeof(UniChar))); }
    void Swap(const CBaseStream& stream)
    {
        if (stream.GetByteOrder() != kPXStreamByteOrderSwapped) return;
        for (size_t i = 0; i < count_; ++i)
            units_[i] = static_cast<UniChar>(units_[i] << 8 | units_[i] >> 8);
    }

private:
    size_t count_;
    std::unique_ptr<UniChar[]> units_;
};

}  // namespace

PXStatus PXStreamCreateForFile(CFURLRef path, CFStringRef mode, PXStream* outStream) noexcept
{
    PX_REQUIRE(outStream);
    *outStream = nullptr;
    PX_REQUIRE(path && mode);
    return Create<CBaseStreamFile>(outStream, [&](CBaseStreamFile& stream) {
        stream.SetPath(path);
        stream.SetMode(mode);
    });
}

PXStatus PXStreamCreateForData(CFMutableDataRef data, PXStream* outStream) noexcept
{
    PX_REQUIRE(outStream);
    *outStream = nullptr;
    return Create<CBaseStreamMemory>(outStream, [&](CBaseStreamMemory& stream) {
        if (data) stream.SetData(data);
    });
}

PXStatus PXStreamCreateForConstantData(CFDataRef data, PXStream* outStream) noexcept
{
    PX_REQUIRE(outStream);
    *outStream = nullptr;
    PX_REQUIRE(data);
    return Create<CBaseStreamMemory>(
        outStream, [&](CBaseStreamMemory& stream) { stream.SetConstantData(data); });
}

PXStatus PXStreamCreateForSocket(PXSocket socket, PXStream* outStream) noexcept
{
    PX_REQUIRE(outStream);
    *outStream = nullptr;
    PX_REQUIRE(socket);
    return Create<CBaseStreamSocket>(outStream,
                                     [&](CBaseStreamSocket& stream) { stream.SetSocket(socket); });
}

PXStatus PXStreamCreateSubStream(PXStream stream, uint64_t offset, uint64_t length,
                                 PXStream* outStream) noexcept
{
    PX_REQUIRE(outStream);
    *outStream = nullptr;
    PX_REQUIRE(stream && offset <= INT64_MAX);
    auto* made = new (std::nothrow) CBaseStreamSub(px::ToStream(stream), offset, length);
    if (!made) return PX_FAIL(kPXErrCreate);
    *outStream = px::ToHandle(made);
    return kPXOK;
}

PXStatus PXStreamCreateCopy(PXStream stream, PXStream* outStream) noexcept
{
    PX_REQUIRE(outStream);
    *outStream = nullptr;
    PX_REQUIRE(stream);
    CBaseStream* copy = nullptr;
    PX_TRY(px::ToStream(stream)->CreateCopy(copy));
    *outStream = px::ToHandle(copy);
    return kPXOK;
}

PXStatus PXStreamCreateCFData(PXStream stream, CFDataRef* outData) noexcept
{
    PX_REQUIRE(outData);
    *outData = nullptr;
    PX_REQUIRE(stream);
    CBaseStream& from = *px::ToStream(stream);
    uint64_t position = 0;
    uint64_t length = 0;
    if (from.GetPos(position) || from.GetLength(length)) return PX_FAIL(kPXErrNotSupported);
    if (const PXStatus status = from.SetPos(0)) return PX_FAIL(status);
    const PXStatus status = from.ReadDataCopy(length, *outData);
    from.SetPos(position);
    return status;
}

CFDataRef PXStreamGetData(PXStream stream) noexcept
{
    PX_REQUIRE_OR(stream, nullptr);
    const auto* memory = dynamic_cast<CBaseStreamMemory*>(px::ToStream(stream));
    return memory ? memory->GetData() : nullptr;
}

PXStatus PXStreamReadDataCopy(PXStream stream, uint64_t count, CFDataRef* outData) noexcept
{
    PX_REQUIRE(outData);
    *outData = nullptr;
    PX_REQUIRE(stream);
    return px::ToStream(stream)->ReadDataCopy(count, *outData);
}

PXStatus PXStreamReadBlockCopy(PXStream stream, CFDataRef* outData) noexcept
{
    PX_REQUIRE(outData);
    *outData = nullptr;
    PX_REQUIRE(stream);
    return px::ToStream(stream)->ReadBlockCopy(*outData);
}

PXStatus PXStreamWriteBlock(PXStream stream, CFDataRef data) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->WriteBlock(data);
}

PXStatus PXStreamReadUnicodeStringWithLenCopy(PXStream stream, CFStringRef* outText) noexcept
{
    PX_REQUIRE(outText);
    *outText = nullptr;
    PX_REQUIRE(stream);
    CBaseStream& from = *px::ToStream(stream);
    uint32_t count = 0;
    PX_TRY(from.ReadUInt32(count));
    CFDataRef bytes = nullptr;
    PX_TRY(from.ReadDataCopy(uint64_t{count} * sizeof(UniChar), bytes));
    const auto owner = CFRef<CFDataRef>::Adopt(bytes);
    Units units(count);
    if (!units.Get()) return PX_FAIL(kPXErrCreate);
    CFDataGetBytes(bytes, units.Bytes(), reinterpret_cast<UInt8*>(units.Get()));
    units.Swap(from);
    *outText = CFStringCreateWithCharacters(nullptr, units.Get(), static_cast<CFIndex>(count));
    return *outText ? PXStatus{kPXOK} : PX_FAIL(kPXErrCreate);
}

PXStatus PXStreamWriteUnicodeStringWithLen(PXStream stream, CFStringRef text) noexcept
{
    PX_REQUIRE(stream);
    const CFIndex count = text ? CFStringGetLength(text) : 0;
    PX_REQUIRE(count <= UINT32_MAX);
    CBaseStream& to = *px::ToStream(stream);
    PX_TRY(to.WriteUInt32(static_cast<uint32_t>(count)));
    if (count == 0) return kPXOK;
    Units units(count);
    if (!units.Get()) return PX_FAIL(kPXErrCreate);
    CFStringGetCharacters(text, CFRangeMake(0, count), units.Get());
    units.Swap(to);
    const CBaseStreamPart part = {units.Get(), static_cast<size_t>(units.Bytes().length)};
    return to.WriteParts(&part, 1);
}

PXStatus PXStreamReadDateCopy(PXStream stream, CFDateRef* outDate) noexcept
{
    PX_REQUIRE(outDate);
    *outDate = nullptr;
    PX_REQUIRE(stream);
    uint64_t bits = 0;
    PX_TRY(px::ToStream(stream)->ReadUInt64(bits));
    *outDate = CFDateCreate(nullptr, std::bit_cast<double>(bits));
    return *outDate ? PXStatus{kPXOK} : PX_FAIL(kPXErrCreate);
}

PXStatus PXStreamWriteDate(PXStream stream, CFDateRef date) noexcept
{
    PX_REQUIRE(stream && date);
    return px::ToStream(stream)->WriteUInt64(std::bit_cast<uint64_t>(CFDateGetAbsoluteTime(date)));
}

PXStatus PXStreamReadPropertyListCopy(PXStream stream, CFOptionFlags options,
                                      CFPropertyListRef* outList) noexcept
{
    PX_REQUIRE(outList);
    *outList = nullptr;
    PX_REQUIRE(stream);
    return px::ToStream(stream)->readPropertyListCopy(options, *outList);
}

PXStatus PXStreamWritePropertyList(PXStream stream, CFPropertyListRef list,
                                   CFPropertyListFormat format) noexcept
{
    PX_REQUIRE(stream && list);
    return px::ToStream(stream)->writePropertyList(list, format);
}

PXStatus PXStreamWritePad(PXStream stream, uint64_t count) noexcept
{
    PX_REQUIRE(stream && count <= INT64_MAX);
    static constexpr char kZeros[4096] = {};
    for (; count > 0;) {
        const CBaseStreamPart part = {kZeros, std::min<uint64_t>(count, sizeof(kZeros))};
        PX_TRY(px::ToStream(stream)->WriteParts(&part, 1));
        count -= part.size;
    }
    return kPXOK;
}
