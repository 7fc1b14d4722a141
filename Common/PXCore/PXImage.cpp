#include "PXCore/PXImage.h"

#include "Base/Status.h"
#include "Image/ImageCensus.h"
#include "Image/ImageRec.h"
#include "Image/ImageRecMemory.h"
#include "Image/ImageRecSolidFill.h"

#include <limits>
#include <new>

namespace {

using px::ToHandle;
using px::ToRec;

constexpr char kEventSource[] = "PXImage";
constexpr uint32_t kNoNumber = 0xFFFFFFFF;

PXStatus Make(const PXImageCreateParams& params, PXImage* outImage)
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    PXRef<CImageRec> made;
    PX_TRY(CImageRec::Create(params, &made));
    *outImage = ToHandle(made.Detach());
    return kPXOK;
}

// Reads one field of a record, or logs and gives the neutral value.
template <class Value, class Field>
Value Get(PXImage image, Field CImageRec::*field, Value neutral,
          const char* function = __builtin_FUNCTION())
{
    if (!image) {
        (void)px::Fail(kPXErrBadArgument, kEventSource, __LINE__, "image", function);
        return neutral;
    }
    return static_cast<Value>(ToRec(image)->*field);
}

template <class Field, class Value>
void Set(PXImage image, Field CImageRec::*field, Value value)
{
    if (image) ToRec(image)->*field = value;
}

}  // namespace

PXStatus PXImageCreate(PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = ToHandle(new (std::nothrow) CImageRecMemory);
    return *outImage ? PXStatus{kPXOK} : PX_FAIL(kPXErrCreate);
}

PXStatus PXImageCreateWithParams(PXRect bounds, int32_t depth, int32_t planes,
                                 PXImage* outImage) noexcept
{
    return Make(
        {bounds, depth, planes, kPXColorSpaceByChannels, kPXTransparencyNone, kPXDataSourceDefault},
        outImage);
}

PXStatus PXImageCreateWithParams2(PXRect bounds, int32_t depth, int32_t planes,
                                  PXColorSpaceType colorSpaceType, PXTransparency transparency,
                                  PXDataSourceType dataSourceType, PXImage* outImage) noexcept
{
    return Make({bounds, depth, planes, colorSpaceType, transparency, dataSourceType}, outImage);
}

PXStatus PXImageCreateWithParams3(const PXImageCreateParams* params, PXImage* outImage) noexcept
{
    if (outImage) *outImage = nullptr;
    PX_REQUIRE(params);
    return Make(*params, outImage);
}

PXStatus PXImageCreateMemory(PXRect bounds, int32_t depth, int32_t planes,
                             PXColorSpaceType colorSpaceType, PXTransparency transparency,
                             void* buffer, PXImage* outImage) noexcept
{
    PX_REQUIRE(outImage);
    *outImage = nullptr;
    if (!buffer) return PX_FAIL(kPXErrMissing);
    auto made = PXRef<CImageRecMemory>::Adopt(new (std::nothrow) CImageRecMemory);
    if (!made) return PX_FAIL(kPXErrCreate);
    PX_TRY(made->Initialize(
        {bounds, depth, planes, colorSpaceType, transparency, kPXDataSourceMemory}, false));
    made->UseBuffer(buffer);
    px::ImageCensus::Shared().Update(*made);
    *outImage = ToHandle(made.Detach());
    return kPXOK;
}

PXStatus PXImageCreateCopy(PXImage image, PXImage* outImage) noexcept
{
    if (outImage) *outImage = nullptr;
    PX_REQUIRE(image && outImage);
    PXRef<CImageRec> made;
    PX_TRY(ToRec(image)->Copy(&made));
    *outImage = ToHandle(made.Detach());
    return kPXOK;
}

PXImage PXImageRetain(PXImage image) noexcept
{
    PX_REQUIRE_OR(image, nullptr);
    ToRec(image)->AddRef();
    return image;
}

void PXImageRelease(PXImage image) noexcept
{
    if (image) ToRec(image)->Release();
}

int32_t PXImageGetRetainCount(PXImage image) noexcept
{
    PX_REQUIRE_OR(image, 0);
    return ToRec(image)->RetainCount();
}

