#pragma once

// PXVariant — a value of any one of 22 kinds, or none.
//
// A variant is a tag and one pointer to a block of its own on the heap, which the tag tells how to
// read and free; copies are deep. Tags, the order of the virtual slots and the two fields are
// contract. One thread at a time may change a variant or use it while another changes it.

#include <deque>
#include <type_traits>
#include <vector>

#include "Base/BaseCore.h"
#include "PXCore/PXString.h"
#include "PXCore/PXTypes.h"

class PXColor;

enum PXVariantKind : uint32_t {
    kPXVariantEmpty = 0,
    kPXVariantUInt8 = 1,
    kPXVariantUInt16 = 2,
    kPXVariantInt16 = 3,
    kPXVariantUInt32 = 4,
    kPXVariantInt32 = 5,
    kPXVariantInt64 = 6,
    kPXVariantFloat = 7,
    kPXVariantDouble = 8,
    kPXVariantBool = 9,
    kPXVariantPoint = 10,
    kPXVariantPointF = 11,
    kPXVariantSize = 12,
    kPXVariantSizeF = 13,
    kPXVariantRect = 14,
    kPXVariantRectF = 15,
    kPXVariantOrientation = 16,
    kPXVariantPreviewScene = 17,
    kPXVariantColor = 18,
    kPXVariantString = 19,
    kPXVariantStringList = 20,
    kPXVariantIntVector = 21,
    kPXVariantObjectPtr = 22
};

class PX_API PXVariant {
public:
    // Empty, and one of each kind, whose value is copied.
    PXVariant() noexcept;
    PXVariant(uint8_t value);
    PXVariant(uint16_t value);
    PXVariant(int16_t value);
    PXVariant(uint32_t value);
    PXVariant(int32_t value);
    PXVariant(int64_t value);
    PXVariant(float value);
    PXVariant(double value);
    PXVariant(bool value);
    PXVariant(const PXPoint& value);
    PXVariant(const PXPointF& value);
    PXVariant(const PXSize& value);
    PXVariant(const PXSizeF& value);
    PXVariant(const PXRect& value);
    PXVariant(const PXRectF& value);
    PXVariant(const PXOrientation& value);
    PXVariant(const PXPreviewScene& value);
    PXVariant(const PXColor& value);
    PXVariant(const PXString& value);
    PXVariant(const std::deque<PXString>& value);
    PXVariant(const std::vector<int>& value);
    // Holds one reference; a null object gives the tag of an object with a null value.
    PXVariant(CBaseCore* value);
    // Any other pointer would pass for a bool. Text is given as PXVariant(PXString("text")).
    template <class T>
    requires(!std::is_convertible_v<T*, CBaseCore*>) PXVariant(T* pointer)
    = delete;
    // A deep copy.
    PXVariant(const PXVariant& other);

    virtual ~PXVariant();

    // Whether the value is of this kind.
    virtual bool isEmpty() const noexcept;
    virtual bool isUInt8() const noexcept;
    virtual bool isUInt16() const noexcept;
    virtual bool isInt16() const noexcept;
    virtual bool isUInt32() const noexcept;
    virtual bool isInt32() const noexcept;
    virtual bool isInt64() const noexcept;
    virtual bool isFloat() const noexcept;
    virtual bool isDouble() const noexcept;
    virtual bool isBool() const noexcept;
    virtual bool isPXPoint() const noexcept;
    virtual bool isPXPointF() const noexcept;
    virtual bool isPXSize() const noexcept;
    virtual bool isPxSizeF() const noexcept;  // sic
    virtual bool isPXRect() const noexcept;
    virtual bool isPXRectF() const noexcept;
    virtual bool isPXOrientation() const noexcept;
    virtual bool isPXPreviewScene() const noexcept;
    virtual bool isColor() const noexcept;
    virtual bool isString() const noexcept;
    virtual bool isStringList() const noexcept;
    virtual bool isIntVector() const noexcept;
    virtual bool isObjectPtr() const noexcept;

