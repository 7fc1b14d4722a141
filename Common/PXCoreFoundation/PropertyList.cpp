// The interface of property lists: formats, streams and errors around the readers and writers.

#include "CoreFoundation/CFData.h"
#include "Error_p.h"
#include "ListEncoding.h"
#include "PropertyList_p.h"
#include "Stream_p.h"
#include "String_p.h"

#include <algorithm>
#include <cstring>

namespace px::cf {

namespace {

// Receives why a call failed, in the form that its caller asks for.
class FailureSink {
public:
    explicit FailureSink(CFStringRef* text) : text_(text)
    {
        if (text_) *text_ = nullptr;
    }
    explicit FailureSink(CFErrorRef* error) : error_(error)
    {
        if (error_) *error_ = nullptr;
    }

    void Report(const ListFailure& failure)
    {
        if (text_) {
            *text_ = NewUTF8String(failure.text, static_cast<CFIndex>(std::strlen(failure.text)));
        }
        if (error_) {
            *error_ = NewError(kCFErrorDomainCocoa, failure.code, kCFErrorLocalizedDescriptionKey,
                               failure.text);
        }
    }

private:
    CFStringRef* text_ = nullptr;
    CFErrorRef* error_ = nullptr;
};

bool IsBinary(ListBytes input)
{
    return input.size >= 6 && std::memcmp(input.bytes, "bplist", 6) == 0;
}

// The first character tells XML from the older text form.
CFPropertyListRef ReadTextual(ListBytes input, Mutability mutability, CFPropertyListFormat* format,
                              ListFailure* failure)
{
    ListDocument document;
    if (!FindListDocument(input, &document, failure)) return nullptr;
    if (document.size < static_cast<size_t>(document.unitSize)) {
        failure->Set(kCFPropertyListReadCorruptError, "The list is empty on line %llu",
                     static_cast<unsigned long long>(document.LineAt(document.start)));
        return nullptr;
    }
    const bool isXML = document.UnitAt(document.start) == '<';
    *format = isXML ? kCFPropertyListXMLFormat_v1_0 : kCFPropertyListOpenStepFormat;
    return isXML ? ReadXMLList(document, mutability, failure)
                 : ReadTextList(document, mutability, failure);
}

CFPropertyListRef ReadBytes(ListBytes input, CFOptionFlags options, CFPropertyListFormat* format,
                            FailureSink sink)
{
    ListFailure failure;
    CFPropertyListFormat found = kCFPropertyListBinaryFormat_v1_0;
    CFPropertyListRef list = IsBinary(input)
                                 ? ReadBinaryList(input, MutabilityOf(options), &failure)
                                 : ReadTextual(input, MutabilityOf(options), &found, &failure);
    if (!list) {
        sink.Report(failure);
    } else if (format) {
        *format = found;
    }
    return list;
}

CFPropertyListRef ReadData(CFDataRef data, CFOptionFlags options, CFPropertyListFormat* format,
                           FailureSink sink)
{
    if (!data || CFGetTypeID(data) != CFDataGetTypeID()) {
        Misuse(__func__, "no data");
        ListFailure failure;
        failure.Set(kCFPropertyListReadCorruptError, "There is no data to read");
        sink.Report(failure);
        return nullptr;
    }
    return ReadBytes({CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data))}, options,
                     format, sink);
}

// Reads `length` bytes, or all when it is 0.
bool Collect(CFReadStreamRef stream, CFIndex length, ByteBuffer* bytes, ListFailure* failure)
{
    constexpr CFIndex kPiece = 65536;
    while (length == 0 || bytes->Count() < length) {
        // The room follows what has arrived, whatever length was named.
        CFIndex room = std::max(kPiece, bytes->Count() / 2);
        if (length > 0) room = std::min(room, length - bytes->Count());
        if (!bytes->Reserve(room)) return failure->OutOfMemory(kCFPropertyListReadStreamError);
        const CFIndex got = CFReadStreamRead(stream, bytes->End(), room);
        if (got < 0) {
            return failure->Set(kCFPropertyListReadStreamError, "The stream cannot be read");
        }
        if (got == 0) return true;
        bytes->Advance(got);
    }
    return true;
}

