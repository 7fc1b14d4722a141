// Upper and lower case by the full mappings of Unicode, without language rules.

#include "StringStorage.h"

#include <utf8proc.h>

#include <algorithm>
#include <iterator>

namespace px::cf {

namespace {

// Characters whose upper case is more than one character, in ascending order.
struct LongUpper {
    UniChar character;
    UniChar upper[3];  // zero-filled
};
constexpr LongUpper kLongUppers[] = {
    {0x00DF, {0x0053, 0x0053, 0}},      {0x0149, {0x02BC, 0x004E, 0}},
    {0x01F0, {0x004A, 0x030C, 0}},      {0x0390, {0x0399, 0x0308, 0x0301}},
    {0x03B0, {0x03A5, 0x0308, 0x0301}}, {0x0587, {0x0535, 0x0552, 0}},
    {0x1E96, {0x0048, 0x0331, 0}},      {0x1E97, {0x0054, 0x0308, 0}},
    {0x1E98, {0x0057, 0x030A, 0}},      {0x1E99, {0x0059, 0x030A, 0}},
    {0x1E9A, {0x0041, 0x02BE, 0}},      {0x1F50, {0x03A5, 0x0313, 0}},
    {0x1F52, {0x03A5, 0x0313, 0x0300}}, {0x1F54, {0x03A5, 0x0313, 0x0301}},
    {0x1F56, {0x03A5, 0x0313, 0x0342}}, {0x1F80, {0x1F08, 0x0399, 0}},
    {0x1F81, {0x1F09, 0x0399, 0}},      {0x1F82, {0x1F0A, 0x0399, 0}},
    {0x1F83, {0x1F0B, 0x0399, 0}},      {0x1F84, {0x1F0C, 0x0399, 0}},
    {0x1F85, {0x1F0D, 0x0399, 0}},      {0x1F86, {0x1F0E, 0x0399, 0}},
    {0x1F87, {0x1F0F, 0x0399, 0}},      {0x1F88, {0x1F08, 0x0399, 0}},
    {0x1F89, {0x1F09, 0x0399, 0}},      {0x1F8A, {0x1F0A, 0x0399, 0}},
    {0x1F8B, {0x1F0B, 0x0399, 0}},      {0x1F8C, {0x1F0C, 0x0399, 0}},
    {0x1F8D, {0x1F0D, 0x0399, 0}},      {0x1F8E, {0x1F0E, 0x0399, 0}},
    {0x1F8F, {0x1F0F, 0x0399, 0}},      {0x1F90, {0x1F28, 0x0399, 0}},
    {0x1F91, {0x1F29, 0x0399, 0}},      {0x1F92, {0x1F2A, 0x0399, 0}},
    {0x1F93, {0x1F2B, 0x0399, 0}},      {0x1F94, {0x1F2C, 0x0399, 0}},
    {0x1F95, {0x1F2D, 0x0399, 0}},      {0x1F96, {0x1F2E, 0x0399, 0}},
    {0x1F97, {0x1F2F, 0x0399, 0}},      {0x1F98, {0x1F28, 0x0399, 0}},
    {0x1F99, {0x1F29, 0x0399, 0}},      {0x1F9A, {0x1F2A, 0x0399, 0}},
    {0x1F9B, {0x1F2B, 0x0399, 0}},      {0x1F9C, {0x1F2C, 0x0399, 0}},
    {0x1F9D, {0x1F2D, 0x0399, 0}},      {0x1F9E, {0x1F2E, 0x0399, 0}},
    {0x1F9F, {0x1F2F, 0x0399, 0}},      {0x1FA0, {0x1F68, 0x0399, 0}},
    {0x1FA1, {0x1F69, 0x0399, 0}},      {0x1FA2, {0x1F6A, 0x0399, 0}},
    {0x1FA3, {0x1F6B, 0x0399, 0}},      {0x1FA4, {0x1F6C, 0x0399, 0}},
    {0x1FA5, {0x1F6D, 0x0399, 0}},      {0x1FA6, {0x1F6E, 0x0399, 0}},
    {0x1FA7, {0x1F6F, 0x0399, 0}},      {0x1FA8, {0x1F68, 0x0399, 0}},
    {0x1FA9, {0x1F69, 0x0399, 0}},      {0x1FAA, {0x1F6A, 0x0399, 0}},
    {0x1FAB, {0x1F6B, 0x0399, 0}},      {0x1FAC, {0x1F6C, 0x0399, 0}},
    {0x1FAD, {0x1F6D, 0x0399, 0}},      {0x1FAE, {0x1F6E, 0x0399, 0}},
    {0x1FAF, {0x1F6F, 0x0399, 0}},      {0x1FB2, {0x1FBA, 0x0399, 0}},
    {0x1FB3, {0x0391, 0x0399, 0}},      {0x1FB4, {0x0386, 0x0399, 0}},
    {0x1FB6, {0x0391, 0x0342, 0}},      {0x1FB7, {0x0391, 0x0342, 0x0399}},
    {0x1FBC, {0x0391, 0x0399, 0}},      {0x1FC2, {0x1FCA, 0x0399, 0}},
    {0x1FC3, {0x0397, 0x0399, 0}},      {0x1FC4, {0x0389, 0x0399, 0}},
    {0x1FC6, {0x0397, 0x0342, 0}},      {0x1FC7, {0x0397, 0x0342, 0x0399}},
    {0x1FCC, {0x0397, 0x0399, 0}},      {0x1FD2, {0x0399, 0x0308, 0x0300}},
    {0x1FD3, {0x0399, 0x0308, 0x0301}}, {0x1FD6, {0x0399, 0x0342, 0}},
    {0x1FD7, {0x0399, 0x0308, 0x0342}}, {0x1FE2, {0x03A5, 0x0308, 0x0300}},
    {0x1FE3, {0x03A5, 0x0308, 0x0301}}, {0x1FE4, {0x03A1, 0x0313, 0}},
    {0x1FE6, {0x03A5, 0x0342, 0}},      {0x1FE7, {0x03A5, 0x0308, 0x0342}},
    {0x1FF2, {0x1FFA, 0x0399, 0}},      {0x1FF3, {0x03A9, 0x0399, 0}},
    {0x1FF4, {0x038F, 0x0399, 0}},      {0x1FF6, {0x03A9, 0x0342, 0}},
    {0x1FF7, {0x03A9, 0x0342, 0x0399}}, {0x1FFC, {0x03A9, 0x0399, 0}},
    {0xFB00, {0x0046, 0x0046, 0}},      {0xFB01, {0x0046, 0x0049, 0}},
    {0xFB02, {0x0046, 0x004C, 0}},      {0xFB03, {0x0046, 0x0046, 0x0049}},
    {0xFB04, {0x0046, 0x0046, 0x004C}}, {0xFB05, {0x0053, 0x0054, 0}},
    {0xFB06, {0x0053, 0x0054, 0}},      {0xFB13, {0x0544, 0x0546, 0}},
    {0xFB14, {0x0544, 0x0535, 0}},      {0xFB15, {0x0544, 0x053B, 0}},
    {0xFB16, {0x054E, 0x0546, 0}},      {0xFB17, {0x0544, 0x053D, 0}},
};

constexpr char32_t kCapitalSigma = 0x03A3;
constexpr char32_t kDottedCapitalI = 0x0130;

const LongUpper* FindLongUpper(char32_t character)
{
    if (character < kLongUppers[0].character) return nullptr;
    const auto* at = std::lower_bound(
        std::begin(kLongUppers), std::end(kLongUppers), character,
        [](const LongUpper& row, char32_t wanted) { return row.character < wanted; });
    return at != std::end(kLongUppers) && at->character == character ? at : nullptr;
}

bool IsCased(char32_t character)
{
    switch (utf8proc_category(static_cast<int32_t>(character))) {
        case UTF8PROC_CATEGORY_LU:
        case UTF8PROC_CATEGORY_LL:
        case UTF8PROC_CATEGORY_LT:
            return true;
        default:
            // Modifier letters and the Roman and circled letters with case.
            return character == 0xAA || character == 0xBA ||
                   (character >= 0x2B0 && character <= 0x2B8) || character == 0x2C0 ||
                   character == 0x2C1 || (character >= 0x2E0 && character <= 0x2E4) ||
                   character == 0x345 || character == 0x37A ||
                   (character >= 0x1D2C && character <= 0x1D6A) ||
                   (character >= 0x2160 && character <= 0x217F) ||
                   (character >= 0x24B6 && character <= 0x24E9);
    }
}

// Characters between a letter and a sigma that do not end the word.
bool IsCaseIgnorable(char32_t character)
{
    static constexpr char32_t kWithinWords[] = {0x0027, 0x002E, 0x003A, 0x00B7, 0x0387, 0x055F,
                                                0x05F4, 0x2018, 0x2019, 0x2024, 0x2027, 0xFE13,
                                                0xFE52, 0xFE55, 0xFF07, 0xFF0E, 0xFF1A};
    switch (utf8proc_category(static_cast<int32_t>(character))) {
        case UTF8PROC_CATEGORY_MN:
        case UTF8PROC_CATEGORY_ME:
        case UTF8PROC_CATEGORY_CF:
        case UTF8PROC_CATEGORY_LM:
        case UTF8PROC_CATEGORY_SK:
            return true;
        default:
            return std::binary_search(std::begin(kWithinWords), std::end(kWithinWords), character);
    }
}

// A sigma is final when a letter stands before it in the word and none after it.
bool IsFinalSigma(StringView text, CFIndex sigma, bool followsLetter)
{
    if (!followsLetter) return false;
    for (CFIndex at = sigma + 1; at < text.length;) {
        int unitCount;
        const char32_t character = CharacterAt(text, at, &unitCount);
        if (!IsCaseIgnorable(character)) return !IsCased(character);
        at += unitCount;
    }
    return true;
}

// Writes the mapping of one character, at most four units, and returns their number.
int PutUpper(char32_t character, UniChar* units)
{
    if (const LongUpper* row = FindLongUpper(character)) {
        int count = 0;
        while (count < 3 && row->upper[count]) {
            units[count] = row->upper[count];
            ++count;
        }
        return count;
    }
    return PutCharacter(static_cast<char32_t>(utf8proc_toupper(static_cast<int32_t>(character))),
                        units);
}

int PutLower(char32_t character, bool isFinalSigma, UniChar* units)
{
    if (character == kDottedCapitalI) {
        units[0] = 'i';
        units[1] = 0x0307;
        return 2;
    }
    if (isFinalSigma) {
        units[0] = 0x03C2;
        return 1;
    }
    return PutCharacter(static_cast<char32_t>(utf8proc_tolower(static_cast<int32_t>(character))),
                        units);
}

// As PutUpper, with all but the first letter in lower case.
int PutTitle(char32_t character, UniChar* units)
{
    constexpr UniChar kIota = 0x0399;
    constexpr UniChar kIotaBelow = 0x0345;
    const auto single = utf8proc_totitle(static_cast<int32_t>(character));
    const bool isTitle = utf8proc_category(single) == UTF8PROC_CATEGORY_LT;
    if (isTitle || !FindLongUpper(character)) {
        return PutCharacter(static_cast<char32_t>(single), units);
    }
    const int count = PutUpper(character, units);
    bool isFirst = true;
    for (int i = 0; i < count; ++i) {
        if (!isFirst && units[i] == kIota) {
            units[i] = kIotaBelow;
        } else if (!isFirst) {
            units[i] = static_cast<UniChar>(utf8proc_tolower(units[i]));
        }
        if (IsCased(units[i])) isFirst = false;
    }
    return count;
}

enum class Casing : uint8_t { kLower, kUpper, kTitle };

// Changes ASCII text in place; false when the string holds more than that.
bool MapAscii(MutableString* string, Casing casing)
{
    if (!(string->flags & kStringAscii) || casing == Casing::kTitle) return false;
    const bool isUpper = casing == Casing::kUpper;
    uint8_t* bytes = NarrowUnitsOf(string);
    const uint8_t first = isUpper ? 'a' : 'A';
    for (CFIndex i = 0; i < string->length; ++i) {
        if (static_cast<uint8_t>(bytes[i] - first) < 26) bytes[i] ^= 0x20;
    }
    return true;
}

// Collects the mapped text in pieces of this many units.
constexpr int kPieceUnits = 128;

bool IsWordPart(char32_t character)
{
    switch (utf8proc_category(static_cast<int32_t>(character))) {
        case UTF8PROC_CATEGORY_LO:
        case UTF8PROC_CATEGORY_MC:
        case UTF8PROC_CATEGORY_ND:
        case UTF8PROC_CATEGORY_NL:
        case UTF8PROC_CATEGORY_NO:
            return true;
        default:
            return IsCased(character);
    }
}

bool MapInto(MutableString* mapped, StringView text, Casing casing)
{
    UniChar piece[kPieceUnits + 4];
    int used = 0;
    bool followsLetter = false;
    bool isTitled = false;  // the word has its capital
    for (CFIndex at = 0; at < text.length;) {
        int unitCount;
        const char32_t character = CharacterAt(text, at, &unitCount);
        const bool isCased = casing != Casing::kUpper && IsCased(character);
        if (casing == Casing::kUpper) {
            used += PutUpper(character, piece + used);
        } else if (casing == Casing::kTitle && isCased && !isTitled) {
            used += PutTitle(character, piece + used);
            isTitled = true;
        } else {
            const bool isFinal =
                character == kCapitalSigma && IsFinalSigma(text, at, followsLetter);
            used += PutLower(character, isFinal, piece + used);
        }
        if (casing != Casing::kUpper && !IsCaseIgnorable(character)) {
            followsLetter = isCased;
            if (!IsWordPart(character)) isTitled = false;
        }
        at += unitCount;
        if (used >= kPieceUnits || at >= text.length) {
            if (!AppendView(mapped, ViewOfUnits(piece, used))) return false;
            used = 0;
        }
    }
    return true;
}

void MapCase(CFMutableStringRef ref, Casing casing, const char* function)
{
    auto* string = static_cast<MutableString*>(CheckMutable<String>(ref, function));
    if (!string || MapAscii(string, casing)) return;
    MutableString* mapped = NewMutableString();
    const Owned<CFStringRef> owner(mapped);
    if (mapped && MapInto(mapped, ViewOf(string), casing)) {
        static_cast<void>(ReplaceUnits(string, {0, string->length}, ViewOf(mapped)));
    }
}

}  // namespace

}  // namespace px::cf

using namespace px::cf;

extern "C" {

void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef)
{
    MapCase(theString, Casing::kLower, __func__);
}

void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef)
{
    MapCase(theString, Casing::kUpper, __func__);
}

void CFStringCapitalize(CFMutableStringRef theString, CFLocaleRef)
{
    MapCase(theString, Casing::kTitle, __func__);
}

}  // extern "C"
