#include "Stream_p.h"

#include "Base/Platform/Platform.h"
#include "Classes.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFURL.h"
#include "Error_p.h"
#include "GrowingBuffer.h"
#include "Number_p.h"
#include "Runtime.h"
#include "String_p.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace px::cf {

namespace {

// What reading and writing share. A file stream has a path; `file` is open from a successful
// opening to the closing.
struct StreamObject : Object {
    StreamObject(Type streamType, char* filePath) : Object(streamType, 0), path(filePath) {}

    CFStreamStatus status = kCFStreamStatusNotOpen;
    CFStreamError error = {0, 0};
    char* path;  // owned; null for streams in memory
    os::File file = os::kNoFile;

    bool IsOpen() const { return status == kCFStreamStatusOpen; }
};

enum class Target : uint8_t { kFile, kBuffer, kGrowing };

}  // namespace

}  // namespace px::cf

struct __CFReadStream : px::cf::StreamObject {
    static constexpr px::cf::Type kType = px::cf::Type::kReadStream;
    explicit __CFReadStream(char* filePath) : StreamObject(kType, filePath) {}

    const UInt8* bytes = nullptr;
    CFIndex length = 0;
    CFIndex position = 0;
    CFAllocatorRef deallocator = nullptr;  // retained
};

struct __CFWriteStream : px::cf::StreamObject {
    static constexpr px::cf::Type kType = px::cf::Type::kWriteStream;
    __CFWriteStream(px::cf::Target streamTarget, char* filePath)
        : StreamObject(kType, filePath), target(streamTarget)
    {
    }

    px::cf::Target target;
    UInt8* buffer = nullptr;  // the caller's
    CFIndex capacity = 0;
    CFIndex used = 0;
    px::cf::GrowingBuffer<UInt8> grown;
    bool appends = false;  // to what the file holds already
};

