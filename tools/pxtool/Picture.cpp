#include "pxtool/Picture.h"

#include "Base/Platform/Platform.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace px::tool {

namespace {

// Beside the decoded picture stands at most one more of its size: the turned or converted one.
constexpr uint64_t kPicturesAtOnce = 2;

// Pixels are copied in squares of this side when rows become columns: 64 rows of 16-bit RGBA are
// 32 KiB, which the nearest cache holds.
constexpr int64_t kTurnSide = 64;

// Where the pixel at the origin of a stored picture and its neighbours to the right and below go.
struct Turn {
    bool swapsSides;
    bool mirrorsX;  // in the upright picture
    bool mirrorsY;
};

// Indexed by orientation - 1.
constexpr Turn kTurns[] = {
    {false, false, false}, {false, true, false}, {false, true, true}, {false, false, true},
    {true, false, false},  {true, true, false},  {true, true, true},  {true, false, true},
};

// Writes the stored pixels [x0, x1) × [y0, y1) to their upright places.
template <size_t pixelBytes>
void TurnBlock(const Pixels& from, const Pixels& to, const PictureLayout& upright, const Turn& turn,
               int64_t x0, int64_t x1, int64_t y0, int64_t y1)
{
    for (int64_t y = y0; y < y1; ++y) {
        const uint8_t* source = from.Row(y) + static_cast<size_t>(x0) * pixelBytes;
        for (int64_t x = x0; x < x1; ++x, source += pixelBytes) {
            int64_t column = turn.swapsSides ? y : x;
            int64_t row = turn.swapsSides ? x : y;
            if (turn.mirrorsX) column = upright.width - 1 - column;
            if (turn.mirrorsY) row = upright.height - 1 - row;
            std::memcpy(to.Row(row) + static_cast<size_t>(column) * pixelBytes, source, pixelBytes);
        }
    }
}

template <size_t pixelBytes>
void TurnPixels(const Pixels& from, const Pixels& to, const PictureLayout& upright,
                const Turn& turn)
{
    const int64_t width = turn.swapsSides ? upright.height : upright.width;
    const int64_t height = turn.swapsSides ? upright.width : upright.height;
    for (int64_t y = 0; y < height; y += kTurnSide) {
        for (int64_t x = 0; x < width; x += kTurnSide) {
            TurnBlock<pixelBytes>(from, to, upright, turn, x, std::min(x + kTurnSide, width), y,
                                  std::min(y + kTurnSide, height));
        }
    }
}

using TurnFunction = void (*)(const Pixels&, const Pixels&, const PictureLayout&, const Turn&);

TurnFunction TurnFunctionFor(const PictureLayout& layout)
{
    switch (layout.Channels() * (layout.depth / 8)) {
        case 1:
            return TurnPixels<1>;
        case 2:
            return TurnPixels<2>;
        case 3:
            return TurnPixels<3>;
        case 4:
            return TurnPixels<4>;
        case 6:
            return TurnPixels<6>;
        default:
            return TurnPixels<8>;
    }
}

Pixels ViewOf(PXImage image)
{
    Pixels pixels;
    void* first = nullptr;
    // An image in one block of memory lends it for as long as it lives; the lock is a formality.
    const PXRect bounds = PXImageGetBounds(image);
    if (PXImageLockBuffer2(image, bounds, &first) != kPXOK) return pixels;
    PXImageUnlockBuffer2(image, bounds, first);
    pixels.first = static_cast<uint8_t*>(first);
    pixels.rowBytes = PXImageGetRowBytes64(image);
    return pixels;
}

template <class Sample>
bool IsOpaqueRow(const uint8_t* row, const PictureLayout& layout)
{
    const auto* samples = reinterpret_cast<const Sample*>(row);
    const auto channels = static_cast<size_t>(layout.Channels());
    const size_t end = static_cast<size_t>(layout.width) * channels;
    for (size_t i = channels - 1; i < end; i += channels) {
        if (samples[i] != std::numeric_limits<Sample>::max()) return false;
    }
    return true;
}

// Copies whole samples between rows of different channel counts: channel `from + k` of each source
// pixel to channel `to + k` of each destination pixel, for k in [0, count).
struct ChannelMove {
    int32_t from, to, count;
    bool repeats;  // always reads channel `from`
};

template <class Sample>
void MoveRow(const uint8_t* source, int32_t sourceChannels, uint8_t* destination,
             int32_t destinationChannels, int32_t width, const ChannelMove& move)
{
    const auto* in = reinterpret_cast<const Sample*>(source) + move.from;
    auto* out = reinterpret_cast<Sample*>(destination) + move.to;
    for (int32_t x = 0; x < width; ++x) {
        for (int32_t k = 0; k < move.count; ++k) out[k] = in[move.repeats ? 0 : k];
        in += sourceChannels;
        out += destinationChannels;
    }
}

void MoveChannels(PXImage source, PXImage destination, const ChannelMove& move)
{
    const Pixels from = ViewOf(source);
    const Pixels to = ViewOf(destination);
    const int32_t sourceChannels = PXImageGetNumPlanes(source);
    const int32_t destinationChannels = PXImageGetNumPlanes(destination);
    const int32_t width = PXImageGetWidth(source);
    const int32_t height = PXImageGetHeight(source);
    auto* moveRow = PXImageGetDepth(source) == 8 ? MoveRow<uint8_t> : MoveRow<uint16_t>;
    for (int32_t y = 0; y < height; ++y) {
        moveRow(from.Row(y), sourceChannels, to.Row(y), destinationChannels, width, move);
    }
}

}  // namespace

