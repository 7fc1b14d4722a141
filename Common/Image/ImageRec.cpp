#include "Image/ImageRec.h"

#include "Base/Status.h"
#include "Image/CopyRows.h"
#include "Image/ImageCacheManager.h"
#include "Image/ImageRecFile.h"
#include "Image/ImageRecMemory.h"

#include <atomic>
#include <limits>
#include <new>

namespace {

constexpr char kEventSource[] = "ImageRec";

constinit std::atomic<PXDataSourceType> defaultDataSource{kPXDataSourceTiled};

constexpr int32_t kMaxDepth = 64;
constexpr int32_t kMaxPlanes = 1 << 16;

bool IsBitMask(int32_t depth)
{
    return depth < 2;
}

bool IsLayout(const PXImageCreateParams& params)
{
    if (params.bounds.width <= 0 || params.bounds.height <= 0) return false;
    // The inclusive right and bottom edges must be coordinates themselves.
    if (int64_t{params.bounds.x} + params.bounds.width > std::numeric_limits<int32_t>::max() ||
        int64_t{params.bounds.y} + params.bounds.height > std::numeric_limits<int32_t>::max()) {
        return false;
    }
    if (params.planes < 1 || params.planes > kMaxPlanes) return false;
    if (params.depth < 0 || params.depth > kMaxDepth) return false;
    return IsBitMask(params.depth) || params.depth % 8 == 0;
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

CImageRec::CImageRec() : internalID(ImageCacheManager::Shared().NextInternalID()) {}

CImageRec::~CImageRec() = default;

PXStatus CImageRec::Create(const PXImageCreateParams& params, PXRef<CImageRec>* outImage)
{
    *outImage = {};
    PXImageCreateParams resolved = params;
    if (resolved.dataSourceType == kPXDataSourceDefault) {
        resolved.dataSourceType = px::DefaultDataSourceType();
        if (resolved.dataSourceType != kPXDataSourceMemory &&
            resolved.dataSourceType != kPXDataSourceTiled) {
            return PX_FAIL(kPXErrCreate);
        }
    }
    PXRef<CImageRec> made;
    switch (resolved.dataSourceType) {
        case kPXDataSourceMemory:
            made = PXRef<CImageRec>::Adopt(new (std::nothrow) CImageRecMemory);
            break;
        case kPXDataSourceTiled:
            made = PXRef<CImageRec>::Adopt(new (std::nothrow) CImageRecFile);
            break;
        case kPXDataSourceSolidFill:
            return PX_FAIL(kPXErrNotSupported);
        default:
            return PX_FAIL(kPXErrCreate);
    }
    if (!made) return PX_FAIL(kPXErrCreate);
    PX_TRY(made->Initialize(resolved, true));
    *outImage = made;
    return kPXOK;
}

PXStatus CImageRec::Initialize(const PXImageCreateParams& params, bool allocate)
{
    PX_REQUIRE(IsLayout(params));
    bounds = params.bounds;
    if (IsBitMask(params.depth)) {
        rowBytes = (int64_t{bounds.width} + 7) / 8;
    } else {
        loPlane = 0;
        hiPlane = params.planes - 1;
        planeBytes = params.depth / 8;
        colBytes = planeBytes * params.planes;
        rowBytes = int64_t{bounds.width} * colBytes;
    }
    PX_REQUIRE(rowBytes <= std::numeric_limits<int64_t>::max() / bounds.height);
    colorSpaceType = params.colorSpaceType;
    transparency = params.transparency;
    dataSourceType = params.dataSourceType;
    depth = params.depth;
    return allocate ? Allocate() : PXStatus{kPXOK};
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

PXStatus CImageRec::Read(const PXRect& rect, void* buffer, int64_t bufferRowBytes)
{
    const int64_t length = int64_t{rect.width} * colBytes;
    PX_REQUIRE(buffer && bufferRowBytes >= length);
    void* pixels = nullptr;
    int64_t pixelRowBytes = 0;
    PX_TRY(LockRect(rect, &pixels, &pixelRowBytes));
    px::CopyRows(buffer, bufferRowBytes, pixels, pixelRowBytes, length, rect.height);
    return UnlockRect(rect, pixels);
}

PXStatus CImageRec::Write(const PXRect& rect, const void* buffer, int64_t bufferRowBytes)
{
    const int64_t length = int64_t{rect.width} * colBytes;
    PX_REQUIRE(buffer && bufferRowBytes >= length);
    void* pixels = nullptr;
    int64_t pixelRowBytes = 0;
    PX_TRY(LockRect(rect, &pixels, &pixelRowBytes));
    px::CopyRows(pixels, pixelRowBytes, buffer, bufferRowBytes, length, rect.height);
    return UnlockRect(rect, pixels);
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
