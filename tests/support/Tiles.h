#pragma once

// Tiles — tiled images below a cache folder of the test's own.

#include "Base/Ref.h"
#include "Image/ImageRec.h"
#include "PXCore/PXImageCache.h"
#include "support/CF.h"
#include "support/TempFolder.h"

namespace px::test {

inline constexpr int64_t kTile = int64_t{512} * 512;

inline PXImageCacheStatistics Statistics()
{
    PXImageCacheStatistics statistics;
    EXPECT_EQ(kPXOK, PXImageGetCacheStatistics(&statistics));
    return statistics;
}

// The record of an image, which passes for its handle.
class Record : public PXRef<CImageRec> {
public:
    using PXRef::PXRef;
    Record(PXRef<CImageRec> image) : PXRef(std::move(image)) {}
    operator PXImage() const { return ToHandle(Get()); }
};

inline Record MakeRecord(PXRect bounds, int32_t depth, int32_t planes,
                         PXDataSourceType source = kPXDataSourceTiled)
{
    PXImage image = nullptr;
    EXPECT_EQ(kPXOK, PXImageCreateWithParams2(bounds, depth, planes, 0, 0, source, &image));
    return PXRef<CImageRec>::Adopt(ToRec(image));
}

// Puts the limit back, too.
class TileCache : public TempFolder {
protected:
    TileCache()
    {
        const std::string path = root_.string();
        const Owned<CFURLRef> url(CFURLCreateFromFileSystemRepresentation(
            nullptr, reinterpret_cast<const UInt8*>(path.data()), CFIndex(path.size()), true));
        EXPECT_EQ(kPXOK, PXImageSetCacheFolderPath(url));
    }
    ~TileCache() override
    {
        PXImageShutdown();
        PXImageSetCacheMemPercent(50);
        PXImageSetTileStoreType(0);
    }
};

}  // namespace px::test
