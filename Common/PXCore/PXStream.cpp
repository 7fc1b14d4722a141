#include "PXCore/PXStream.h"

#include "Base/Ref.h"
#include "Base/Status.h"
#include "Base/Stream.h"

#include <cstdarg>

namespace {

constexpr char kEventSource[] = "PXStream";

// What a kind of stream cannot do is an answer, not a failure.
PXStatus Logged(PXStatus status)
{
    return status == kPXOK || status == kPXErrStreamEnd ? status : PX_FAIL(status);
}

}  // namespace

PXStatus PXStreamOpen(PXStream stream) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->Open();
}

void PXStreamClose(PXStream stream) noexcept
{
    PX_REQUIRE_OR(stream, static_cast<void>(0));
    px::ToStream(stream)->Close();
}

PXStream PXStreamRetain(PXStream stream) noexcept
{
    if (stream) px::ToStream(stream)->AddRef();
    return stream;
}

void PXStreamRelease(PXStream stream) noexcept
{
    if (stream) px::ToStream(stream)->Release();
}

void PXStreamSetByteOrder(PXStream stream, PXStreamByteOrder order) noexcept
{
    PX_REQUIRE_OR(stream, static_cast<void>(0));
    px::ToStream(stream)->SetByteOrder(order);
}

PXStreamByteOrder PXStreamGetByteOrder(PXStream stream) noexcept
{
    PX_REQUIRE_OR(stream, kPXStreamByteOrderNative);
    return px::ToStream(stream)->GetByteOrder();
}

void PXStreamSetReadOnly(PXStream stream, bool isReadOnly) noexcept
{
    PX_REQUIRE_OR(stream, static_cast<void>(0));
    px::ToStream(stream)->SetReadOnly(isReadOnly);
}

bool PXStreamGetReadOnly(PXStream stream) noexcept
{
    PX_REQUIRE_OR(stream, false);
    return px::ToStream(stream)->GetReadOnly();
}

void PXStreamSetReadCap(PXStream stream, uint64_t bytes) noexcept
{
    PX_REQUIRE_OR(stream, static_cast<void>(0));
    px::ToStream(stream)->SetReadCap(bytes);
}

uint64_t PXStreamGetReadCap(PXStream stream) noexcept
{
    PX_REQUIRE_OR(stream, 0);
    return px::ToStream(stream)->GetReadCap();
}

PXStatus PXStreamRead(PXStream stream, void* buffer, size_t* ioSize) noexcept
{
    PX_REQUIRE(stream && ioSize && (buffer || *ioSize == 0));
    const PXStatus status = px::ToStream(stream)->ReadChunk(buffer, CBaseStream::kBlock, *ioSize);
    return status == kPXOK ? status : PX_FAIL(status);
}

PXStatus PXStreamWrite(PXStream stream, const void* bytes, size_t* ioSize) noexcept
{
    PX_REQUIRE(stream && ioSize && (bytes || *ioSize == 0));
    const PXStatus status = px::ToStream(stream)->WriteChunk(bytes, *ioSize);
    return status == kPXOK ? status : PX_FAIL(status);
}

PXStatus PXStreamReadLine(PXStream stream, char** ioBuffer, size_t* ioCapacity) noexcept
{
    PX_REQUIRE(stream && ioBuffer && ioCapacity);
    return px::ToStream(stream)->ReadLine(*ioBuffer, *ioCapacity);
}

PXStatus PXStreamWriteString(PXStream stream, CFStringRef text) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->WriteString(text);
}

PXStatus PXStreamWriteStringParams(PXStream stream, CFStringRef format, ...) noexcept
{
    PX_REQUIRE(stream && format);
    va_list arguments;
    va_start(arguments, format);
    const auto text = CFRef<CFStringRef>::Adopt(
        CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, arguments));
    va_end(arguments);
    return text ? px::ToStream(stream)->WriteString(text.Get()) : PX_FAIL(kPXErrCreate);
}

// Numbers.

PXStatus PXStreamReadInt16(PXStream stream, int16_t* outValue) noexcept
{
    PX_REQUIRE(stream && outValue);
    return px::ToStream(stream)->ReadInt16(*outValue);
}

PXStatus PXStreamWriteInt16(PXStream stream, int16_t value) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->WriteInt16(value);
}