CFPropertyListRef ReadStream(CFReadStreamRef stream, CFIndex length, CFOptionFlags options,
                             CFPropertyListFormat* format, FailureSink sink)
{
    ListFailure failure;
    ByteBuffer bytes;
    const bool isStream = stream && CFGetTypeID(stream) == CFReadStreamGetTypeID();
    if (!isStream || length < 0) {
        Misuse(__func__, "no stream or a negative length");
        failure.Set(kCFPropertyListReadStreamError, "There is no stream to read");
    } else {
        const UInt8* inPlace = nullptr;
        CFIndex count = 0;
        if (TakeInPlace(stream, length, &inPlace, &count)) {
            return ReadBytes({inPlace, static_cast<size_t>(count)}, options, format, sink);
        }
        if (Collect(stream, length, &bytes, &failure)) {
            return ReadBytes({bytes.Elements(), static_cast<size_t>(bytes.Count())}, options,
                             format, sink);
        }
    }
    sink.Report(failure);
    return nullptr;
}

bool Serialise(CFPropertyListRef list, CFPropertyListFormat format, CFOptionFlags options,
               ByteBuffer* bytes, ListFailure* failure)
{
    switch (format) {
        case kCFPropertyListXMLFormat_v1_0:
            return WriteXMLList(list, !(options & kPXCFPropertyListOmitDoctype), bytes, failure);
        case kCFPropertyListBinaryFormat_v1_0:
            return WriteBinaryList(list, bytes, failure);
        default:
            return failure->Set(kCFPropertyListWriteStreamError,
                                "Property lists cannot be written in this format");
    }
}

CFDataRef NewDataOf(ByteBuffer* bytes, ListFailure* failure)
{
    const CFIndex size = bytes->Count();
    UInt8* block = bytes->Detach();
    // Gives back the room that growth left behind the end.
    if (void* fitting = ReallocateBytes(block, size)) block = static_cast<UInt8*>(fitting);
    CFDataRef made = CFDataCreateWithBytesNoCopy(nullptr, block, size, kCFAllocatorMalloc);
    if (made) return made;
    std::free(block);
    failure->OutOfMemory(kCFPropertyListWriteStreamError);
    return nullptr;
}

CFDataRef WriteData(CFPropertyListRef list, CFPropertyListFormat format, CFOptionFlags options,
                    FailureSink sink)
{
    ListFailure failure;
    ByteBuffer bytes;
    CFDataRef made = nullptr;
    if (Serialise(list, format, options, &bytes, &failure)) made = NewDataOf(&bytes, &failure);
    if (!made) sink.Report(failure);
    return made;
}

CFIndex WriteStream(CFPropertyListRef list, CFWriteStreamRef stream, CFPropertyListFormat format,
                    CFOptionFlags options, FailureSink sink)
{
    ListFailure failure;
    ByteBuffer bytes;
    if (Serialise(list, format, options, &bytes, &failure)) {
        if (CFWriteStreamWrite(stream, bytes.Elements(), bytes.Count()) == bytes.Count()) {
            return bytes.Count();
        }
        failure.Set(kCFPropertyListWriteStreamError, "The stream did not take the whole list");
    }
    sink.Report(failure);
    return 0;
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef, CFDataRef xmlData,
                                                  CFOptionFlags mutabilityOption,
                                                  CFStringRef* errorString)
{
    return ReadData(xmlData, mutabilityOption, nullptr, FailureSink(errorString));
}

CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef, CFPropertyListRef propertyList)
{
    CFErrorRef* const unasked = nullptr;
    return WriteData(propertyList, kCFPropertyListXMLFormat_v1_0, 0, FailureSink(unasked));
}

CFPropertyListRef CFPropertyListCreateFromStream(CFAllocatorRef, CFReadStreamRef stream,
                                                 CFIndex streamLength,
                                                 CFOptionFlags mutabilityOption,
                                                 CFPropertyListFormat* format,
                                                 CFStringRef* errorString)
{
    return ReadStream(stream, streamLength, mutabilityOption, format, FailureSink(errorString));
}

CFIndex CFPropertyListWriteToStream(CFPropertyListRef propertyList, CFWriteStreamRef stream,
                                    CFPropertyListFormat format, CFStringRef* errorString)
{
    return WriteStream(propertyList, stream, format, 0, FailureSink(errorString));
}

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat* format,
                                               CFErrorRef* error)
{
    return ReadData(data, options, format, FailureSink(error));
}

CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef, CFReadStreamRef stream,
                                                 CFIndex streamLength, CFOptionFlags options,
                                                 CFPropertyListFormat* format, CFErrorRef* error)
{
    return ReadStream(stream, streamLength, options, format, FailureSink(error));
}

CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef propertyList,
                                   CFPropertyListFormat format, CFOptionFlags options,
                                   CFErrorRef* error)
{
    return WriteData(propertyList, format, options, FailureSink(error));
}

CFIndex CFPropertyListWrite(CFPropertyListRef propertyList, CFWriteStreamRef stream,
                            CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error)
{
    return WriteStream(propertyList, stream, format, options, FailureSink(error));
}

}  // extern "C"
