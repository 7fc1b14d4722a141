#include "PXCore/PXVariant.h"

#include "PXCore/PXColor.h"
#include "Base/Status.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr char kEventSource[] = "PXString";

// All plain kinds have a block of this size, zero behind the value, so that asking for another
// plain kind stays inside it.
struct alignas(8) PlainBlock {
    unsigned char bytes[32] = {};
};

template <class T>
void* MakePlain(const T& value)
{
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= sizeof(PlainBlock));
    auto* block = new PlainBlock;
    std::memcpy(block->bytes, &value, sizeof(value));
    return block;
}

template <class T>
PXStatus Copy(bool isKind, const void* block, T* out)
{
    PX_REQUIRE(isKind && block && out);
    *out = *static_cast<const T*>(block);
    return kPXOK;
}

}  // namespace

// Tag, names and types of the kinds whose value is a number or a plain record.
#define PX_PLAIN_KINDS(X)                                                                       \
    X(kPXVariantUInt8, UInt8, isUInt8, uint8Value, uint8_t, uint8_t)                            \
    X(kPXVariantUInt16, UInt16, isUInt16, uint16Value, uint16_t, uint16_t)                      \
    X(kPXVariantInt16, Int16, isInt16, int16Value, int16_t, int16_t)                            \
    X(kPXVariantUInt32, UInt32, isUInt32, uint32Value, uint32_t, uint32_t)                      \
    X(kPXVariantInt32, Int32, isInt32, int32Value, int32_t, int32_t)                            \
    X(kPXVariantInt64, Int64, isInt64, int64Value, int64_t, int64_t)                            \
    X(kPXVariantFloat, Float, isFloat, floatValue, float, float)                                \
    X(kPXVariantDouble, Double, isDouble, doubleValue, double, double)                          \
    X(kPXVariantBool, Bool, isBool, boolValue, bool, bool)                                      \
    X(kPXVariantPoint, PXPoint, isPXPoint, pxPointValue, PXPoint, const PXPoint&)               \
    X(kPXVariantPointF, PXPointF, isPXPointF, pxPointFValue, PXPointF, const PXPointF&)         \
    X(kPXVariantSize, PXSize, isPXSize, pxSizeValue, PXSize, const PXSize&)                     \
    X(kPXVariantSizeF, PXSizeF, isPxSizeF, pxSizeFValue, PXSizeF, const PXSizeF&)               \
    X(kPXVariantRect, PXRect, isPXRect, pxRectValue, PXRect, const PXRect&)                     \
    X(kPXVariantRectF, PXRectF, isPXRectF, pxRectFValue, PXRectF, const PXRectF&)               \
    X(kPXVariantOrientation, PXOrientation, isPXOrientation, pxOrientationValue, PXOrientation, \
      const PXOrientation&)                                                                     \
    X(kPXVariantPreviewScene, PXPreviewScene, isPXPreviewScene, pxPreviewSceneValue,            \
      PXPreviewScene, const PXPreviewScene&)

#define PX_PLAIN_KIND(tag, Name, isName, accessor, Type, Argument) \
    PXVariant::PXVariant(Argument value) : tag_(tag)               \
    {                                                              \
        PXVariant::create##Name(value);                            \
    }                                                              \
    bool PXVariant::isName() const noexcept                        \
    {                                                              \
        return tag_ == (tag);                                      \
    }                                                              \
    Type& PXVariant::accessor() const noexcept                     \
    {                                                              \
        return *static_cast<Type*>(block_);                        \
    }                                                              \
    void PXVariant::create##Name(Argument value)                   \
    {                                                              \
        block_ = MakePlain<Type>(value);                           \
    }                                                              \
    PXStatus PXVariant::tryGet##Name(Type* out) const noexcept     \
    {                                                              \
        return Copy(tag_ == (tag), block_, out);                   \
    }
PX_PLAIN_KINDS(PX_PLAIN_KIND)
#undef PX_PLAIN_KIND

PXVariant::PXVariant() noexcept = default;

PXVariant::PXVariant(const PXColor& value) : tag_(kPXVariantColor)
{
    PXVariant::createPXColor(value);
}

PXVariant::PXVariant(const PXString& value) : tag_(kPXVariantString)
{
    PXVariant::createPXString(value);
}

PXVariant::PXVariant(const std::deque<PXString>& value) : tag_(kPXVariantStringList)
{
    PXVariant::createPXStringList(value);
}

PXVariant::PXVariant(const std::vector<int>& value) : tag_(kPXVariantIntVector)
{
    PXVariant::createIntVector(value);
}

PXVariant::PXVariant(CBaseCore* value) : tag_(kPXVariantObjectPtr)
{
    PXVariant::createObjectPtr(value);
}

PXVariant::PXVariant(const PXVariant& other)
{
    PXVariant::operator=(other);
}