void PXImageSetDefaultDataSourceType(PXDataSourceType type) noexcept
{
    px::SetDefaultDataSourceType(type);
}

PXStatus PXImageGetCreateParams(PXImage image, PXImageCreateParams* outParams) noexcept
{
    PX_REQUIRE(image && outParams);
    *outParams = ToRec(image)->CreateParams();
    return kPXOK;
}

PXRect PXImageGetBounds(PXImage image) noexcept
{
    return Get(image, &CImageRec::bounds, PXRect{});
}

PXStatus PXImageAdjustBounds(PXImage image, PXRect rect) noexcept
{
    PX_REQUIRE(image);
    PX_TRY(ToRec(image)->SetBounds(rect));
    px::ImageCensus::Shared().Update(*ToRec(image));
    return kPXOK;
}

int32_t PXImageGetWidth(PXImage image) noexcept
{
    PX_REQUIRE_OR(image, 0);
    return ToRec(image)->bounds.width;
}

int32_t PXImageGetHeight(PXImage image) noexcept
{
    PX_REQUIRE_OR(image, 0);
    return ToRec(image)->bounds.height;
}

int32_t PXImageGetDepth(PXImage image) noexcept
{
    return Get(image, &CImageRec::depth, 0);
}

int32_t PXImageGetNumPlanes(PXImage image) noexcept
{
    PX_REQUIRE_OR(image, 0);
    return ToRec(image)->Planes();
}

int32_t PXImageGetPlaneBytes(PXImage image) noexcept
{
    return Get(image, &CImageRec::planeBytes, 0);
}

int32_t PXImageGetColBytes(PXImage image) noexcept
{
    return Get(image, &CImageRec::colBytes, 0);
}

int32_t PXImageGetRowBytes(PXImage image) noexcept
{
    return Get(image, &CImageRec::rowBytes, int32_t{0});
}

int32_t PXImageGetSize(PXImage image) noexcept
{
    return Get(image, &CImageRec::size, int32_t{0});
}

int32_t PXImageGetLoPlane(PXImage image) noexcept
{
    return Get(image, &CImageRec::loPlane, 0);
}

int32_t PXImageGetHiPlane(PXImage image) noexcept
{
    return Get(image, &CImageRec::hiPlane, 0);
}

PXDataSourceType PXImageGetDataSourceType(PXImage image) noexcept
{
    return Get(image, &CImageRec::dataSourceType, PXDataSourceType{0});
}

int64_t PXImageGetRowBytes64(PXImage image) noexcept
{
    return Get(image, &CImageRec::rowBytes, int64_t{0});
}

int64_t PXImageGetSize64(PXImage image) noexcept
{
    return Get(image, &CImageRec::size, int64_t{0});
}

int32_t PXImageGetPadding(PXImage image) noexcept
{
    return Get(image, &CImageRec::padding, int32_t{0});
}

void PXImageSetPadding(PXImage image, int16_t padding) noexcept
{
    Set(image, &CImageRec::padding, padding);
}

double PXImageGetRate(PXImage image) noexcept
{
    return Get(image, &CImageRec::rate, 0.0);
}

void PXImageSetRate(PXImage image, double rate) noexcept
{
    Set(image, &CImageRec::rate, rate);
}

uint32_t PXImageGetType(PXImage image) noexcept
{
    return Get(image, &CImageRec::type, 0U);
}

void PXImageSetType(PXImage image, uint32_t type) noexcept
{
    Set(image, &CImageRec::type, type);
}

PXColorSpaceType PXImageGetColorSpaceType(PXImage image) noexcept
{
    return Get(image, &CImageRec::colorSpaceType, PXColorSpaceType{0});
}

void PXImageSetColorSpaceType(PXImage image, PXColorSpaceType type) noexcept
{
    Set(image, &CImageRec::colorSpaceType, type);
}

uint32_t PXImageGetMipLevel(PXImage image) noexcept
{
    return Get(image, &CImageRec::mipLevel, 0U);
}

void PXImageSetMipLevel(PXImage image, uint32_t level) noexcept
{
    Set(image, &CImageRec::mipLevel, level);
}

uint32_t PXImageGetID(PXImage image) noexcept
{
    return Get(image, &CImageRec::id, kNoNumber);
}