Pixels Picture::View() const
{
    return ViewOf(image.Get());
}

Failure MakeImage(const PictureLayout& layout, const std::string& path, ImageOwner* image)
{
    const PXRect bounds = {0, 0, layout.width, layout.height};
    const PXTransparency transparency =
        layout.hasAlpha ? kPXTransparencyAlpha : kPXTransparencyNone;
    const PXStatus status =
        PXImageCreateWithParams2(bounds, layout.depth, layout.Channels(), layout.model,
                                 transparency, kPXDataSourceMemory, image->Receive());
    return status == kPXOK ? Done() : OutOfMemory(path);
}

Failure MakePicture(const PictureLayout& layout, const FileClaim& claim, Picture* picture)
{
    constexpr int64_t kMostRows = std::numeric_limits<int64_t>::max() / 2;
    if (layout.width <= 0 || layout.height <= 0 || layout.RowBytes() > kMostRows / layout.height) {
        return CannotRead(claim.path, "its width and height make no sense",
                          "the file is damaged; get a new copy");
    }
    const auto decoded = static_cast<double>(layout.Bytes());
    if (claim.bestRatio > 0 && decoded > claim.bestRatio * static_cast<double>(claim.fileBytes)) {
        return CannotRead(claim.path, "it is too short for the size of picture that it claims",
                          "the file is damaged; get a new copy");
    }
    if (static_cast<uint64_t>(layout.Bytes()) > os::Os().physicalMemory() / kPicturesAtOnce) {
        return OutOfMemory(claim.path);
    }
    picture->layout = layout;
    return MakeImage(layout, claim.path, &picture->image);
}

Failure MakeUpright(const std::string& path, Picture* picture)
{
    const Turn turn = kTurns[picture->orientation - 1];
    if (picture->orientation == 1) return Done();
    PictureLayout upright = picture->layout;
    if (turn.swapsSides) {
        std::swap(upright.width, upright.height);
        std::swap(picture->dpiX, picture->dpiY);
    }
    ImageOwner turned;
    if (Failure failure = MakeImage(upright, path, &turned)) return failure;
    TurnFunctionFor(upright)(picture->View(), ViewOf(turned.Get()), upright, turn);
    picture->image = std::move(turned);
    picture->layout = upright;
    picture->orientation = 1;
    return Done();
}

bool IsOpaque(const Picture& picture)
{
    if (!picture.layout.hasAlpha) return true;
    const Pixels pixels = picture.View();
    auto* isOpaqueRow = picture.layout.depth == 8 ? IsOpaqueRow<uint8_t> : IsOpaqueRow<uint16_t>;
    for (int32_t y = 0; y < picture.layout.height; ++y) {
        if (!isOpaqueRow(pixels.Row(y), picture.layout)) return false;
    }
    return true;
}

Failure ExpandGreyToRGB(const std::string& path, Picture* picture)
{
    PictureLayout layout = picture->layout;
    layout.model = kPXColorSpaceRGB;
    ImageOwner expanded;
    if (Failure failure = MakeImage(layout, path, &expanded)) return failure;
    MoveChannels(picture->image.Get(), expanded.Get(), {0, 0, 3, true});
    if (layout.hasAlpha) MoveChannels(picture->image.Get(), expanded.Get(), {1, 3, 1, false});
    picture->image = std::move(expanded);
    picture->layout = layout;
    return Done();
}

Failure SplitAlpha(const std::string& path, Picture* picture, ImageOwner* alpha)
{
    PictureLayout colour = picture->layout;
    colour.hasAlpha = false;
    PictureLayout plane = colour;
    plane.model = kPXColorSpaceGrey;
    ImageOwner colourImage;
    if (Failure failure = MakeImage(colour, path, &colourImage)) return failure;
    if (Failure failure = MakeImage(plane, path, alpha)) return failure;
    MoveChannels(picture->image.Get(), colourImage.Get(), {0, 0, colour.Colorants(), false});
    MoveChannels(picture->image.Get(), alpha->Get(), {colour.Colorants(), 0, 1, false});
    picture->image = std::move(colourImage);
    picture->layout = colour;
    return Done();
}

Failure MergeAlpha(const std::string& path, PXImage alpha, Picture* picture)
{
    PictureLayout merged = picture->layout;
    merged.hasAlpha = true;
    ImageOwner image;
    if (Failure failure = MakeImage(merged, path, &image)) return failure;
    MoveChannels(picture->image.Get(), image.Get(), {0, 0, merged.Colorants(), false});
    MoveChannels(alpha, image.Get(), {0, merged.Colorants(), 1, false});
    picture->image = std::move(image);
    picture->layout = merged;
    return Done();
}

}  // namespace px::tool
