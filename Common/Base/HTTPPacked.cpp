#include "Base/HTTPPacked.h"

#include "Base/Status.h"
#include "PXCore/PXUtils.h"

#include <cstdint>

namespace px {

namespace {

constexpr char kEventSource[] = "HTTPMessage";

constexpr uint64_t kLengthBytes = 4;

void AppendPart(CFMutableDataRef body, CFDataRef part)
{
    const CFIndex length = part ? CFDataGetLength(part) : 0;
    UInt8 bytes[kLengthBytes];
    for (unsigned i = 0; i < kLengthBytes; ++i) {
        bytes[i] = static_cast<UInt8>(static_cast<uint64_t>(length) >> (24 - 8 * i));
    }
    CFDataAppendBytes(body, bytes, sizeof(bytes));
    if (length > 0) CFDataAppendBytes(body, CFDataGetBytePtr(part), length);
}

// The part that begins at `offset` of the body, which then lies behind it; false when it does not
// fit.
bool TakePart(CFDataRef body, uint64_t* offset, CFRange* part)
{
    const auto size = static_cast<uint64_t>(CFDataGetLength(body));
    if (*offset > size || size - *offset < kLengthBytes) return false;
    const UInt8* bytes = CFDataGetBytePtr(body) + *offset;
    uint64_t length = 0;
    for (unsigned i = 0; i < kLengthBytes; ++i) length = length << 8 | bytes[i];
    *offset += kLengthBytes;
    if (length > size - *offset) return false;
    *part = CFRangeMake(static_cast<CFIndex>(*offset), static_cast<CFIndex>(length));
    *offset += length;
    return true;
}

}  // namespace

CFRef<CFDataRef> Pack(CFDataRef raw, CFDictionaryRef list)
{
    const auto xml = CFRef<CFDataRef>::Adopt(PXUtilsCreateXMLData(nullptr, list));
    if (!xml) return {};
    const auto body = CFRef<CFMutableDataRef>::Adopt(CFDataCreateMutable(nullptr, 0));
    if (!body || (raw && CFDataGetLength(raw) > UINT32_MAX) ||
        CFDataGetLength(xml.Get()) > UINT32_MAX) {
        PX_FAIL(kPXErrCreate);
        return {};
    }
    AppendPart(body.Get(), raw);
    AppendPart(body.Get(), xml.Get());
    return CFRef<CFDataRef>::Retain(body.Get());
}

CFRef<CFDictionaryRef> Unpack(CFDataRef body)
{
    uint64_t offset = 0;
    CFRange raw = {};
    CFRange list = {};
    if (!TakePart(body, &offset, &raw) || !TakePart(body, &offset, &list)) {
        PX_FAIL(kPXErrListRead);
        return {};
    }
    const UInt8* bytes = CFDataGetBytePtr(body);
    const auto xml = CFRef<CFDataRef>::Adopt(
        CFDataCreateWithBytesNoCopy(nullptr, bytes + list.location, list.length, kCFAllocatorNull));
    const auto read = CFRef<CFMutableDictionaryRef>::Adopt(PXUtilsCreateDictionaryFromXMLData(
        nullptr, xml.Get(), kCFPropertyListMutableContainers, nullptr));
    const auto block =
        CFRef<CFDataRef>::Adopt(CFDataCreate(nullptr, bytes + raw.location, raw.length));
    if (!read || !block) return {};
    CFDictionarySetValue(read.Get(), CFSTR("raw"), block.Get());
    CFDictionarySetValue(read.Get(), CFSTR("--content--"), body);
    return CFRef<CFDictionaryRef>::Retain(read.Get());
}

}  // namespace px
