#include "Image/ImageRec.h"

#include "Base/Status.h"
#include "Image/BitRows.h"
#include "Image/CopyRows.h"
#include "Image/ImageCacheManager.h"
#include "Image/ImageCensus.h"
#include "Image/ImageRecFile.h"
#include "Image/ImageRecMemory.h"
#include "Image/ImageRecSolidFill.h"
#include "Image/ScaledReader.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>
#include <new>

namespace {

constexpr char kEventSource[] = "ImageRec";

constinit std::atomic<PXDataSourceType> defaultDataSource{kPXDataSourceTiled};

constexpr int32_t kMaxDepth = 64;
constexpr int32_t kMaxPlanes = 1 << 16;
// What a copy of pixels works on at a time, in bytes, unless one row has more.
constexpr int64_t kBandBytes = 1 << 20;

bool IsBitDepth(int32_t depth)
{
    return depth < 2;
}

// The inclusive right and bottom edges must be coordinates themselves.
bool IsRect(const PXRect& rect)
{
    return rect.width > 0 && rect.height > 0 &&
           int64_t{rect.x} + rect.width <= std::numeric_limits<int32_t>::max() &&
           int64_t{rect.y} + rect.height <= std::numeric_limits<int32_t>::max();
}

bool IsLayout(const PXImageCreateParams& params)
{
    if (!IsRect(params.bounds) || params.depth < 0 || params.depth > kMaxDepth) return false;
    if (IsBitDepth(params.depth)) return true;
    return params.depth % 8 == 0 && params.planes >= 1 && params.planes <= kMaxPlanes;
}

PXDataSourceType BackingFor(const PXImageCreateParams& params)
{
    const PXDataSourceType type = params.dataSourceType == kPXDataSourceDefault
                                      ? px::DefaultDataSourceType()
                                      : params.dataSourceType;
    // A bit mask takes an eighth of a byte a pixel: it is kept whole instead of in tiles.
    const bool isTiledMask = type == kPXDataSourceTiled && IsBitDepth(params.depth);
    return isTiledMask ? PXDataSourceType{kPXDataSourceMemory} : type;
}

// A rectangle of a bit mask, widened to the left so that it begins at a byte.
struct ByteRect {
    PXRect rect;
    int32_t skippedBits;
};

ByteRect WidenToByte(const CImageRec& image, const PXRect& rect)
{
    const auto skipped = static_cast<int32_t>((int64_t{rect.x} - image.bounds.x) % 8);
    return {{rect.x - skipped, rect.y, rect.width + skipped, rect.height}, skipped};
}

}  // namespace

namespace px {

PXDataSourceType DefaultDataSourceType()
{
    return defaultDataSource.load(std::memory_order_relaxed);
}

void SetDefaultDataSourceType(PXDataSourceType type)
{
    defaultDataSource.store(type, std::memory_order_relaxed);
}

}  // namespace px

CImageRec::CImageRec() : internalID(ImageCacheManager::Shared().NextInternalID())
{
    px::ImageCensus::Shared().Add(*this);
}

CImageRec::~CImageRec()
{
    px::ImageCensus::Shared().Remove(*this);
}

PXStatus CImageRec::MakeBacking(PXDataSourceType type, PXRef<CImageRec>* outImage)
{
    CImageRec* made = nullptr;
    switch (type) {
        case kPXDataSourceMemory:
            made = new (std::nothrow) CImageRecMemory;
            break;
        case kPXDataSourceTiled:
            made = new (std::nothrow) CImageRecFile;
            break;
        case kPXDataSourceSolidFill:
            made = new (std::nothrow) CImageRecSolidFill;
            break;
        default:
            return PX_FAIL(kPXErrCreate);
    }
    if (!made) return PX_FAIL(kPXErrCreate);
    *outImage = PXRef<CImageRec>::Adopt(made);
    return kPXOK;
}

PXStatus CImageRec::Create(const PXImageCreateParams& params, PXRef<CImageRec>* outImage)
{
    *outImage = {};
    PXImageCreateParams resolved = params;
    resolved.dataSourceType = BackingFor(params);
    if (params.dataSourceType == kPXDataSourceDefault &&
        resolved.dataSourceType != kPXDataSourceMemory &&
        resolved.dataSourceType != kPXDataSourceTiled) {
        return PX_FAIL(kPXErrCreate);
    }
    PXRef<CImageRec> made;
    PX_TRY(MakeBacking(resolved.dataSourceType, &made));
    PX_TRY(made->Initialize(resolved, true));
    *outImage = made;
    return kPXOK;
}