namespace px::cf {

namespace {

using ReadStream = __CFReadStream;
using WriteStream = __CFWriteStream;

constinit __CFString dataWrittenKey{"kCFStreamPropertyDataWritten"};
constinit __CFString fileCurrentOffsetKey{"kCFStreamPropertyFileCurrentOffset"};
constinit __CFString appendToFileKey{"kCFStreamPropertyAppendToFile"};

// Longer than any path the system opens.
constexpr CFIndex kPathCapacity = 8192;

// The path of a file URL in a block of its own; null when it has none.
char* CopyPath(CFURLRef url)
{
    UInt8 path[kPathCapacity];
    if (!CFURLGetFileSystemRepresentation(url, true, path, kPathCapacity)) return nullptr;
    const size_t size = std::strlen(reinterpret_cast<const char*>(path)) + 1;
    void* copy = AllocateBytes(static_cast<CFIndex>(size));
    return copy ? static_cast<char*>(std::memcpy(copy, path, size)) : nullptr;
}

void Fail(StreamObject* stream, int error)
{
    stream->status = kCFStreamStatusError;
    stream->error = {kCFStreamErrorDomainPOSIX, error};
}

bool Open(StreamObject* stream, os::OpenMode mode)
{
    if (stream->status != kCFStreamStatusNotOpen) return false;
    if (stream->path) {
        const int error = os::Os().openFile(stream->path, mode, &stream->file);
        if (error != 0) {
            Fail(stream, error);
            return false;
        }
    }
    stream->status = kCFStreamStatusOpen;
    // Writes go to the end by themselves; this is for those who ask for the offset before.
    os::FileFacts facts;
    if (mode == os::OpenMode::kAppend && os::Os().factsOfFile(stream->file, &facts) == 0) {
        (void)os::Os().seekFile(stream->file, facts.size);
    }
    return true;
}

void CloseFile(StreamObject* stream)
{
    if (stream->file == os::kNoFile) return;
    // Nobody asks after the last write; what it could report concerns bytes already accepted.
    (void)os::Os().closeFile(stream->file);
    stream->file = os::kNoFile;
}

void Close(StreamObject* stream)
{
    if (stream->status == kCFStreamStatusNotOpen) return;
    CloseFile(stream);
    stream->status = kCFStreamStatusClosed;
}

CFErrorRef CopyError(const StreamObject* stream)
{
    if (stream->error.domain == 0) return nullptr;
    return NewError(kCFErrorDomainPOSIX, stream->error.error, kCFErrorDescriptionKey,
                    os::TextOf(stream->error.error));
}

CFTypeRef CopyOffset(const StreamObject* stream)
{
    int64_t offset = 0;
    if (stream->file == os::kNoFile || os::Os().tellFile(stream->file, &offset) != 0) {
        return nullptr;
    }
    return NewInteger(offset);
}

bool SetOffset(StreamObject* stream, CFTypeRef value)
{
    int64_t offset = 0;
    if (stream->file == os::kNoFile || CFGetTypeID(value) != CFNumberGetTypeID()) return false;
    if (!CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &offset)) {
        return false;
    }
    if (offset < 0 || os::Os().seekFile(stream->file, offset) != 0) return false;
    if (stream->status == kCFStreamStatusAtEnd) stream->status = kCFStreamStatusOpen;
    return stream->IsOpen();
}

CFIndex ReadMemory(ReadStream* stream, UInt8* buffer, CFIndex length)
{
    const CFIndex count = std::min(length, stream->length - stream->position);
    if (count > 0)
        std::memcpy(buffer, stream->bytes + stream->position, static_cast<size_t>(count));
    stream->position += count;
    return count;
}

CFIndex ReadFile(ReadStream* stream, UInt8* buffer, CFIndex length)
{
    size_t got = 0;
    const int error = os::Os().readFile(stream->file, buffer, static_cast<size_t>(length), &got);
    if (error != 0) {
        Fail(stream, error);
        return -1;
    }
    return static_cast<CFIndex>(got);
}

CFIndex WriteBuffer(WriteStream* stream, const UInt8* bytes, CFIndex length)
{
    const CFIndex count = std::min(length, stream->capacity - stream->used);
    if (count > 0) std::memcpy(stream->buffer + stream->used, bytes, static_cast<size_t>(count));
    stream->used += count;
    if (stream->used == stream->capacity) stream->status = kCFStreamStatusAtEnd;
    return count;
}

CFIndex WriteGrowing(WriteStream* stream, const UInt8* bytes, CFIndex length)
{
    if (stream->grown.Append(bytes, length)) return length;
    Fail(stream, ENOMEM);
    return -1;
}

CFIndex WriteFile(WriteStream* stream, const UInt8* bytes, CFIndex length)
{
    const int error = os::WriteAll(stream->file, bytes, static_cast<size_t>(length));
    if (error == 0) return length;
    Fail(stream, error);
    return -1;
}

void DestroyReadStream(Object* object)
{
    auto* stream = static_cast<ReadStream*>(object);
    CloseFile(stream);
    std::free(stream->path);
    if (stream->bytes) DeallocateWith(stream->deallocator, stream->bytes);
    CFRelease(stream->deallocator);
    FreeObject(stream);
}

void DestroyWriteStream(Object* object)
{
    auto* stream = static_cast<WriteStream*>(object);
    CloseFile(stream);
    std::free(stream->path);
    FreeObject(stream);
}

}  // namespace

const ClassInfo kReadStreamClass = {"CFReadStream", DestroyReadStream, nullptr,
                                    nullptr,        nullptr,           false};
const ClassInfo kWriteStreamClass = {
    "CFWriteStream", DestroyWriteStream, nullptr, nullptr, nullptr, false};

bool TakeInPlace(CFReadStreamRef stream, CFIndex limit, const UInt8** bytes, CFIndex* count)
{
    const bool readable = stream->IsOpen() || stream->status == kCFStreamStatusAtEnd;
    if (stream->path || !readable) return false;
    const CFIndex left = stream->length - stream->position;
    *count = limit > 0 ? std::min(limit, left) : left;
    *bytes = stream->bytes + (stream->bytes ? stream->position : 0);
    stream->position += *count;
    return true;
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

constinit const CFStreamPropertyKey kCFStreamPropertyDataWritten = &dataWrittenKey;
constinit const CFStreamPropertyKey kCFStreamPropertyFileCurrentOffset = &fileCurrentOffsetKey;
constinit const CFStreamPropertyKey kCFStreamPropertyAppendToFile = &appendToFileKey;

CFTypeID CFReadStreamGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kReadStream);
}

CFTypeID CFWriteStreamGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kWriteStream);
}

CFReadStreamRef CFReadStreamCreateWithBytesNoCopy(CFAllocatorRef, const UInt8* bytes,
                                                  CFIndex length, CFAllocatorRef bytesDeallocator)
{
    if (length < 0 || (!bytes && length > 0) ||
        (bytesDeallocator && ObjectOf(bytesDeallocator)->type != Type::kAllocator)) {
        Misuse(__func__, "unusable bytes or deallocator");
        return nullptr;
    }
    ReadStream* made = NewObject<ReadStream>(0, nullptr);
    if (!made) return nullptr;
    made->bytes = bytes;
    made->length = length;
    made->deallocator = static_cast<CFAllocatorRef>(CFRetain(bytesDeallocator));
    return made;
}

CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef, CFURLRef fileURL)
{
    char* path = CopyPath(fileURL);
    ReadStream* made = path ? NewObject<ReadStream>(0, path) : nullptr;
    if (!made) std::free(path);
    return made;
}

CFWriteStreamRef CFWriteStreamCreateWithFile(CFAllocatorRef, CFURLRef fileURL)
{
    char* path = CopyPath(fileURL);
    WriteStream* made = path ? NewObject<WriteStream>(0, Target::kFile, path) : nullptr;
    if (!made) std::free(path);
    return made;
}

CFWriteStreamRef CFWriteStreamCreateWithBuffer(CFAllocatorRef, UInt8* buffer,
                                               CFIndex bufferCapacity)
{
    if (bufferCapacity < 0 || (!buffer && bufferCapacity > 0)) {
        Misuse(__func__, "unusable buffer");
        return nullptr;
    }
    WriteStream* made = NewObject<WriteStream>(0, Target::kBuffer, nullptr);
    if (!made) return nullptr;
    made->buffer = buffer;
    made->capacity = bufferCapacity;
    return made;
}

CFWriteStreamRef CFWriteStreamCreateWithAllocatedBuffers(CFAllocatorRef, CFAllocatorRef)
{
    return NewObject<WriteStream>(0, Target::kGrowing, nullptr);
}

Boolean CFReadStreamOpen(CFReadStreamRef stream)
{
    ReadStream* opened = Check<ReadStream>(stream, __func__);
    return opened && Open(opened, px::os::OpenMode::kRead);
}

Boolean CFWriteStreamOpen(CFWriteStreamRef stream)
{
    WriteStream* opened = Check<WriteStream>(stream, __func__);
    if (!opened) return false;
    return Open(opened, opened->appends ? px::os::OpenMode::kAppend : px::os::OpenMode::kCreate);
}

void CFReadStreamClose(CFReadStreamRef stream)
{
    if (ReadStream* closed = Check<ReadStream>(stream, __func__)) Close(closed);
}

void CFWriteStreamClose(CFWriteStreamRef stream)
{
    if (WriteStream* closed = Check<WriteStream>(stream, __func__)) Close(closed);
}

CFIndex CFReadStreamRead(CFReadStreamRef stream, UInt8* buffer, CFIndex bufferLength)
{
    ReadStream* source = Check<ReadStream>(stream, __func__);
    if (!source || bufferLength < 0 || (!buffer && bufferLength > 0)) return -1;
    if (source->status == kCFStreamStatusAtEnd) return 0;
    if (!source->IsOpen()) return -1;
    if (bufferLength == 0) return 0;
    const CFIndex count = source->path ? ReadFile(source, buffer, bufferLength)
                                       : ReadMemory(source, buffer, bufferLength);
    if (count == 0) source->status = kCFStreamStatusAtEnd;
    return count;
}

const UInt8* CFReadStreamGetBuffer(CFReadStreamRef stream, CFIndex maxBytesToRead,
                                   CFIndex* numBytesRead)
{
    if (numBytesRead) *numBytesRead = 0;
    ReadStream* source = Check<ReadStream>(stream, __func__);
    if (!source || source->path || !source->IsOpen() || maxBytesToRead < 0) return nullptr;
    const UInt8* bytes = nullptr;
    CFIndex count = 0;
    TakeInPlace(stream, maxBytesToRead, &bytes, &count);
    if (count == 0) {
        source->status = kCFStreamStatusAtEnd;
        return nullptr;
    }
    if (numBytesRead) *numBytesRead = count;
    return bytes;
}

CFIndex CFWriteStreamWrite(CFWriteStreamRef stream, const UInt8* buffer, CFIndex bufferLength)
{
    WriteStream* sink = Check<WriteStream>(stream, __func__);
    if (!sink || bufferLength < 0 || (!buffer && bufferLength > 0)) return -1;
    if (sink->status == kCFStreamStatusAtEnd) return 0;
    if (!sink->IsOpen()) return -1;
    if (bufferLength == 0) return 0;
    switch (sink->target) {
        case Target::kBuffer:
            return WriteBuffer(sink, buffer, bufferLength);
        case Target::kGrowing:
            return WriteGrowing(sink, buffer, bufferLength);
        case Target::kFile:
            break;
    }
    return WriteFile(sink, buffer, bufferLength);
}