void PXImageSetID(PXImage image, uint32_t id) noexcept
{
    Set(image, &CImageRec::id, id);
}

uint32_t PXImageGetInternalID(PXImage image) noexcept
{
    return Get(image, &CImageRec::internalID, kNoNumber);
}

void* PXImageGetRefCon(PXImage image) noexcept
{
    return Get(image, &CImageRec::refCon, static_cast<void*>(nullptr));
}

void PXImageSetRefCon(PXImage image, void* refCon) noexcept
{
    Set(image, &CImageRec::refCon, refCon);
}

uint32_t PXImageGetRefCon2(PXImage image) noexcept
{
    return Get(image, &CImageRec::refCon2, kNoNumber);
}

void PXImageSetRefCon2(PXImage image, uint32_t refCon) noexcept
{
    Set(image, &CImageRec::refCon2, refCon);
}

PXTransparency PXImageGetTransparency(PXImage image) noexcept
{
    // A status from a getter is what callers have always been given for a null handle.
    return Get(image, &CImageRec::transparency, PXTransparency{kPXErrBadArgument});
}

void PXImageSetTransparency(PXImage image, PXTransparency transparency) noexcept
{
    Set(image, &CImageRec::transparency, transparency);
}

int32_t PXImageSetPlaneBytes(PXImage image, int32_t bytes) noexcept
{
    PX_REQUIRE_OR(image && bytes >= 0 && bytes <= std::numeric_limits<int32_t>::max() / 8, 0);
    CImageRec* record = ToRec(image);
    // colBytes, rowBytes and size stay as they are on purpose: the caller re-derives them.
    record->planeBytes = bytes;
    record->depth = bytes * 8;
    px::ImageCensus::Shared().Update(*record);
    return record->depth;
}

PXStatus PXImageSetFillColor(PXImage image, const void* pixel) noexcept
{
    PX_REQUIRE(image && pixel);
    auto* fill = dynamic_cast<CImageRecSolidFill*>(ToRec(image));
    if (!fill) return PX_FAIL(kPXErrNotSupported);
    fill->SetFill(pixel);
    return kPXOK;
}

PXStatus PXImageGetFillColor(PXImage image, void* pixel) noexcept
{
    PX_REQUIRE(image && pixel);
    const auto* fill = dynamic_cast<const CImageRecSolidFill*>(ToRec(image));
    if (!fill) return PX_FAIL(kPXErrNotSupported);
    fill->GetFill(pixel);
    return kPXOK;
}

PXStatus PXImageRead2(PXImage image, PXRect rect, void* buffer, int64_t rowBytes) noexcept
{
    PX_REQUIRE(image);
    return ToRec(image)->Read(rect, buffer, rowBytes);
}

PXStatus PXImageWrite2(PXImage image, PXRect rect, const void* buffer, int64_t rowBytes) noexcept
{
    PX_REQUIRE(image);
    return ToRec(image)->Write(rect, buffer, rowBytes);
}

PXStatus PXImageLockBuffer2(PXImage image, PXRect rect, void** outPointer) noexcept
{
    PX_REQUIRE(outPointer);
    *outPointer = nullptr;
    PX_REQUIRE(image);
    int64_t rowBytes = 0;
    return ToRec(image)->LockRect(rect, outPointer, &rowBytes);
}

PXStatus PXImageLockBufferForReading(PXImage image, PXRect rect, const void** outPointer) noexcept
{
    PX_REQUIRE(outPointer);
    *outPointer = nullptr;
    PX_REQUIRE(image);
    int64_t rowBytes = 0;
    return ToRec(image)->LockForReading(rect, outPointer, &rowBytes);
}

PXStatus PXImageUnlockBuffer2(PXImage image, PXRect rect, const void* pointer) noexcept
{
    PX_REQUIRE(image);
    return ToRec(image)->UnlockRect(rect, pointer);
}

void PXImageSetLogObjectUse(bool isOn) noexcept
{
    px::ImageCensus::Shared().SetTracking(isOn);
}

int32_t PXImageGetTotalImages() noexcept
{
    return px::ImageCensus::Shared().TotalImages();
}

void PXImageDumpImageReport() noexcept
{
    px::ImageCensus::Shared().LogReport();
}
