#include "PXCore/PXImagePool.h"

#include "Base/Status.h"
#include "Image/ImagePool.h"

#include <new>

namespace {

constexpr char kEventSource[] = "PXImagePool";

ImagePool* ToPool(PXImagePool pool)
{
    return reinterpret_cast<ImagePool*>(pool);
}

}  // namespace

PXImagePool PXImagePoolCreate() noexcept
{
    auto* made = new (std::nothrow) ImagePool;
    if (!made) (void)PX_FAIL(kPXErrCreate);
    return reinterpret_cast<PXImagePool>(made);
}

PXImagePool PXImagePoolRetain(PXImagePool pool) noexcept
{
    PX_REQUIRE_OR(pool, nullptr);
    ToPool(pool)->AddRef();
    return pool;
}

void PXImagePoolRelease(PXImagePool pool) noexcept
{
    if (pool) ToPool(pool)->Release();
}

PXStatus PXImagePoolUpdate(PXImagePool pool, int32_t count, PXRect bounds, int32_t depth,
                           int32_t planes, PXColorSpaceType colorSpaceType,
                           PXTransparency transparency) noexcept
{
    PX_REQUIRE(pool);
    return ToPool(pool)->Update(
        count, {bounds, depth, planes, colorSpaceType, transparency, kPXDataSourceDefault});
}

PXStatus PXImagePoolAcquire(PXImagePool pool, PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PX_REQUIRE(pool);
    PXRef<CImageRec> image;
    PX_TRY(ToPool(pool)->Acquire(&image));
    *outImage = px::ToHandle(image.Detach());
    return kPXOK;
}