PXStatus PXStreamReadUInt16(PXStream stream, uint16_t* outValue) noexcept
{
    PX_REQUIRE(stream && outValue);
    return px::ToStream(stream)->ReadUInt16(*outValue);
}

PXStatus PXStreamWriteUInt16(PXStream stream, uint16_t value) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->WriteUInt16(value);
}

PXStatus PXStreamReadInt32(PXStream stream, int32_t* outValue) noexcept
{
    PX_REQUIRE(stream && outValue);
    return px::ToStream(stream)->ReadInt32(*outValue);
}

PXStatus PXStreamWriteInt32(PXStream stream, int32_t value) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->WriteInt32(value);
}

PXStatus PXStreamReadUInt32(PXStream stream, uint32_t* outValue) noexcept
{
    PX_REQUIRE(stream && outValue);
    return px::ToStream(stream)->ReadUInt32(*outValue);
}

PXStatus PXStreamWriteUInt32(PXStream stream, uint32_t value) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->WriteUInt32(value);
}

PXStatus PXStreamReadInt64(PXStream stream, int64_t* outValue) noexcept
{
    PX_REQUIRE(stream && outValue);
    return px::ToStream(stream)->ReadInt64(*outValue);
}

PXStatus PXStreamWriteInt64(PXStream stream, int64_t value) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->WriteInt64(value);
}

PXStatus PXStreamReadUInt64(PXStream stream, uint64_t* outValue) noexcept
{
    PX_REQUIRE(stream && outValue);
    return px::ToStream(stream)->ReadUInt64(*outValue);
}

PXStatus PXStreamWriteUInt64(PXStream stream, uint64_t value) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->WriteUInt64(value);
}

PXStatus PXStreamReadFloat32(PXStream stream, float* outValue) noexcept
{
    PX_REQUIRE(stream && outValue);
    return px::ToStream(stream)->ReadFloat32(*outValue);
}

PXStatus PXStreamWriteFloat32(PXStream stream, float value) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->WriteFloat32(value);
}

// Positions.

PXStatus PXStreamGetLength(PXStream stream, uint32_t* outLength) noexcept
{
    PX_REQUIRE(outLength);
    uint64_t length = 0;
    PX_TRY(PXStreamGetLength2(stream, &length));
    PX_REQUIRE(length <= UINT32_MAX);
    *outLength = static_cast<uint32_t>(length);
    return kPXOK;
}

PXStatus PXStreamGetLength2(PXStream stream, uint64_t* outLength) noexcept
{
    PX_REQUIRE(stream && outLength);
    return Logged(px::ToStream(stream)->GetLength(*outLength));
}

PXStatus PXStreamGetPos(PXStream stream, uint32_t* outPosition) noexcept
{
    PX_REQUIRE(outPosition);
    uint64_t position = 0;
    PX_TRY(PXStreamGetPos2(stream, &position));
    PX_REQUIRE(position <= UINT32_MAX);
    *outPosition = static_cast<uint32_t>(position);
    return kPXOK;
}

PXStatus PXStreamGetPos2(PXStream stream, uint64_t* outPosition) noexcept
{
    PX_REQUIRE(stream && outPosition);
    return Logged(px::ToStream(stream)->GetPos(*outPosition));
}

PXStatus PXStreamSetPos(PXStream stream, uint32_t position) noexcept
{
    return PXStreamSetPos2(stream, position);
}

PXStatus PXStreamSetPos2(PXStream stream, uint64_t position) noexcept
{
    PX_REQUIRE(stream);
    return Logged(px::ToStream(stream)->SetPos(position));
}

PXStatus PXStreamSkip(PXStream stream, uint32_t count) noexcept
{
    return PXStreamSkip2(stream, count);
}

PXStatus PXStreamSkip2(PXStream stream, uint64_t count) noexcept
{
    PX_REQUIRE(stream);
    return Logged(px::ToStream(stream)->Skip(count));
}

PXStatus PXStreamSetBuffer(PXStream stream, CFDataRef buffer) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->SetBuffer(buffer);
}

PXStatus PXStreamSetCaching(PXStream stream, bool isOn) noexcept
{
    PX_REQUIRE(stream);
    return px::ToStream(stream)->SetCaching(isOn);
}
