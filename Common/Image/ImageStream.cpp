#include "Image/ImageStream.h"

#include "Base/Status.h"
#include "CoreFoundation/CFPropertyList.h"
#include "CoreFoundation/CoreFoundation.h"
#include "Image/ImageRecFile.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <memory>
#include <new>

namespace px {

namespace {

constexpr char kEventSource[] = "ImageStream";

constexpr int32_t kTileSize = CImageRecFile::kStreamTileSize;
// Room for everything in a list but the pixels.
constexpr int64_t kMostOverhead = 4096;
constexpr bool kIsLittleEndian = std::endian::native == std::endian::little;

using List = CFRef<CFDictionaryRef>;
using ListToWrite = CFRef<CFMutableDictionaryRef>;

ListToWrite MakeList()
{
    return ListToWrite::Adopt(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                        &kCFTypeDictionaryValueCallBacks));
}

void Put(const ListToWrite& list, CFStringRef key, int64_t value)
{
    const auto number =
        CFRef<CFNumberRef>::Adopt(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
    CFDictionarySetValue(list.Get(), key, number.Get());
}

// The number under a key; false unless there is a whole one in the range.
template <class Number>
bool Take(const List& list, CFStringRef key, Number* value)
{
    const CFTypeRef found = CFDictionaryGetValue(list.Get(), key);
    int64_t wide = 0;
    if (!found || CFGetTypeID(found) != CFNumberGetTypeID() ||
        !CFNumberGetValue(static_cast<CFNumberRef>(found), kCFNumberSInt64Type, &wide) ||
        wide < int64_t{std::numeric_limits<Number>::min()} ||
        wide > int64_t{std::numeric_limits<Number>::max()}) {
        return false;
    }
    *value = static_cast<Number>(wide);
    return true;
}

bool IsTrue(const List& list, CFStringRef key)
{
    return CFDictionaryGetValue(list.Get(), key) == kCFBooleanTrue;
}

// Lengths go most significant byte first while it lives.
class BigEndian {
public:
    explicit BigEndian(CBaseStream& stream) : stream_(stream), former_(stream.GetByteOrder())
    {
        stream.SetByteOrder(std::endian::native == std::endian::little ? kPXStreamByteOrderSwapped
                                                                       : kPXStreamByteOrderNative);
    }
    ~BigEndian() { stream_.SetByteOrder(former_); }
    BigEndian(const BigEndian&) = delete;
    BigEndian& operator=(const BigEndian&) = delete;

private:
    CBaseStream& stream_;
    const PXStreamByteOrder former_;
};

PXStatus WriteList(CBaseStream& stream, const ListToWrite& list)
{
    return stream.writePropertyList(list.Get(), kCFPropertyListBinaryFormat_v1_0);
}

PXStatus WriteHeader(const CImageRec& image, CBaseStream& stream)
{
    const ListToWrite list = MakeList();
    Put(list, CFSTR("x"), image.bounds.x);
    Put(list, CFSTR("y"), image.bounds.y);
    Put(list, CFSTR("width"), image.bounds.width);
    Put(list, CFSTR("height"), image.bounds.height);
    Put(list, CFSTR("depth"), image.depth);
    Put(list, CFSTR("planes"), image.Planes());
    Put(list, CFSTR("color_space"), image.colorSpaceType);
    Put(list, CFSTR("transparency"), image.transparency);
    Put(list, CFSTR("tile_size"), kTileSize);
    CFDictionarySetValue(list.Get(), CFSTR("little_endian"),
                         kIsLittleEndian ? kCFBooleanTrue : kCFBooleanFalse);
    return WriteList(stream, list);
}

// `pixels` has room for a tile.
PXStatus WriteTile(CImageRec* image, const PXRect& part, char* pixels, CBaseStream& stream)
{
    const int64_t rowBytes = int64_t{image->colBytes} * kTileSize;
    const int64_t bytes = rowBytes * kTileSize;
    std::fill_n(pixels, bytes, '\0');
    PX_TRY(image->Read(part, pixels, rowBytes));
    if (std::all_of(pixels, pixels + bytes, [](char byte) { return byte == 0; })) return kPXOK;
    const ListToWrite list = MakeList();
    Put(list, CFSTR("tile_x"), part.x);
    Put(list, CFSTR("tile_y"), part.y);
    Put(list, CFSTR("tile_width"), kTileSize);
    Put(list, CFSTR("tile_height"), kTileSize);
    Put(list, CFSTR("depth"), image->depth);
    Put(list, CFSTR("rowbytes"), rowBytes);
    Put(list, CFSTR("colbytes"), image->colBytes);
    CFDictionarySetValue(list.Get(), CFSTR("raw"), kCFBooleanTrue);
    const auto content = CFRef<CFDataRef>::Adopt(
        CFDataCreateWithBytesNoCopy(nullptr, reinterpret_cast<const UInt8*>(pixels),
                                    static_cast<CFIndex>(bytes), kCFAllocatorNull));
    CFDictionarySetValue(list.Get(), CFSTR("--content--"), content.Get());
    return WriteList(stream, list);
}

// The next list, of at most `most` bytes; empty at the end of the image.
PXStatus ReadList(CBaseStream& stream, int64_t most, List* list)
{
    *list = {};
    uint64_t length = 0;
    PX_TRY(stream.ReadUInt64(length));
    if (length == 0) return kPXOK;
    if (length > static_cast<uint64_t>(most)) return PX_FAIL(kPXErrListRead);
    CFDataRef bytes = nullptr;
    PX_TRY(stream.ReadDataCopy(length, bytes));
    const auto data = CFRef<CFDataRef>::Adopt(bytes);
    const auto read = CFRef<CFPropertyListRef>::Adopt(CFPropertyListCreateWithData(
        nullptr, data.Get(), kCFPropertyListImmutable, nullptr, nullptr));
    if (!read || CFGetTypeID(read.Get()) != CFDictionaryGetTypeID()) {
        return PX_FAIL(kPXErrListRead);
    }
    *list = List::Retain(static_cast<CFDictionaryRef>(read.Get()));
    return kPXOK;
}

PXStatus ReadHeader(CBaseStream& stream, PXImageCreateParams* params)
{
    List list;
    PX_TRY(ReadList(stream, kMostOverhead, &list));
    int32_t tileSize = 0;
    params->dataSourceType = kPXDataSourceTiled;
    const bool isComplete = list && Take(list, CFSTR("x"), &params->bounds.x) &&
                            Take(list, CFSTR("y"), &params->bounds.y) &&
                            Take(list, CFSTR("width"), &params->bounds.width) &&
                            Take(list, CFSTR("height"), &params->bounds.height) &&
                            Take(list, CFSTR("depth"), &params->depth) &&
                            Take(list, CFSTR("planes"), &params->planes) &&
                            Take(list, CFSTR("color_space"), &params->colorSpaceType) &&
                            Take(list, CFSTR("transparency"), &params->transparency) &&
                            Take(list, CFSTR("tile_size"), &tileSize);
    if (!isComplete || tileSize != kTileSize ||
        IsTrue(list, CFSTR("little_endian")) != kIsLittleEndian) {
        return PX_FAIL(kPXErrListRead);
    }
    return kPXOK;
}

// Puts the pixels of a serialised tile into an image that it must fit.
PXStatus TakeTile(const List& list, CImageRecFile* image)
{
    PXRect tile = {};
    int32_t depth = 0;
    int32_t colBytes = 0;
    int64_t rowBytes = 0;
    const bool isComplete =
        Take(list, CFSTR("tile_x"), &tile.x) && Take(list, CFSTR("tile_y"), &tile.y) &&
        Take(list, CFSTR("tile_width"), &tile.width) &&
        Take(list, CFSTR("tile_height"), &tile.height) && Take(list, CFSTR("depth"), &depth) &&
        Take(list, CFSTR("colbytes"), &colBytes) && Take(list, CFSTR("rowbytes"), &rowBytes) &&
        IsTrue(list, CFSTR("raw"));
    int32_t row = 0;
    int32_t column = 0;
    if (!isComplete || tile.width != kTileSize || tile.height != kTileSize ||
        depth != image->depth || colBytes != image->colBytes ||
        rowBytes != int64_t{colBytes} * kTileSize ||
        !image->FindTile(tile.x, tile.y, &row, &column)) {
        return PX_FAIL(kPXErrListRead);
    }
    const PXRect part = image->TileRect(row, column);
    const CFTypeRef content = CFDictionaryGetValue(list.Get(), CFSTR("--content--"));
    if (part.x != tile.x || part.y != tile.y || !content ||
        CFGetTypeID(content) != CFDataGetTypeID() ||
        CFDataGetLength(static_cast<CFDataRef>(content)) != rowBytes * kTileSize) {
        return PX_FAIL(kPXErrListRead);
    }
    return image->Write(part, CFDataGetBytePtr(static_cast<CFDataRef>(content)), rowBytes);
}

}  // namespace

PXStatus WriteImage(CImageRec* image, CBaseStream& stream)
{
    PX_REQUIRE(image->bounds.width > 0);
    if (!image->HasEvenLayout()) return PX_FAIL(kPXErrPixelLayout);
    const std::unique_ptr<char[]> pixels(
        new (std::nothrow) char[static_cast<size_t>(image->colBytes) * kTileSize * kTileSize]);
    if (!pixels) return PX_FAIL(kPXErrCreate);
    const BigEndian order(stream);
    PX_TRY(WriteHeader(*image, stream));
    const PXRect all = image->bounds;
    for (int64_t y = 0; y < all.height; y += kTileSize) {
        for (int64_t x = 0; x < all.width; x += kTileSize) {
            const PXRect part = {
                static_cast<int32_t>(all.x + x), static_cast<int32_t>(all.y + y),
                static_cast<int32_t>(std::min<int64_t>(kTileSize, all.width - x)),
                static_cast<int32_t>(std::min<int64_t>(kTileSize, all.height - y))};
            PX_TRY(WriteTile(image, part, pixels.get(), stream));
        }
    }
    return stream.WriteBlock(nullptr);
}

PXStatus ReadImage(CBaseStream& stream, PXRef<CImageRec>* outImage)
{
    const BigEndian order(stream);
    PXImageCreateParams params = {};
    PX_TRY(ReadHeader(stream, &params));
    const auto image = PXRef<CImageRecFile>::Adopt(new (std::nothrow) CImageRecFile(kTileSize));
    if (!image) return PX_FAIL(kPXErrCreate);
    PX_TRY(image->Initialize(params, true));
    const int64_t most = int64_t{image->colBytes} * kTileSize * kTileSize + kMostOverhead;
    for (;;) {
        List list;
        PX_TRY(ReadList(stream, most, &list));
        if (!list) break;
        PX_TRY(TakeTile(list, image.Get()));
    }
    *outImage = PXRef<CImageRec>::Retain(image.Get());
    return kPXOK;
}

}  // namespace px