PXStatus CImageRec::Initialize(const PXImageCreateParams& params, bool allocate)
{
    PX_REQUIRE(IsLayout(params));
    if (!IsBitDepth(params.depth)) {
        loPlane = 0;
        hiPlane = params.planes - 1;
        planeBytes = params.depth / 8;
        colBytes = planeBytes * params.planes;
    }
    depth = params.depth;
    PX_TRY(CheckBounds(params.bounds));
    TakeBounds(params.bounds);
    colorSpaceType = params.colorSpaceType;
    transparency = params.transparency;
    dataSourceType = params.dataSourceType;
    if (allocate) PX_TRY(Allocate());
    px::ImageCensus::Shared().Update(*this);
    return kPXOK;
}

PXStatus CImageRec::CheckBounds(const PXRect& rect) const
{
    PX_REQUIRE(IsRect(rect) &&
               BytesOfPixels(rect.width) <= std::numeric_limits<int64_t>::max() / rect.height);
    return kPXOK;
}

void CImageRec::TakeBounds(const PXRect& rect)
{
    bounds = rect;
    rowBytes = BytesOfPixels(rect.width);
}

PXStatus CImageRec::Copy(PXRef<CImageRec>* outImage)
{
    *outImage = {};
    PX_REQUIRE(rowBytes > 0);
    const auto made = PXRef<CImageRec>::Adopt(NewOfKind());
    if (!made) return PX_FAIL(kPXErrCreate);
    // Field by field: after PXImageSetPlaneBytes creation parameters do not tell the layout.
    made->loPlane = loPlane;
    made->hiPlane = hiPlane;
    made->planeBytes = planeBytes;
    made->colBytes = colBytes;
    made->depth = depth;
    made->TakeBounds(bounds);
    made->colorSpaceType = colorSpaceType;
    made->transparency = transparency;
    made->dataSourceType = dataSourceType;
    made->TakeTags(*this);
    PX_TRY(made->Allocate());
    px::ImageCensus::Shared().Update(*made);
    PX_TRY(CopyPixelsTo(made.Get()));
    *outImage = made;
    return kPXOK;
}

void CImageRec::TakeTags(const CImageRec& image)
{
    rate = image.rate;
    padding = image.padding;
    id = image.id;
    refCon = image.refCon;
    refCon2 = image.refCon2;
    mipLevel = image.mipLevel;
    type = image.type;
}

PXStatus CImageRec::CopyPixelsTo(CImageRec* copy)
{
    const auto bandRows = static_cast<int32_t>(
        std::min<int64_t>(bounds.height, std::max<int64_t>(1, kBandBytes / rowBytes)));
    const std::unique_ptr<char[]> band(
        new (std::nothrow) char[static_cast<size_t>(rowBytes * bandRows)]);
    if (!band) return PX_FAIL(kPXErrCreate);
    for (int32_t done = 0; done < bounds.height; done += bandRows) {
        const PXRect rect = {bounds.x, bounds.y + done, bounds.width,
                             std::min(bandRows, bounds.height - done)};
        PX_TRY(Read(rect, band.get(), rowBytes));
        PX_TRY(copy->Write(rect, band.get(), rowBytes));
        if (bounds.height - done <= bandRows) break;
    }
    return kPXOK;
}

PXImageCreateParams CImageRec::CreateParams() const
{
    return {bounds, depth, Planes(), colorSpaceType, transparency, dataSourceType};
}

bool CImageRec::Holds(const PXRect& rect) const
{
    if (rect.width <= 0 || rect.height <= 0 || rect.x < bounds.x || rect.y < bounds.y) return false;
    return int64_t{rect.x} + rect.width <= int64_t{bounds.x} + bounds.width &&
           int64_t{rect.y} + rect.height <= int64_t{bounds.y} + bounds.height;
}

