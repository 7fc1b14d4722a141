#pragma once

// Stream — the byte channel under files, memory and sockets; the base of every kind of stream.
//
// PXStream.h has the contract of all that both offer; here stands what a class adds or must do. The
// slots after those of the base, and their order, are contract; a count is the one asked for on
// entry and the one done on return. Functions whose names contain Copy hand out a reference.
//
// A kind of stream must bring the abstract functions and may bring better ones for the others.
// Those for chunks and positions leave logging to what calls them: here, and in the flat functions.

#include <cstddef>
#include <cstdint>

#include "Base/BaseCore.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXStream.h"

// One of the pieces that are written together.
struct CBaseStreamPart {
    const void* bytes;
    size_t size;
};

class PX_API CBaseStream : public CBaseCore {
public:
    // What a reader tells of the bytes that it is after.
    enum ReadFlag : int { kFixedWidth = 0, kBlock = 1 };

    virtual PXStatus Open() = 0;
    virtual void Close() = 0;
    virtual PXStatus ReadChunk(void* buffer, int flag, size_t& size) = 0;
    virtual PXStatus WriteChunk(const void* buffer, size_t& size) = 0;
    // kPXErrStreamEnd, unlogged, at the end.
    virtual PXStatus ReadChar(char& character) = 0;
    // As the functions of the same names in PXStream.h, as are those below.
    virtual PXStatus WriteString(CFStringRef text);
    virtual PXStatus WriteStringParams(CFStringRef format, ...);
    virtual PXStatus ReadLine(char*& buffer, size_t& capacity);
    virtual PXStatus GetPos(uint64_t& position);  // this and the next five: kPXErrStreamEnd
    virtual PXStatus SetPos(uint64_t position);
    virtual PXStatus GetLength(uint64_t& length);
    // Reads `count` characters, up to the first failure, which it returns.
    virtual PXStatus Skip(uint64_t count);
    // Files alone; others give kPXErrStreamEnd.
    virtual PXStatus SetBuffer(CFDataRef buffer);
    virtual PXStatus SetCaching(bool isOn);
    virtual PXStatus CreateCopy(CBaseStream*& copy);  // kPXErrNotSupported
    // Whether there is nothing more to read; a file and a socket know once a read has met the end.
    virtual bool IsEOF() = 0;
    virtual PXStatus readPropertyListCopy(CFOptionFlags options, CFPropertyListRef& list);
    // Writes all parts as one chunk.
    virtual PXStatus WriteParts(const CBaseStreamPart* parts, size_t count);

    PXStreamByteOrder GetByteOrder() const noexcept { return byteOrder_; }
    void SetByteOrder(PXStreamByteOrder order) noexcept { byteOrder_ = order; }
    bool GetReadOnly() const noexcept { return isReadOnly_; }
    void SetReadOnly(bool isReadOnly) noexcept { isReadOnly_ = isReadOnly; }
    uint64_t GetReadCap() const noexcept { return readCap_; }
    void SetReadCap(uint64_t bytes) noexcept { readCap_ = bytes; }

    // As the functions of the same names in PXStream.h.
    PXStatus ReadInt16(int16_t& value);
    PXStatus ReadUInt16(uint16_t& value);
    PXStatus ReadInt32(int32_t& value);
    PXStatus ReadUInt32(uint32_t& value);
    PXStatus ReadInt64(int64_t& value);
    PXStatus ReadUInt64(uint64_t& value);
    PXStatus ReadFloat32(float& value);
    PXStatus WriteInt16(int16_t value);
    PXStatus WriteUInt16(uint16_t value);
    PXStatus WriteInt32(int32_t value);
    PXStatus WriteUInt32(uint32_t value);
    PXStatus WriteInt64(int64_t value);
    PXStatus WriteUInt64(uint64_t value);
    PXStatus WriteFloat32(float value);

    // As the functions of the same names in PXStream.h.
    PXStatus ReadDataCopy(uint64_t count, CFDataRef& data);
    PXStatus ReadBlockCopy(CFDataRef& data);
    PXStatus WriteBlock(CFDataRef data);
    PXStatus writePropertyList(CFPropertyListRef list, CFPropertyListFormat format);

protected:
    CBaseStream() noexcept = default;

    // The next bytes of a stream that has some at hand: it may take them from there.
    struct Lent {
        const char* bytes;
        size_t size;
    };
    using Lender = Lent (*)(CBaseStream* stream, PXStatus* status);
    // Takes `size` of the bytes that were lent last.
    using Taker = void (*)(CBaseStream* stream, size_t size);
    // ReadLine for streams that can lend.
    PXStatus ReadLineLent(Lender lend, Taker take, char*& buffer, size_t& capacity);

private:
    template <class Number>
    PXStatus ReadNumber(Number& value);
    template <class Number>
    PXStatus WriteNumber(Number value);
    // Writes all; logs what prevents it.
    PXStatus WriteWhole(const void* bytes, size_t size);
    PXStatus ReadWhole(void* buffer, int flag, size_t size);

    PXStreamByteOrder byteOrder_ = kPXStreamByteOrderNative;
    bool isReadOnly_ = false;
    uint64_t readCap_ = kPXStreamDefaultCap;
};

namespace px {

inline CBaseStream* ToStream(PXStream handle)
{
    return reinterpret_cast<CBaseStream*>(handle);
}

inline PXStream ToHandle(CBaseStream* stream)
{
    return reinterpret_cast<PXStream>(stream);
}

}  // namespace px
