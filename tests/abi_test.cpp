// Sizes and offsets that callers were compiled against; the order of slots has a check of its own.

#include "Base/PXLog.h"
#include "Base/PXThread.h"
#include "Base/TaskQueue.h"
#include "Image/LCMSColorProfile.h"
#include "PXCore/PXColor.h"
#include "PXCore/PXColorCube.h"
#include "PXCore/PXDictionary.h"
#include "PXCore/PXImageAccess.h"
#include "PXCore/PXPreset.h"
#include "PXCore/PXString.h"
#include "PXCore/PXVariant.h"
#include "PXCore/PXVariantPointerContainer.h"
#include "support/ColourPictures.h"
#include "support/Test.h"

namespace {

using namespace px::test;

static_assert(sizeof(PXPoint) == 8 && sizeof(PXPointF) == 8 && sizeof(PXVec2) == 8);
static_assert(sizeof(PXVec2F) == 8 && sizeof(PXSize) == 8 && sizeof(PXSizeF) == 8);
static_assert(sizeof(PXVec3) == 12 && sizeof(PXVec3F) == 12 && sizeof(PXVec4F) == 16);
static_assert(sizeof(PXRect) == 16 && sizeof(PXRectF) == 16);
static_assert(offsetof(PXRect, width) == 8 && offsetof(PXRectF, height) == 12);
static_assert(sizeof(PXAffineTransform) == 24 && offsetof(PXAffineTransform, tx) == 16);
static_assert(sizeof(PXImageCreateParams) == 36 && offsetof(PXImageCreateParams, depth) == 16);
static_assert(offsetof(PXImageCreateParams, dataSourceType) == 32);
static_assert(sizeof(PXImageFormat) == 8 && sizeof(PXImageOutside) == 16);
static_assert(sizeof(PXLogStyle) == 12 && offsetof(PXLogStyle, level) == 8);
static_assert(sizeof(PXLoggerProcs) == 3 * sizeof(void*));
static_assert(sizeof(PXFolderContext) == 2 * sizeof(void*));
static_assert(sizeof(PXThreadPoolStatistics) == 32 && kPXWaitTimeout == 258);
static_assert(sizeof(CBaseTaskQueueStatistics) == 48);
static_assert(kPXColorStandardSRGB == 0x73726762 && kPXColorStandardDisplay == 0x64697370);

static_assert(sizeof(PXOrientation) == 28 && sizeof(PXPreviewScene) == 24);
static_assert(sizeof(PXString) == sizeof(void*) && !std::is_polymorphic_v<PXString>);
static_assert(sizeof(PXVariant) == 3 * sizeof(void*));
static_assert(sizeof(PXVariantPointerContainer) == sizeof(CBaseCore) + sizeof(void*));
static_assert(sizeof(PXDictionary) == 6 * sizeof(void*));
static_assert(sizeof(PXColor) == 2 * sizeof(void*));
static_assert(sizeof(PXPresetData) == sizeof(PXDictionary));
static_assert(sizeof(PXPreset) == 3 * sizeof(void*) && sizeof(PXPresetFactory) == sizeof(void*));

// Calls a virtual function through its slot, as a caller compiled long ago does.
template <class Result>
Result CallSlot(void* object, size_t slot)
{
    void** table = nullptr;
    std::memcpy(&table, object, sizeof(table));
    Result (*function)(void*) = nullptr;
    std::memcpy(&function, &table[slot], sizeof(function));
    return function(object);
}

// Fields laid open.
struct OpenVariant : PXVariant {
    using PXVariant::block_;
    using PXVariant::reset;
    using PXVariant::tag_;
};

TEST(Abi, VariantsTellTheirKindAndLendTheirBlock)
{
    constexpr size_t kTests = 2, kAccessors = 25;
    OpenVariant variant;
    int64_t value = 7;
    for (uint32_t tag = 0; tag <= 22; ++tag) {
        SCOPED_TRACE(tag);
        variant.tag_ = tag;
        variant.block_ = &value;
        for (uint32_t other = 0; other <= 22; ++other)
            EXPECT_EQ(other == tag, CallSlot<bool>(&variant, kTests + other));
        if (tag == 0) continue;
        void* lent = CallSlot<void*>(&variant, kAccessors + tag - 1);
        EXPECT_EQ(tag == 22 ? static_cast<void*>(&variant.block_) : &value, lent);
    }
    EXPECT_EQ(0, std::memcmp(reinterpret_cast<char*>(&variant) + 8, &variant.tag_, 4));
    EXPECT_EQ(reinterpret_cast<char*>(&variant) + 16, reinterpret_cast<char*>(&variant.block_));
    variant.reset();
    EXPECT_TRUE(variant.isEmpty() && !variant.block_);
}

TEST(Abi, DictionariesKeepTheirFields)
{
    PXDictionary dictionary;
    void* fields[6] = {};
    dictionary.setIntValue(CFSTR("key"), 1);
    std::memcpy(fields, static_cast<void*>(&dictionary), sizeof(fields));
    EXPECT_NE(nullptr, fields[1]);
    EXPECT_EQ(fields[1], fields[2]);
    EXPECT_EQ(nullptr, fields[3]);
    CFArrayRef keys = dictionary.getKeys(), values = dictionary.getValues();
    std::memcpy(fields, static_cast<void*>(&dictionary), sizeof(fields));
    EXPECT_EQ(keys, fields[3]);
    EXPECT_EQ(values, fields[4]);
    EXPECT_EQ(1, reinterpret_cast<const char*>(&dictionary)[40]);
}

TEST(Abi, ColorProfilesKeepTheirFields)
{
    struct Fields {
        void* table;
        int32_t count;
        void* profile;
        int32_t gridSize;
        CFStringRef description, name;
        CFDataRef rawData;
        uint32_t standard;
        CBaseCore* lock;
    };
    const Profile handle;
    const auto* fields = reinterpret_cast<Fields*>(PXColorProfile(handle));
    IImageColorProfile& profile = *px::ToProfile(handle);
    EXPECT_EQ(0U, profile.CreateStandard(kPXColorStandardSRGB));
    EXPECT_EQ(1, fields->count);
    EXPECT_EQ(32, fields->gridSize);
    EXPECT_EQ(kPXColorStandardSRGB, fields->standard);
    EXPECT_EQ(kPXColorStandardSRGB, profile.GetStandard());
    EXPECT_EQ(1, fields->lock->RetainCount());
    EXPECT_EQ(fields->profile, profile.GetHandle());
    EXPECT_EQ(fields->name, profile.GetName());
    EXPECT_TRUE(CFEqual(fields->description, kPXColorProfileDisplayNameSRGB));
    EXPECT_EQ(uint32_t{cmsSigDisplayClass}, profile.GetDeviceClass());
    EXPECT_EQ(nullptr, fields->rawData);
    profile.Clear();
    EXPECT_FALSE(profile.IsValid());
}

TEST(Abi, ColorCubesKeepTheirFields)
{
    struct Fields {
        void* table;
        int32_t count;
        uint32_t mode, gridSize;
        CFDataRef samples;
        PXColorProfile source, destination;
    };
    const Profile profile(kPXColorStandardSRGB);
    PXColorCube cube = PXColorCubeCreateFromProfiles(profile, profile, 2);
    const auto* fields = reinterpret_cast<const Fields*>(cube);
    EXPECT_EQ(2U, fields->mode);
    EXPECT_EQ(32U, fields->gridSize);
    EXPECT_TRUE(fields->source == profile && fields->destination == profile);
    EXPECT_EQ(fields->samples, PXColorCubeGetDataRef(cube));
    EXPECT_NE(nullptr, fields->samples);
    PXColorCubeSetMode(cube, 5);
    EXPECT_EQ(5U, fields->mode);
    EXPECT_EQ(5U, PXColorCubeGetMode(cube));
    PXColorCubeRelease(cube);
}

// Flat functions take other ways to these.
TEST(Abi, ColorProfilesRefuseWhatIsMissing)
{
    const Profile handle;
    const IImageColorProfile& profile = *px::ToProfile(handle);
    const PXRect rect = {0, 0, 1, 1};
    void* transform = nullptr;
    EventLog events;
    EXPECT_EQ(kPXErrNotFound, px::ToProfile(handle)->OpenFile(CFSTR("/none")));
    for (const PXStatus status :
         {profile.ApplyToImageRect(nullptr, nullptr, rect), profile.ApplyToImage(nullptr, nullptr),
          profile.ConvertImage(nullptr, nullptr, nullptr, rect, 0),
          profile.ConvertImageInBands(nullptr, nullptr, nullptr, rect, 2, 0),
          profile.CreateImageTransform(nullptr, nullptr, nullptr, 0, &transform)}) {
        EXPECT_EQ(kPXErrBadArgument, status);
    }
    EXPECT_EQ(5, events.Count(kPXErrBadArgument));
}

}  // namespace
