#include "pxtool/Exif.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace px::tool {

namespace {

enum : uint16_t {
    kTagImageWidth = 0x0100,
    kTagImageLength = 0x0101,
    kTagOrientation = 0x0112,
    kTagXResolution = 0x011A,
    kTagYResolution = 0x011B,
    kTagResolutionUnit = 0x0128,
    kTagExifFolder = 0x8769,
    kTagColorSpace = 0xA001,
    kTagPixelWidth = 0xA002,
    kTagPixelHeight = 0xA003,
};

enum : uint16_t { kTypeShort = 3, kTypeLong = 4, kTypeRational = 5 };

constexpr uint16_t kMagic = 42;
constexpr uint16_t kUnitInch = 2;
constexpr uint16_t kUnitCentimetre = 3;
constexpr uint16_t kColorSRGB = 1;
constexpr uint16_t kColorUncalibrated = 0xFFFF;
constexpr double kCentimetresPerInch = 2.54;
constexpr size_t kHeaderBytes = 8;
constexpr size_t kFieldBytes = 12;

// Numbers of one byte order at offsets. Reading outside gives 0; callers check where it matters.
class View {
public:
    explicit View(std::span<const uint8_t> bytes)
        : bytes_(bytes), isBigEndian_(!bytes.empty() && bytes[0] == 'M')
    {
    }

    size_t Size() const { return bytes_.size(); }
    bool IsBigEndian() const { return isBigEndian_; }
    bool Holds(size_t offset, size_t count) const
    {
        return offset <= bytes_.size() && count <= bytes_.size() - offset;
    }
    uint16_t Short(size_t offset) const { return static_cast<uint16_t>(Number(offset, 2)); }
    uint32_t Long(size_t offset) const { return Number(offset, 4); }

private:
    uint32_t Number(size_t offset, size_t count) const
    {
        if (!Holds(offset, count)) return 0;
        uint32_t number = 0;
        for (size_t i = 0; i < count; ++i) {
            number = number << 8 | bytes_[offset + (isBigEndian_ ? i : count - 1 - i)];
        }
        return number;
    }

    std::span<const uint8_t> bytes_;
    bool isBigEndian_;
};

// A folder of fields that lies wholly in the bytes, its count included.
struct Folder {
    size_t offset = 0;  // of its first field
    size_t count = 0;

    explicit operator bool() const { return count > 0; }
};

Folder FolderAt(const View& view, size_t offset)
{
    if (offset < kHeaderBytes || !view.Holds(offset, 2)) return {};
    const size_t count = view.Short(offset);
    if (!view.Holds(offset + 2, count * kFieldBytes)) return {};
    return {offset + 2, count};
}

Folder FirstFolder(const View& view)
{
    if (!view.Holds(0, kHeaderBytes)) return {};
    const uint16_t order = view.Short(0);  // "II" or "MM": the same in either byte order
    if ((order != 0x4949 && order != 0x4D4D) || view.Short(2) != kMagic) return {};
    return FolderAt(view, view.Long(4));
}

// The offset of the field with a tag, 0 when there is none; offset 0 is the header.
size_t FindField(const View& view, const Folder& folder, uint16_t tag)
{
    for (size_t i = 0; i < folder.count; ++i) {
        const size_t field = folder.offset + i * kFieldBytes;
        if (view.Short(field) == tag) return field;
    }
    return 0;
}

bool IsOne(const View& view, size_t field, uint16_t type)
{
    return field && view.Short(field + 2) == type && view.Long(field + 4) == 1;
}

// The value of a field with one short number, else `otherwise`.
uint16_t ShortField(const View& view, const Folder& folder, uint16_t tag, uint16_t otherwise)
{
    const size_t field = FindField(view, folder, tag);
    return IsOne(view, field, kTypeShort) ? view.Short(field + 8) : otherwise;
}

double RationalField(const View& view, const Folder& folder, uint16_t tag)
{
    const size_t field = FindField(view, folder, tag);
    if (!IsOne(view, field, kTypeRational)) return 0;
    const size_t at = view.Long(field + 8);
    if (!view.Holds(at, 8) || view.Long(at + 4) == 0) return 0;
    return static_cast<double>(view.Long(at)) / view.Long(at + 4);
}

Folder ExifFolder(const View& view, const Folder& first)
{
    const size_t field = FindField(view, first, kTagExifFolder);
    return IsOne(view, field, kTypeLong) ? FolderAt(view, view.Long(field + 8)) : Folder{};
}

// Writes into the bytes that a View looks at.
class Editor {
public:
    Editor(std::span<uint8_t> bytes, const View& view) : bytes_(bytes), view_(view) {}

    void SetShort(const Folder& folder, uint16_t tag, uint16_t number)
    {
        const size_t field = FindField(view_, folder, tag);
        if (!IsOne(view_, field, kTypeShort)) return;
        const auto high = static_cast<uint8_t>(number >> 8);
        const auto low = static_cast<uint8_t>(number);
        bytes_[field + 8] = view_.IsBigEndian() ? high : low;
        bytes_[field + 9] = view_.IsBigEndian() ? low : high;
    }

