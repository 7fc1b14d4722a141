#include "Image/PixelType.h"

#include <array>
#include <cstring>

namespace px {

namespace {

constexpr int32_t kAnyChannels = 0;
constexpr int32_t kAlphaChannels = 4;

struct LayoutRow {
    PXColorSpaceType model;
    int32_t planeBytes;
    int32_t channels;
    cmsUInt32Number type;
};

// Five channels of CMYK exist in 8 bits only.
constexpr LayoutRow kLayouts[] = {
    {kPXColorSpaceRGB, 1, 3, TYPE_RGB_8},
    {kPXColorSpaceRGB, 1, 4, TYPE_RGBA_8},
    {kPXColorSpaceRGB, 2, 3, TYPE_RGB_16},
    {kPXColorSpaceRGB, 2, 4, TYPE_RGBA_16},
    {kPXColorSpaceCMYK, 1, 4, TYPE_CMYK_8},
    {kPXColorSpaceCMYK, 1, 5, TYPE_CMYKA_8},
    {kPXColorSpaceCMYK, 2, 4, TYPE_CMYK_16},
    {kPXColorSpaceGrey, 1, kAnyChannels, TYPE_GRAY_8},
    {kPXColorSpaceGrey, 2, kAnyChannels, TYPE_GRAY_16},
};

// The numbers are contract for callers who build transforms of their own.
static_assert(TYPE_RGB_8 == 0x40019 && TYPE_RGBA_8 == 0x40099 && TYPE_RGB_16 == 0x4001A);
static_assert(TYPE_RGBA_16 == 0x4009A && TYPE_CMYK_8 == 0x60021 && TYPE_CMYKA_8 == 0x600A1);
static_assert(TYPE_CMYK_16 == 0x60022 && TYPE_GRAY_8 == 0x30009 && TYPE_GRAY_16 == 0x3000A);

PXColorSpaceType ModelOf(const CImageRec& image)
{
    if (image.colorSpaceType != kPXColorSpaceByChannels) return image.colorSpaceType;
    const int32_t channels = image.Planes();
    if (channels <= 2) return kPXColorSpaceGrey;
    return channels <= 4 ? kPXColorSpaceRGB : kPXColorSpaceCMYK;
}

bool IsMarked(const CImageRec& image)
{
    return image.transparency != kPXTransparencyNone;
}

uint8_t AlphaTo(uint8_t, uint16_t alpha)
{
    return static_cast<uint8_t>((uint32_t{alpha} * 255 + 32767) / 65535);
}
uint16_t AlphaTo(uint16_t, uint8_t alpha)
{
    return static_cast<uint16_t>(alpha * 257);
}
template <class Sample>
Sample AlphaTo(Sample, Sample alpha)
{
    return alpha;
}

template <class From, class To, int32_t channels>
void CopyLastChannel(const void* source, void* destination, int32_t width)
{
    const From* from = static_cast<const From*>(source) + channels - 1;
    To* to = static_cast<To*>(destination) + channels - 1;
    for (int32_t x = 0; x < width; ++x, from += channels, to += channels)
        *to = AlphaTo(To{}, *from);
}

// The fourth sample of every pixel, 64 bytes at a time, which compilers do in vectors: the row of a
// picture is copied in a fraction of the time that its colours take.
template <class Sample>
void CopyFourthSample(const void* source, void* destination, int32_t width)
{
    constexpr size_t kPixelBytes = 4 * sizeof(Sample);
    using Block = std::array<uint64_t, 8>;
    constexpr size_t kStep = sizeof(Block) / kPixelBytes;
    uint64_t alpha = 0;
    std::array<uint8_t, sizeof(alpha)> bytes = {};
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = i % kPixelBytes >= 3 * sizeof(Sample) ? 0xFF : 0;
    }
    std::memcpy(&alpha, bytes.data(), sizeof(alpha));
    auto* from = static_cast<const uint8_t*>(source);
    auto* to = static_cast<uint8_t*>(destination);
    size_t left = static_cast<size_t>(width);
    for (; left >= kStep; left -= kStep, from += sizeof(Block), to += sizeof(Block)) {
        Block theirs;
        Block ours;
        std::memcpy(theirs.data(), from, sizeof(Block));
        std::memcpy(ours.data(), to, sizeof(Block));
        for (size_t i = 0; i < ours.size(); ++i) ours[i] = (ours[i] & ~alpha) | (theirs[i] & alpha);
        std::memcpy(to, ours.data(), sizeof(Block));
    }
    CopyLastChannel<Sample, Sample, 4>(from, to, static_cast<int32_t>(left));
}

}  // namespace

cmsUInt32Number PixelTypeOf(const CImageRec& image)
{
    // Little CMS counts bytes by the channel width, which may have been changed.
    if (!image.HasEvenLayout()) return 0;
    const PXColorSpaceType model = ModelOf(image);
    for (const LayoutRow& row : kLayouts) {
        if (row.model == model && row.planeBytes == image.planeBytes &&
            (row.channels == kAnyChannels || row.channels == image.Planes())) {
            return row.type;
        }
    }
    return 0;
}

bool HasAlpha(const CImageRec& image)
{
    return image.Planes() == kAlphaChannels && IsMarked(image);
}

AlphaCopy::AlphaCopy(const CImageRec& source, const CImageRec& destination)
{
    if (&source == &destination || !IsMarked(source) || !IsMarked(destination)) return;
    if (HasAlpha(source) && HasAlpha(destination)) {
        static constexpr Copier kCopiers[2][2] = {
            {CopyFourthSample<uint8_t>, CopyLastChannel<uint8_t, uint16_t, 4>},
            {CopyLastChannel<uint16_t, uint8_t, 4>, CopyFourthSample<uint16_t>}};
        copier_ = kCopiers[source.planeBytes == 2][destination.planeBytes == 2];
    } else if (PixelTypeOf(source) == TYPE_CMYKA_8 && PixelTypeOf(destination) == TYPE_CMYKA_8) {
        copier_ = CopyLastChannel<uint8_t, uint8_t, 5>;
    }
}

void AlphaCopy::Run(const void* source, void* destination, int32_t width) const
{
    if (copier_) copier_(source, destination, width);
}

}  // namespace px
