#include "PXCore/PXImageStream.h"

#include "Base/Status.h"
#include "Image/ImageStream.h"

namespace {

constexpr char kEventSource[] = "PXImageStream";

}  // namespace

PXStatus PXImageCreateFromStream(PXStream stream, PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PX_REQUIRE(stream);
    PXRef<CImageRec> image;
    PX_TRY(px::ReadImage(*px::ToStream(stream), &image));
    *outImage = px::ToHandle(image.Detach());
    return kPXOK;
}

PXStatus PXImageWriteToStream(PXImage image, PXStream stream) noexcept
{
    PX_REQUIRE(image && stream);
    return px::WriteImage(px::ToRec(image), *px::ToStream(stream));
}