    // References to the value, valid until this variant is assigned, cleared or destroyed. They
    // follow the block pointer without any check: ask for the kind that the tests confirm, or use
    // the tryGet functions. Between kinds of plain numbers and records a wrong question is defined:
    // it gives the other kind's bytes, with zeros behind them (a bool must then not be read from a
    // byte other than 0 and 1). The value lies outside this object, so that a constant variant
    // lends it as well.
    virtual uint8_t& uint8Value() const noexcept;
    virtual uint16_t& uint16Value() const noexcept;
    virtual int16_t& int16Value() const noexcept;
    virtual uint32_t& uint32Value() const noexcept;
    virtual int32_t& int32Value() const noexcept;
    virtual int64_t& int64Value() const noexcept;
    virtual float& floatValue() const noexcept;
    virtual double& doubleValue() const noexcept;
    virtual bool& boolValue() const noexcept;
    virtual PXPoint& pxPointValue() const noexcept;
    virtual PXPointF& pxPointFValue() const noexcept;
    virtual PXSize& pxSizeValue() const noexcept;
    virtual PXSizeF& pxSizeFValue() const noexcept;
    virtual PXRect& pxRectValue() const noexcept;
    virtual PXRectF& pxRectFValue() const noexcept;
    virtual PXOrientation& pxOrientationValue() const noexcept;
    virtual PXPreviewScene& pxPreviewSceneValue() const noexcept;
    virtual PXColor& colorValue() const noexcept;
    virtual PXString& stringValue() const noexcept;
    virtual std::deque<PXString>& stringListValue() const noexcept;
    virtual std::vector<int>& intVectorValue() const noexcept;
    // The stored pointer itself. Whoever writes another one takes care of both references.
    virtual CBaseCore*& objectPtrValue() const noexcept;

    // Takes over kind and value by a deep copy, or one more reference to the object. A tag without
    // a block is copied as it is.
    virtual PXVariant& operator=(const PXVariant& other);
    // Frees the value but keeps tag and pointer as they are: after a call the variant must not be
    // used or destroyed before reset. operator= and the destructor are what callers want.
    virtual void clear() noexcept;

    // Checked access: 0 with *out written, or kPXErrBadArgument, which is logged, for null `out`,
    // for another kind and for a kind without its block; *out is then as it was.
    PXStatus tryGetUInt8(uint8_t* out) const noexcept;
    PXStatus tryGetUInt16(uint16_t* out) const noexcept;
    PXStatus tryGetInt16(int16_t* out) const noexcept;
    PXStatus tryGetUInt32(uint32_t* out) const noexcept;
    PXStatus tryGetInt32(int32_t* out) const noexcept;
    PXStatus tryGetInt64(int64_t* out) const noexcept;
    PXStatus tryGetFloat(float* out) const noexcept;
    PXStatus tryGetDouble(double* out) const noexcept;
    PXStatus tryGetBool(bool* out) const noexcept;
    PXStatus tryGetPXPoint(PXPoint* out) const noexcept;
    PXStatus tryGetPXPointF(PXPointF* out) const noexcept;
    PXStatus tryGetPXSize(PXSize* out) const noexcept;
    PXStatus tryGetPXSizeF(PXSizeF* out) const noexcept;
    PXStatus tryGetPXRect(PXRect* out) const noexcept;
    PXStatus tryGetPXRectF(PXRectF* out) const noexcept;
    PXStatus tryGetPXOrientation(PXOrientation* out) const noexcept;
    PXStatus tryGetPXPreviewScene(PXPreviewScene* out) const noexcept;
    PXStatus tryGetString(PXString* out) const noexcept;
    PXStatus tryGetStringList(std::deque<PXString>* out) const;
    PXStatus tryGetIntVector(std::vector<int>* out) const;
    // Lends the colour, or the object, which may be null.
    PXStatus tryGetColor(const PXColor** out) const noexcept;
    PXStatus tryGetObjectPtr(CBaseCore** out) const noexcept;

protected:
    // Each makes the block of its kind and stores it, without looking at what was stored before and
    // without touching the tag.
    virtual void createUInt8(uint8_t value);
    virtual void createUInt16(uint16_t value);
    virtual void createInt16(int16_t value);
    virtual void createUInt32(uint32_t value);
    virtual void createInt32(int32_t value);
    virtual void createInt64(int64_t value);
    virtual void createFloat(float value);
    virtual void createDouble(double value);
    virtual void createBool(bool value);
    virtual void createPXPoint(const PXPoint& value);
    virtual void createPXPointF(const PXPointF& value);
    virtual void createPXSize(const PXSize& value);
    virtual void createPXSizeF(const PXSizeF& value);
    virtual void createPXRect(const PXRect& value);
    virtual void createPXRectF(const PXRectF& value);
    virtual void createPXOrientation(const PXOrientation& value);
    virtual void createPXPreviewScene(const PXPreviewScene& value);
    virtual void createPXColor(const PXColor& value);
    virtual void createPXString(const PXString& value);
    virtual void createPXStringList(const std::deque<PXString>& value);
    virtual void createIntVector(const std::vector<int>& value);
    virtual void createObjectPtr(CBaseCore* value) noexcept;
    // Empties this variant without freeing anything.
    virtual void reset() noexcept;

    uint32_t tag_ = kPXVariantEmpty;
    // Null for an empty variant.
    union {
        void* block_ = nullptr;
        CBaseCore* object_;  // kPXVariantObjectPtr has the object itself in the block's place
    };
};
