#include "PXCore/PXImageStream.h"

#include "Base/Status.h"
#include "Image/ImageStream.h"

namespace {

constexpr char kEventSource[] = "PXImageStream";

}  // namespace

PXStatus PXImageCreateFromStream(const PXImageStream* stream, PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PX_REQUIRE(stream && stream->read);
    PXRef<CImageRec> image;
    PX_TRY(px::ReadImage(*stream, &image));
    *outImage = px::ToHandle(image.Detach());
    return kPXOK;
}

PXStatus PXImageWriteToStream(PXImage image, const PXImageStream* stream) noexcept
{
    PX_REQUIRE(image && stream && stream->write);
    return px::WriteImage(px::ToRec(image), *stream);
}