PXVariant::~PXVariant()
{
    if (tag_ != kPXVariantEmpty) PXVariant::clear();
}

bool PXVariant::isEmpty() const noexcept
{
    return tag_ == kPXVariantEmpty;
}

bool PXVariant::isColor() const noexcept
{
    return tag_ == kPXVariantColor;
}

bool PXVariant::isString() const noexcept
{
    return tag_ == kPXVariantString;
}

bool PXVariant::isStringList() const noexcept
{
    return tag_ == kPXVariantStringList;
}

bool PXVariant::isIntVector() const noexcept
{
    return tag_ == kPXVariantIntVector;
}

bool PXVariant::isObjectPtr() const noexcept
{
    return tag_ == kPXVariantObjectPtr;
}

PXColor& PXVariant::colorValue() const noexcept
{
    return *static_cast<PXColor*>(block_);
}

PXString& PXVariant::stringValue() const noexcept
{
    return *static_cast<PXString*>(block_);
}

std::deque<PXString>& PXVariant::stringListValue() const noexcept
{
    return *static_cast<std::deque<PXString>*>(block_);
}

std::vector<int>& PXVariant::intVectorValue() const noexcept
{
    return *static_cast<std::vector<int>*>(block_);
}

CBaseCore*& PXVariant::objectPtrValue() const noexcept
{
    return const_cast<PXVariant*>(this)->object_;
}

void PXVariant::createPXColor(const PXColor& value)
{
    block_ = new PXColor(value);
}

void PXVariant::createPXString(const PXString& value)
{
    block_ = new PXString(value);
}

void PXVariant::createPXStringList(const std::deque<PXString>& value)
{
    block_ = new std::deque<PXString>(value);
}

void PXVariant::createIntVector(const std::vector<int>& value)
{
    block_ = new std::vector<int>(value);
}

void PXVariant::createObjectPtr(CBaseCore* value) noexcept
{
    if (value) value->AddRef();
    object_ = value;
}

void PXVariant::reset() noexcept
{
    tag_ = kPXVariantEmpty;
    block_ = nullptr;
}

PXVariant& PXVariant::operator=(const PXVariant& other)
{
    if (this == &other) return *this;
    if (tag_ != kPXVariantEmpty) {
        clear();
        reset();
    }
    switch (other.block_ ? other.tag_ : uint32_t{kPXVariantEmpty}) {
#define PX_PLAIN_KIND(tag, Name, isName, accessor, Type, Argument) \
    case tag:                                                      \
        create##Name(other.accessor());                            \
        break;
        PX_PLAIN_KINDS(PX_PLAIN_KIND)
#undef PX_PLAIN_KIND
        case kPXVariantColor:
            createPXColor(other.colorValue());
            break;
        case kPXVariantString:
            createPXString(other.stringValue());
            break;
        case kPXVariantStringList:
            createPXStringList(other.stringListValue());
            break;
        case kPXVariantIntVector:
            createIntVector(other.intVectorValue());
            break;
        case kPXVariantObjectPtr:
            createObjectPtr(other.objectPtrValue());
            break;
        default:
            break;
    }
    // A tag without a value is copied too: an object pointer may be null.
    tag_ = other.tag_;
    return *this;
}

void PXVariant::clear() noexcept
{
    switch (tag_) {
        case kPXVariantEmpty:
            break;
        case kPXVariantColor:
            delete static_cast<PXColor*>(block_);
            break;
        case kPXVariantString:
            delete static_cast<PXString*>(block_);
            break;
        case kPXVariantStringList:
            delete static_cast<std::deque<PXString>*>(block_);
            break;
        case kPXVariantIntVector:
            delete static_cast<std::vector<int>*>(block_);
            break;
        case kPXVariantObjectPtr:
            if (object_) object_->Release();
            break;
        default:
            delete static_cast<PlainBlock*>(block_);
            break;
    }
}

PXStatus PXVariant::tryGetString(PXString* out) const noexcept
{
    // One that holds null has nothing to give.
    PX_REQUIRE(isString() && stringValue().toCFString() && out);
    *out = stringValue();
    return kPXOK;
}

PXStatus PXVariant::tryGetStringList(std::deque<PXString>* out) const
{
    return Copy(isStringList(), block_, out);
}

PXStatus PXVariant::tryGetIntVector(std::vector<int>* out) const
{
    return Copy(isIntVector(), block_, out);
}

PXStatus PXVariant::tryGetColor(const PXColor** out) const noexcept
{
    PX_REQUIRE(isColor() && block_ && out);
    *out = static_cast<const PXColor*>(block_);
    return kPXOK;
}

PXStatus PXVariant::tryGetObjectPtr(CBaseCore** out) const noexcept
{
    PX_REQUIRE(isObjectPtr() && out);
    *out = object_;
    return kPXOK;
}
