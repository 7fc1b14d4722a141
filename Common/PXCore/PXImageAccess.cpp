#include "PXCore/PXImageAccess.h"

#include "Base/Status.h"
#include "Image/ImageAccess.h"
#include "Image/ImageConversion.h"
#include "Image/ImageRec.h"

namespace {

using px::ToRec;

constexpr char kEventSource[] = "PXImageAccess";

CImageAccess* ToAccess(PXImageAccess access)
{
    return reinterpret_cast<CImageAccess*>(access);
}

}  // namespace

PXStatus PXImageAccessCreate(PXImage image, PXRect rect, PXImageAccessMode mode,
                             const PXImageOutside* outside, PXImageAccess* outAccess) noexcept
{
    PX_REQUIRE(outAccess);
    *outAccess = nullptr;
    PX_REQUIRE(image);
    PXRef<CImageAccess> made;
    PX_TRY(CImageAccess::Create(ToRec(image), rect, mode, outside, &made));
    *outAccess = reinterpret_cast<PXImageAccess>(made.Detach());
    return kPXOK;
}

PXStatus PXImageAccessGetRow(PXImageAccess access, int32_t y, void** outRow) noexcept
{
    PX_REQUIRE(outRow);
    *outRow = nullptr;
    PX_REQUIRE(access);
    return ToAccess(access)->GetRow(y, outRow);
}

PXStatus PXImageAccessClose(PXImageAccess access) noexcept
{
    PX_REQUIRE(access);
    return ToAccess(access)->Close();
}

void PXImageAccessRelease(PXImageAccess access) noexcept
{
    if (access) ToAccess(access)->Release();
}

PXStatus PXImageReadWithConversion(PXImage image, PXRect rect, PXImageFormat format,
                                   const PXImageOutside* outside, void* buffer,
                                   int64_t rowBytes) noexcept
{
    PX_REQUIRE(image);
    return px::ReadWithConversion(ToRec(image), rect, format, outside, buffer, rowBytes);
}

PXStatus PXImageWriteWithConversion(PXImage image, PXRect rect, PXImageFormat format,
                                    const PXImageOutside* outside, const void* buffer,
                                    int64_t rowBytes) noexcept
{
    PX_REQUIRE(image);
    return px::WriteWithConversion(ToRec(image), rect, format, outside, buffer, rowBytes);
}