PXStatus CImageRec::LockForReading(PXRect rect, const void** outPointer, int64_t* outRowBytes)
{
    void* pixels = nullptr;
    const PXStatus status = LockRect(rect, &pixels, outRowBytes);
    *outPointer = pixels;
    return status;
}

PXStatus CImageRec::Read(const PXRect& rect, void* buffer, int64_t bufferRowBytes)
{
    const int64_t length = BytesOfPixels(rect.width);
    PX_REQUIRE(Holds(rect) && buffer && bufferRowBytes >= length);
    const void* pixels = nullptr;
    int64_t pixelRowBytes = 0;
    const auto [whole, skippedBits] = IsBitMask() ? WidenToByte(*this, rect) : ByteRect{rect, 0};
    PX_TRY(LockForReading(whole, &pixels, &pixelRowBytes));
    if (!IsBitMask()) {
        px::CopyRows(buffer, bufferRowBytes, pixels, pixelRowBytes, length, rect.height);
    } else {
        for (int64_t row = 0; row < rect.height; ++row) {
            auto* to = static_cast<uint8_t*>(buffer) + row * bufferRowBytes;
            to[length - 1] = 0;  // the bits after the last pixel
            px::CopyBits(to, 0, static_cast<const uint8_t*>(pixels) + row * pixelRowBytes,
                         skippedBits, rect.width);
        }
    }
    return UnlockRect(whole, pixels);
}

PXStatus CImageRec::Write(const PXRect& rect, const void* buffer, int64_t bufferRowBytes)
{
    const int64_t length = BytesOfPixels(rect.width);
    PX_REQUIRE(Holds(rect) && buffer && bufferRowBytes >= length);
    void* pixels = nullptr;
    int64_t pixelRowBytes = 0;
    const auto [whole, skippedBits] = IsBitMask() ? WidenToByte(*this, rect) : ByteRect{rect, 0};
    PX_TRY(LockRect(whole, &pixels, &pixelRowBytes));
    if (!IsBitMask()) {
        px::CopyRows(pixels, pixelRowBytes, buffer, bufferRowBytes, length, rect.height);
    } else {
        for (int64_t row = 0; row < rect.height; ++row) {
            px::CopyBits(static_cast<uint8_t*>(pixels) + row * pixelRowBytes, skippedBits,
                         static_cast<const uint8_t*>(buffer) + row * bufferRowBytes, 0, rect.width);
        }
    }
    return UnlockRect(whole, pixels);
}

PXStatus CImageRec::ReadScaled(PXSize scaledSize, const PXRect& rect, uint32_t filter, void* buffer,
                               int64_t bufferRowBytes)
{
    PX_TRY(px::ScaledReader::Check(*this, filter));
    px::ScaledReader reader;
    PX_TRY(reader.Open(this, scaledSize, filter));
    return reader.Read(rect, buffer, bufferRowBytes);
}

int64_t CImageRec::LockedRowBytes(const PXRect&) const
{
    return rowBytes;
}

bool CImageRec::HasTile(int32_t, int32_t) const
{
    return false;
}

PXStatus CImageRec::GetNativeTile(int32_t, int32_t, CImageTile** outTile)
{
    *outTile = nullptr;
    return PX_FAIL(kPXErrNotSupported);
}

PXStatus CImageRec::CopyTile(int32_t, int32_t, PXRef<CImageRec>* outImage)
{
    *outImage = {};
    return PX_FAIL(kPXErrNotSupported);
}

PXStatus CImageRec::ReplaceTile(int32_t, int32_t, CImageRec*)
{
    return PX_FAIL(kPXErrNotSupported);
}

bool CImageRec::IsTileLoaded(int32_t, int32_t) const
{
    return false;
}

PXStatus CImageRec::SetKeepResident(bool)
{
    return kPXOK;
}

PXStatus CImageRec::Purge()
{
    return kPXErrNotFound;
}

int32_t CImageRec::TileSize() const
{
    return 0;
}

bool CImageRec::FindTile(int32_t x, int32_t y, int32_t* row, int32_t* column) const
{
    const int32_t tileSize = TileSize();
    if (tileSize == 0 || !Holds({x, y, 1, 1})) return false;
    *row = (y - bounds.y) / tileSize;
    *column = (x - bounds.x) / tileSize;
    return HasTile(*row, *column);
}
