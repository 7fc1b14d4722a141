// Sizes, offsets and slots that callers were compiled against.

#include "Base/BaseCore.h"
#include "Base/PXLog.h"
#include "PXCore/PXColorProfile.h"
#include "PXCore/PXImage.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace {

static_assert(sizeof(PXPoint) == 8 && sizeof(PXPointF) == 8 && sizeof(PXVec2) == 8);
static_assert(sizeof(PXVec2F) == 8 && sizeof(PXSize) == 8 && sizeof(PXSizeF) == 8);
static_assert(sizeof(PXVec3) == 12 && sizeof(PXVec3F) == 12 && sizeof(PXVec4F) == 16);
static_assert(sizeof(PXRect) == 16 && sizeof(PXRectF) == 16);
static_assert(offsetof(PXRect, width) == 8 && offsetof(PXRectF, height) == 12);
static_assert(sizeof(PXAffineTransform) == 24 && offsetof(PXAffineTransform, tx) == 16);
static_assert(sizeof(PXImageCreateParams) == 36 && offsetof(PXImageCreateParams, depth) == 16);
static_assert(offsetof(PXImageCreateParams, dataSourceType) == 32);
static_assert(sizeof(PXLogStyle) == 12 && offsetof(PXLogStyle, level) == 8);
static_assert(sizeof(PXLoggerProcs) == 3 * sizeof(void*));
static_assert(sizeof(PXFolderContext) == 2 * sizeof(void*));
static_assert(kPXColorStandardSRGB == 0x73726762 && kPXColorStandardDisplay == 0x64697370);

// Calls a virtual function through its slot, as a caller compiled long ago does. The destructor
// takes the first two.
template <class Result>
Result CallSlot(void* object, size_t slot)
{
    void** table = nullptr;
    std::memcpy(&table, object, sizeof(table));
    Result (*function)(void*) = nullptr;
    std::memcpy(&function, &table[slot], sizeof(function));
    return function(object);
}

TEST(Abi, CountedObjectsKeepTheirSlots)
{
    PXImage image = nullptr;
    ASSERT_EQ(PXStatus{kPXOK}, PXImageCreate(&image));
    EXPECT_EQ(2, CallSlot<int32_t>(image, 2));
    EXPECT_EQ(2, PXImageGetRetainCount(image));
    EXPECT_EQ(1, CallSlot<int32_t>(image, 3));
    EXPECT_EQ(1, PXImageGetRetainCount(image));
    PXImageRelease(image);
}

}  // namespace