Boolean CFReadStreamHasBytesAvailable(CFReadStreamRef stream)
{
    const ReadStream* source = Check<const ReadStream>(stream, __func__);
    return source && source->IsOpen() && (source->path || source->position < source->length);
}

Boolean CFWriteStreamCanAcceptBytes(CFWriteStreamRef stream)
{
    const WriteStream* sink = Check<const WriteStream>(stream, __func__);
    return sink && sink->IsOpen() &&
           (sink->target != Target::kBuffer || sink->used < sink->capacity);
}

CFStreamStatus CFReadStreamGetStatus(CFReadStreamRef stream)
{
    const ReadStream* source = Check<const ReadStream>(stream, __func__);
    return source ? source->status : CFStreamStatus{kCFStreamStatusNotOpen};
}

CFStreamStatus CFWriteStreamGetStatus(CFWriteStreamRef stream)
{
    const WriteStream* sink = Check<const WriteStream>(stream, __func__);
    return sink ? sink->status : CFStreamStatus{kCFStreamStatusNotOpen};
}

CFStreamError CFReadStreamGetError(CFReadStreamRef stream)
{
    const ReadStream* source = Check<const ReadStream>(stream, __func__);
    return source ? source->error : CFStreamError{0, 0};
}

CFStreamError CFWriteStreamGetError(CFWriteStreamRef stream)
{
    const WriteStream* sink = Check<const WriteStream>(stream, __func__);
    return sink ? sink->error : CFStreamError{0, 0};
}

CFErrorRef CFReadStreamCopyError(CFReadStreamRef stream)
{
    const ReadStream* source = Check<const ReadStream>(stream, __func__);
    return source ? CopyError(source) : nullptr;
}

CFErrorRef CFWriteStreamCopyError(CFWriteStreamRef stream)
{
    const WriteStream* sink = Check<const WriteStream>(stream, __func__);
    return sink ? CopyError(sink) : nullptr;
}

CFTypeRef CFReadStreamCopyProperty(CFReadStreamRef stream, CFStreamPropertyKey propertyName)
{
    const ReadStream* source = Check<const ReadStream>(stream, __func__);
    if (!source || !CFEqual(propertyName, &fileCurrentOffsetKey)) return nullptr;
    return CopyOffset(source);
}

CFTypeRef CFWriteStreamCopyProperty(CFWriteStreamRef stream, CFStreamPropertyKey propertyName)
{
    const WriteStream* sink = Check<const WriteStream>(stream, __func__);
    if (!sink) return nullptr;
    if (CFEqual(propertyName, &fileCurrentOffsetKey)) return CopyOffset(sink);
    if (sink->target == Target::kFile && CFEqual(propertyName, &appendToFileKey)) {
        return sink->appends ? kCFBooleanTrue : kCFBooleanFalse;
    }
    const bool wasOpened = sink->status != kCFStreamStatusNotOpen;
    if (!wasOpened || sink->target != Target::kGrowing || !CFEqual(propertyName, &dataWrittenKey)) {
        return nullptr;
    }
    return CFDataCreate(nullptr, sink->grown.Elements(), sink->grown.Count());
}

Boolean CFReadStreamSetProperty(CFReadStreamRef stream, CFStreamPropertyKey propertyName,
                                CFTypeRef propertyValue)
{
    ReadStream* source = Check<ReadStream>(stream, __func__);
    return source && CFEqual(propertyName, &fileCurrentOffsetKey) &&
           SetOffset(source, propertyValue);
}

Boolean CFWriteStreamSetProperty(CFWriteStreamRef stream, CFStreamPropertyKey propertyName,
                                 CFTypeRef propertyValue)
{
    WriteStream* sink = Check<WriteStream>(stream, __func__);
    if (!sink || sink->target != Target::kFile) return false;
    if (CFEqual(propertyName, &fileCurrentOffsetKey)) return SetOffset(sink, propertyValue);
    if (!CFEqual(propertyName, &appendToFileKey) || sink->status != kCFStreamStatusNotOpen ||
        CFGetTypeID(propertyValue) != CFBooleanGetTypeID()) {
        return false;
    }
    sink->appends = CFBooleanGetValue(static_cast<CFBooleanRef>(propertyValue));
    return true;
}

}  // extern "C"
