#include "StringEncoding.h"

#include "CoreFoundation/CFData.h"
#include "StringCharsets.h"
#include "Utf8.h"

#include <algorithm>
#include <bit>

namespace px::cf {

namespace {

constexpr bool kIsLittleEndian = std::endian::native == std::endian::little;
constexpr char32_t kMark = 0xFEFF;

// Windows code page 1252 from 0x80 to 0x9F; it agrees with Latin-1 elsewhere. 0 is not assigned.
constexpr UniChar kWindowsUnits[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

uint16_t Load16(const uint8_t* bytes, bool isSwapped)
{
    uint16_t unit;
    std::memcpy(&unit, bytes, sizeof(unit));
    return isSwapped ? static_cast<uint16_t>(unit << 8 | unit >> 8) : unit;
}

uint32_t Load32(const uint8_t* bytes, bool isSwapped)
{
    uint32_t unit;
    std::memcpy(&unit, bytes, sizeof(unit));
    return isSwapped ? __builtin_bswap32(unit) : unit;
}

void Store16(uint16_t unit, bool isSwapped, uint8_t* bytes)
{
    if (isSwapped) unit = static_cast<uint16_t>(unit << 8 | unit >> 8);
    std::memcpy(bytes, &unit, sizeof(unit));
}

void Store32(uint32_t unit, bool isSwapped, uint8_t* bytes)
{
    if (isSwapped) unit = __builtin_bswap32(unit);
    std::memcpy(bytes, &unit, sizeof(unit));
}

// The ASCII bytes at `bytes`, at least one. Text between other characters comes in short runs, for
// which the call into a kernel does not pay.
CFIndex AsciiRun(const uint8_t* bytes, CFIndex count)
{
    constexpr CFIndex kShortRun = 16;
    const CFIndex nearby = std::min(count, kShortRun);
    CFIndex run = 1;
    while (run < nearby && bytes[run] < 0x80) ++run;
    return run < kShortRun ? run : run + AsciiPrefix(bytes + run, count - run);
}

// Decodes into room for as many units as there are bytes, then copies what it became.
CFStringRef DecodeUtf8Text(const uint8_t* bytes, CFIndex count)
{
    const CFIndex prefix = AsciiPrefix(bytes, count);
    if (prefix == count) return NewAsciiString(reinterpret_cast<const char*>(bytes), count);
    assert(bytes);  // none at all is ASCII
    Scratch<UniChar, 256> scratch;
    UniChar* const units = scratch.Reserve(static_cast<size_t>(count));
    if (!units) return nullptr;
    CopyUnits({bytes, nullptr, prefix}, units);
    UniChar* end = units + prefix;
    for (CFIndex at = prefix; at < count;) {
        if (bytes[at] < 0x80) {
            const CFIndex run = AsciiRun(bytes + at, count - at);
            end = std::copy(bytes + at, bytes + at + run, end);
            at += run;
            continue;
        }
        char32_t character = 0;
        const size_t used = DecodeUtf8(bytes + at, static_cast<size_t>(count - at), &character);
        if (used == 0) return nullptr;
        end += PutCharacter(character, end);
        at += static_cast<CFIndex>(used);
    }
    return NewStringFromUnits(units, end - units);
}

CFStringRef DecodeBytewise(const uint8_t* bytes, CFIndex count, Charset charset)
{
    const bool isAscii = AsciiPrefix(bytes, count) == count;
    if (!isAscii && charset == Charset::kAscii) return nullptr;
    const bool isLatin = isAscii || charset == Charset::kLatin1 ||
                         std::none_of(bytes, bytes + count,
                                      [](uint8_t byte) { return byte >= 0x80 && byte < 0xA0; });
    if (isLatin) {
        String* made = NewNarrowString(count, isAscii);
        if (made && count > 0) std::memcpy(NarrowUnitsOf(made), bytes, static_cast<size_t>(count));
        return made;
    }
    String* made = NewWideString(count);
    if (!made) return nullptr;
    for (CFIndex i = 0; i < count; ++i) {
        const bool isOther = bytes[i] >= 0x80 && bytes[i] < 0xA0;
        const UniChar unit = isOther ? kWindowsUnits[bytes[i] - 0x80] : UniChar{bytes[i]};
        if (isOther && unit == 0) {
            CFRelease(made);
            return nullptr;
        }
        WideUnitsOf(made)[i] = unit;
    }
    return made;
}

CFStringRef DecodeUtf16(const uint8_t* bytes, CFIndex count, bool isSwapped)
{
    if (count % 2 != 0) return nullptr;
    UniChar bits = 0;
    for (CFIndex i = 0; i < count; i += 2) bits |= Load16(bytes + i, isSwapped);
    const CFIndex length = count / 2;
    String* made = bits > 0xFF ? NewWideString(length) : NewNarrowString(length, bits < 0x80);
    if (!made) return nullptr;
    for (CFIndex i = 0; i < length; ++i) {
        const UniChar unit = Load16(bytes + 2 * i, isSwapped);
        if (bits > 0xFF) {
            WideUnitsOf(made)[i] = unit;
        } else {
            NarrowUnitsOf(made)[i] = static_cast<uint8_t>(unit);
        }
    }
    return made;
}

CFStringRef DecodeUtf32(const uint8_t* bytes, CFIndex count, bool isSwapped)
{
    if (count % 4 != 0) return nullptr;
    Scratch<UniChar, 256> scratch;
    UniChar* const units = scratch.Reserve(static_cast<size_t>(count / 2));
    if (!units) return nullptr;
    UniChar* end = units;
    for (CFIndex i = 0; i < count; i += 4) {
        const char32_t character = Load32(bytes + i, isSwapped);
        if (character > 0x10FFFF || (character & 0xFFFFF800) == 0xD800) return nullptr;
        end += PutCharacter(character, end);
    }
    return NewStringFromUnits(units, end - units);
}

// Takes a byte order mark off and settles the byte order.
void TakeMark(const uint8_t** bytes, CFIndex* count, Encoding* encoding)
{
    const CFIndex size = encoding->charset == Charset::kUtf8 ? 3 : encoding->UnitSize();
    const auto startsWithMark = [&](bool isSwapped) {
        if (*count < size) return false;
        if (size == 3) return std::memcmp(*bytes, "\xEF\xBB\xBF", 3) == 0;
        return (size == 2 ? Load16(*bytes, isSwapped) : Load32(*bytes, isSwapped)) == kMark;
    };
    if (size == 1) return;
    bool isMarked = startsWithMark(encoding->isSwapped);
    if (!isMarked && size != 3 && !encoding->hasFixedOrder) {
        isMarked = startsWithMark(!encoding->isSwapped);
        // Without a mark the bytes are big-endian.
        encoding->isSwapped = isMarked ? !encoding->isSwapped : kIsLittleEndian;
    }
    if (!isMarked) return;
    *bytes += size;
    *count -= size;
}

// The byte of an 8-bit set, or -1.
int ByteOf(char32_t character, Charset charset)
{
    if (character < 0x80) return static_cast<int>(character);
    if (charset == Charset::kAscii) return -1;
    if (charset == Charset::kMacRoman) return MacRomanByte(character);
    const bool isHole = charset == Charset::kWindows && character < 0xA0;
    if (character < 0x100 && !isHole) return static_cast<int>(character);
    if (charset == Charset::kLatin1 || isHole) return -1;
    const auto* end = kWindowsUnits + 32;
    const auto* at = std::find(kWindowsUnits, end, character);
    return at == end ? -1 : static_cast<int>(at - kWindowsUnits) + 0x80;
}

// Writes the bytes of one character, at most kMostEscapedBytes; 0 when the encoding does not have
// it.
CFIndex EncodeCharacter(char32_t character, Encoding encoding, uint8_t* bytes)
{
    const bool isSurrogate = (character & 0xFFFFF800) == 0xD800;
    switch (encoding.charset) {
        case Charset::kUtf8:
            return static_cast<CFIndex>(EncodeUtf8(character, bytes));
        case Charset::kUtf16: {
            UniChar units[2];
            const int count = PutCharacter(character, units);
            for (int i = 0; i < count; ++i) Store16(units[i], encoding.isSwapped, bytes + 2 * i);
            return 2 * count;
        }
        case Charset::kUtf32:
            if (isSurrogate) return 0;
            Store32(character, encoding.isSwapped, bytes);
            return 4;
        case Charset::kEscapedAscii:
            return EncodeEscapedAscii(character, bytes);
        default: {
            const int byte = ByteOf(character, encoding.charset);
            if (byte < 0) return 0;
            bytes[0] = static_cast<uint8_t>(byte);
            return 1;
        }
    }
}

CFIndex EncodeLoss(uint8_t lossByte, Encoding encoding, uint8_t* bytes)
{
    if (encoding.IsByteWise()) {
        bytes[0] = lossByte;
        return 1;
    }
    return EncodeCharacter(lossByte, encoding, bytes);
}

// Copies the ASCII units that stand at the start of `text`, at most `room`; short runs by hand.
CFIndex CopyAsciiRun(StringView text, uint8_t* buffer, CFIndex room)
{
    constexpr CFIndex kShortRun = 16;
    const CFIndex count = std::min(text.length, room);
    if (text.narrow) {
        const CFIndex run = AsciiPrefix(text.narrow, count);
        if (buffer && run > 0) std::memcpy(buffer, text.narrow, static_cast<size_t>(run));
        return run;
    }
    const CFIndex nearby = buffer ? std::min(count, kShortRun) : count;
    CFIndex run = 0;
    for (; run < nearby && text.wide[run] < 0x80; ++run) {
        if (buffer) buffer[run] = static_cast<uint8_t>(text.wide[run]);
    }
    if (run < nearby || run == count) return run;
    const auto left = static_cast<size_t>(count - run);
    return run + static_cast<CFIndex>(Kernels().copyAscii(text.wide + run, left, buffer + run));
}

}  // namespace

bool FindEncoding(CFStringEncoding number, Encoding* encoding)
{
    const auto set = [encoding](Charset charset, bool hasFixedOrder = false,
                                bool isSwapped = false) {
        *encoding = {charset, hasFixedOrder, isSwapped};
        return true;
    };
    switch (number) {
        case kCFStringEncodingASCII:
            return set(Charset::kAscii);
        case kCFStringEncodingISOLatin1:
            return set(Charset::kLatin1);
        case kCFStringEncodingWindowsLatin1:
            return set(Charset::kWindows);
        case kCFStringEncodingMacRoman:
            return set(Charset::kMacRoman);
        case kCFStringEncodingNonLossyASCII:
            return set(Charset::kEscapedAscii);
        case kCFStringEncodingUTF8:
            return set(Charset::kUtf8);
        case kCFStringEncodingUTF16:
            return set(Charset::kUtf16);
        case kCFStringEncodingUTF16BE:
            return set(Charset::kUtf16, true, kIsLittleEndian);
        case kCFStringEncodingUTF16LE:
            return set(Charset::kUtf16, true, !kIsLittleEndian);
        case kCFStringEncodingUTF32:
            return set(Charset::kUtf32);
        case kCFStringEncodingUTF32BE:
            return set(Charset::kUtf32, true, kIsLittleEndian);
        case kCFStringEncodingUTF32LE:
            return set(Charset::kUtf32, true, !kIsLittleEndian);
        default:
            return false;
    }
}

CFStringRef Decode(const uint8_t* bytes, CFIndex count, Encoding encoding, bool isExternal)
{
    if (isExternal) TakeMark(&bytes, &count, &encoding);
    switch (encoding.charset) {
        case Charset::kUtf8:
            return DecodeUtf8Text(bytes, count);
        case Charset::kUtf16:
            return DecodeUtf16(bytes, count, encoding.isSwapped);
        case Charset::kUtf32:
            return DecodeUtf32(bytes, count, encoding.isSwapped);
        case Charset::kMacRoman:
            return DecodeMacRoman(bytes, count);
        case Charset::kEscapedAscii:
            return DecodeEscapedAscii(bytes, count);
        default:
            return DecodeBytewise(bytes, count, encoding.charset);
    }
}

Encoded Encode(StringView text, Encoding encoding, uint8_t lossByte, bool isExternal,
               uint8_t* buffer, CFIndex capacity)
{
    if (!buffer) capacity = std::numeric_limits<CFIndex>::max();
    Encoded done = {0, 0};
    const auto put = [&](const uint8_t* bytes, CFIndex count) {
        if (count > capacity - done.bytes) return false;
        if (buffer) std::memcpy(buffer + done.bytes, bytes, static_cast<size_t>(count));
        done.bytes += count;
        return true;
    };
    uint8_t bytes[kMostEscapedBytes];
    if (isExternal && !encoding.IsByteWise() && !encoding.hasFixedOrder &&
        !put(bytes, EncodeCharacter(kMark, encoding, bytes))) {
        return done;
    }
    while (done.units < text.length) {
        if (encoding.KeepsAscii() && text[done.units] < 0x80) {
            const CFIndex run =
                CopyAsciiRun(PartFrom(text, done.units), buffer ? buffer + done.bytes : nullptr,
                             capacity - done.bytes);
            if (run == 0) break;
            done.units += run;
            done.bytes += run;
            continue;
        }
        int unitCount;
        const char32_t character = CharacterAt(text, done.units, &unitCount);
        const bool isInPlace = buffer && capacity - done.bytes >= kMostEscapedBytes;
        uint8_t* const place = isInPlace ? buffer + done.bytes : bytes;
        CFIndex byteCount = EncodeCharacter(character, encoding, place);
        if (byteCount == 0 && lossByte != 0) byteCount = EncodeLoss(lossByte, encoding, place);
        if (byteCount == 0) break;
        if (isInPlace) {
            done.bytes += byteCount;
        } else if (!put(bytes, byteCount)) {
            break;
        }
        done.units += unitCount;
    }
    return done;
}

CFStringRef NewUTF8String(const char* text, CFIndex length)
{
    if (length < 0) return nullptr;
    return DecodeUtf8Text(reinterpret_cast<const uint8_t*>(text), length);
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* cStr, CFStringEncoding encoding)
{
    Encoding found;
    if (!cStr || !FindEncoding(encoding, &found) || !found.IsByteWise()) {
        Misuse(__func__, "no text or no 8-bit encoding");
        return nullptr;
    }
    return Decode(reinterpret_cast<const uint8_t*>(cStr), static_cast<CFIndex>(std::strlen(cStr)),
                  found, false);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex numBytes,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation)
{
    Encoding found;
    if (numBytes < 0 || (!bytes && numBytes > 0) || !FindEncoding(encoding, &found)) {
        Misuse(__func__, "no bytes or an unknown encoding");
        return nullptr;
    }
    return Decode(bytes, numBytes, found, isExternalRepresentation);
}

CFStringRef CFStringCreateFromExternalRepresentation(CFAllocatorRef alloc, CFDataRef data,
                                                     CFStringEncoding encoding)
{
    if (CFGetTypeID(data) != CFDataGetTypeID()) {
        Misuse(__func__, "no data");
        return nullptr;
    }
    return CFStringCreateWithBytes(alloc, CFDataGetBytePtr(data), CFDataGetLength(data), encoding,
                                   true);
}

CFDataRef CFStringCreateExternalRepresentation(CFAllocatorRef alloc, CFStringRef theString,
                                               CFStringEncoding encoding, UInt8 lossByte)
{
    const auto* string = Check<const String>(theString, __func__);
    Encoding found;
    if (!string || !FindEncoding(encoding, &found)) return nullptr;
    const StringView text = ViewOf(string);
    const Encoded needed = Encode(text, found, lossByte, true, nullptr, 0);
    if (needed.units != text.length) return nullptr;
    auto* bytes = static_cast<uint8_t*>(AllocateBytes(needed.bytes));
    if (!bytes) return nullptr;
    Encode(text, found, lossByte, true, bytes, needed.bytes);
    CFDataRef made = CFDataCreateWithBytesNoCopy(alloc, bytes, needed.bytes, kCFAllocatorMalloc);
    if (!made) std::free(bytes);
    return made;
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding)
{
    if (!buffer || bufferSize <= 0) return false;
    const auto* string = Check<const String>(theString, __func__);
    Encoding found;
    Encoded done = {0, 0};
    const bool canEncode = string && FindEncoding(encoding, &found) && found.IsByteWise();
    if (canEncode) {
        done = Encode(ViewOf(string), found, 0, false, reinterpret_cast<uint8_t*>(buffer),
                      bufferSize - 1);
    }
    const bool isWhole = canEncode && done.units == string->length;
    buffer[isWhole ? done.bytes : 0] = 0;
    return isWhole;
}

const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding)
{
    const auto* string = Check<const String>(theString, __func__);
    Encoding found;
    // Only the storage of immutable strings ends with a zero.
    if (!string || string->flags & kMutable || !(string->flags & kStringAscii)) return nullptr;
    if (!FindEncoding(encoding, &found) || !found.KeepsAscii()) return nullptr;
    return static_cast<const char*>(string->units);
}

CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding,
                         UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer,
                         CFIndex maxBufLen, CFIndex* usedBufLen)
{
    if (usedBufLen) *usedBufLen = 0;
    const auto* string = Check<const String>(theString, __func__);
    Encoding found;
    if (!string || !CheckRange(range, string->length, __func__)) return 0;
    if (!FindEncoding(encoding, &found) || (buffer && maxBufLen < 0)) return 0;
    const Encoded done = Encode(Part(ViewOf(string), range), found, lossByte,
                                isExternalRepresentation, buffer, maxBufLen);
    if (usedBufLen) *usedBufLen = done.bytes;
    return done.units;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding)
{
    Encoding found;
    if (length < 0 || !FindEncoding(encoding, &found)) return 0;
    const CFIndex factor = found.MostBytesOfUnit();
    if (length > std::numeric_limits<CFIndex>::max() / factor) return kCFNotFound;
    return length * factor;
}

CFStringEncoding CFStringGetSystemEncoding(void)
{
    return kCFStringEncodingUTF8;
}

Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding)
{
    Encoding found;
    return FindEncoding(encoding, &found);
}

}  // extern "C"