    // Sets a field of one short or long number; what does not fit a short one becomes its largest.
    void SetNumber(const Folder& folder, uint16_t tag, uint32_t number)
    {
        const size_t field = FindField(view_, folder, tag);
        if (!IsOne(view_, field, kTypeLong)) {
            SetShort(folder, tag, static_cast<uint16_t>(std::min<uint32_t>(number, 0xFFFF)));
            return;
        }
        for (size_t i = 0; i < 4; ++i) {
            const size_t shift = 8 * (view_.IsBigEndian() ? 3 - i : i);
            bytes_[field + 8 + i] = static_cast<uint8_t>(number >> shift);
        }
    }

    // Exchanges type, count and value of two fields, so that either may be of any type.
    void Swap(const Folder& folder, uint16_t tagA, uint16_t tagB)
    {
        const size_t a = FindField(view_, folder, tagA);
        const size_t b = FindField(view_, folder, tagB);
        if (!a || !b) return;
        std::swap_ranges(&bytes_[a + 2], &bytes_[a + 2] + (kFieldBytes - 2), &bytes_[b + 2]);
    }

    // Cuts off the folders behind the first, which describe a preview.
    void DropNextFolder(const Folder& folder)
    {
        const size_t next = folder.offset + folder.count * kFieldBytes;
        if (view_.Holds(next, 4)) std::memset(&bytes_[next], 0, 4);
    }

private:
    std::span<uint8_t> bytes_;
    const View& view_;
};

}  // namespace

ExifFacts ReadExif(std::span<const uint8_t> bytes)
{
    ExifFacts facts;
    const View view(bytes);
    const Folder first = FirstFolder(view);
    if (!first) return facts;
    facts.isReadable = true;
    const uint16_t orientation = ShortField(view, first, kTagOrientation, 1);
    if (orientation >= 1 && orientation <= 8) facts.orientation = orientation;
    const uint16_t unit = ShortField(view, first, kTagResolutionUnit, kUnitInch);
    if (unit == kUnitInch || unit == kUnitCentimetre) {
        const double perInch = unit == kUnitInch ? 1 : kCentimetresPerInch;
        facts.dpiX = RationalField(view, first, kTagXResolution) * perInch;
        facts.dpiY = RationalField(view, first, kTagYResolution) * perInch;
    }
    return facts;
}

void ChangeExif(std::span<uint8_t> bytes, const ExifChange& change)
{
    const View view(bytes);
    const Folder first = FirstFolder(view);
    if (!first) return;
    const Folder exif = ExifFolder(view, first);
    Editor editor(bytes, view);
    editor.SetShort(first, kTagOrientation, 1);
    if (change.colour != ExifColour::kAsItIs) {
        const bool isSRGB = change.colour == ExifColour::kSRGB;
        editor.SetShort(exif, kTagColorSpace, isSRGB ? kColorSRGB : kColorUncalibrated);
    }
    if (change.dropsPreview) editor.DropNextFolder(first);
    if (change.swapsSides) {
        editor.Swap(first, kTagXResolution, kTagYResolution);
        editor.Swap(first, kTagImageWidth, kTagImageLength);
        editor.Swap(exif, kTagPixelWidth, kTagPixelHeight);
    }
    if (change.width == 0) return;
    editor.SetNumber(first, kTagImageWidth, change.width);
    editor.SetNumber(first, kTagImageLength, change.height);
    editor.SetNumber(exif, kTagPixelWidth, change.width);
    editor.SetNumber(exif, kTagPixelHeight, change.height);
}

std::vector<uint8_t> MakeResolutionExif(double dpiX, double dpiY)
{
    std::vector<uint8_t> bytes = {'M', 'M', 0, kMagic, 0, 0, 0, kHeaderBytes};
    const auto put = [&](uint32_t number, int count) {
        for (int i = count - 1; i >= 0; --i) {
            bytes.push_back(static_cast<uint8_t>(number >> (8 * i)));
        }
    };
    constexpr uint32_t kFields = 3;
    constexpr uint32_t kDenominator = 100;
    const auto valuesAt = static_cast<uint32_t>(kHeaderBytes + 2 + kFields * kFieldBytes + 4);
    const auto putField = [&](uint16_t tag, uint16_t type, uint32_t value) {
        put(tag, 2);
        put(type, 2);
        put(1, 4);
        put(value, 4);
    };
    put(kFields, 2);
    putField(kTagXResolution, kTypeRational, valuesAt);
    putField(kTagYResolution, kTypeRational, valuesAt + 8);
    putField(kTagResolutionUnit, kTypeShort, uint32_t{kUnitInch} << 16);
    put(0, 4);
    for (const double dpi : {dpiX, dpiY}) {
        put(static_cast<uint32_t>(std::lround(std::clamp(dpi, 0.0, 1e6) * kDenominator)), 4);
        put(kDenominator, 4);
    }
    return bytes;
}

}  // namespace px::tool
