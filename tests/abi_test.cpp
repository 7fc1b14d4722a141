// Sizes, offsets and slots that callers were compiled against.

#include "Base/BaseCore.h"
#include "Base/PXLog.h"
#include "Base/PXThread.h"
#include "Base/Stream.h"
#include "Base/TaskQueue.h"
#include "Base/Task.h"
#include "PXAccelerate/PXBlitter.h"
#include "PXCore/PXBezierCurve.h"
#include "PXCore/PXColor.h"
#include "PXCore/PXColorCube.h"
#include "PXCore/PXColorProfile.h"
#include "PXCore/PXDictionary.h"
#include "PXCore/PXPreset.h"
#include "PXCore/PXString.h"
#include "PXCore/PXVariant.h"
#include "PXCore/PXVariantPointerContainer.h"
#include "support/Images.h"
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

// Calls a virtual function through its slot, as a caller compiled long ago does. The destructor
// takes the first two.
template <class Result, class... Arguments>
Result CallSlot(void* object, size_t slot, Arguments... arguments)
{
    void** table = nullptr;
    std::memcpy(&table, object, sizeof(table));
    Result (*function)(void*, Arguments...) = nullptr;
    std::memcpy(&function, &table[slot], sizeof(function));
    return function(object, arguments...);
}

TEST(Abi, CountedObjectsKeepTheirSlots)
{
    const Image image = Created(PXImageCreate);
    EXPECT_EQ(2, CallSlot<int32_t>(image.get(), 2));
    EXPECT_EQ(2, PXImageGetRetainCount(image));
    EXPECT_EQ(1, CallSlot<int32_t>(image.get(), 3));
    EXPECT_EQ(1, PXImageGetRetainCount(image));
}

// Fields laid open.
struct OpenVariant : PXVariant {
    using PXVariant::block_;
    using PXVariant::tag_;
};

TEST(Abi, VariantsKeepTheirSlotsAndFields)
{
    constexpr size_t kTests = 2, kAccessors = 25, kAssign = 47, kClear = 48, kCreators = 49;
    constexpr size_t kReset = 71;
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
    CallSlot<void>(&variant, kReset);
    EXPECT_TRUE(variant.isEmpty() && !variant.block_);

    CallSlot<void>(&variant, kCreators + 5 - 1, int32_t{-9});
    EXPECT_EQ(-9, variant.int32Value());
    variant.tag_ = 5;
    CallSlot<void>(&variant, kClear);
    const PXRect rect = {1, 2, 3, 4};
    CallSlot<void>(&variant, kCreators + 14 - 1, &rect);
    EXPECT_EQ(4, variant.pxRectValue().height);
    variant.tag_ = 14;
    PXVariantPointerContainer container(nullptr);
    const PXVariant source(&container);
    CallSlot<void*>(&variant, kAssign, &source);
    EXPECT_EQ(3, container.RetainCount());
    CallSlot<void>(&variant, kClear);
    CallSlot<void>(&variant, kCreators + 22 - 1, &container);
    EXPECT_EQ(3, container.RetainCount());
    CallSlot<void>(&variant, kClear);
    CallSlot<void>(&variant, kReset);
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

// Tells which of its virtual functions was called.
class SlotPreset final : public PXPreset {
public:
    char called = 0;

private:
    void initializePresetData() override { called = 'z'; }
    PXStatus initWithPresetData(CFDictionaryRef) override { return Called('i'); }
    void reservedOperation() override { called = 'r'; }
    CFDictionaryRef presetData() override
    {
        called = 'p';
        return nullptr;
    }
    PXStatus applyToImage(PXImage, PXImage, int32_t, PXImage, PXImage, PXRect, int32_t) override
    {
        return Called('a');
    }
    void deletePreset() override { called = 'd'; }
    bool isFactoryPreset() override { return Called('f') != 0; }
    void addModuleData(CFMutableDictionaryRef) override { called = 'm'; }
    PXStatus initWithPresetRawData(CFDataRef) override { return Called('w'); }
    PXStatus Called(char name)
    {
        called = name;
        return 1;
    }
};

TEST(Abi, PresetsKeepTheirSlots)
{
    SlotPreset preset;
    std::string called;
    const auto call = [&](void* object, size_t slot) {
        CallSlot<int>(object, slot, nullptr, nullptr, nullptr, nullptr, nullptr, 0L, 0L);
        called += preset.called;
    };
    PXPreset* asPreset = &preset;
    PXPresetModule* asModule = &preset;
    for (size_t slot = 2; slot < 10; ++slot) call(asPreset, slot);
    for (size_t slot = 2; slot < 4; ++slot) call(asModule, slot);
    EXPECT_EQ("irpadfmwza", called);
}

TEST(Abi, CurvesArePresetsAndCounted)
{
    PXBezierCurve curve(1, 16, 2);
    PXPreset* asPreset = &curve;
    CBaseCore* asCounted = &curve;
    EXPECT_EQ(static_cast<void*>(&curve), asCounted);
    EXPECT_EQ(2, CallSlot<int32_t>(asCounted, 2));
    CallSlot<void>(asPreset, 6);
    EXPECT_EQ(1, curve.RetainCount());
    EXPECT_EQ(CallSlot<const void*>(asPreset, 4), curve.presetData());
}

TEST(Abi, ColoursKeepTheirSlots)
{
    PXColor colour;
    EXPECT_TRUE(CallSlot<bool>(&colour, 2));
    for (int32_t channel = 0; channel < 4; ++channel)
        CallSlot<void>(&colour, 13 + static_cast<size_t>(channel), 10 + channel);
    for (int32_t channel = 0; channel < 4; ++channel) {
        const auto slot = static_cast<size_t>(channel);
        EXPECT_EQ(10 + channel, CallSlot<int32_t>(&colour, 4 + slot));
        EXPECT_EQ(static_cast<float>((10 + channel) / 255.0), CallSlot<float>(&colour, 8 + slot));
    }
    CallSlot<void>(&colour, 17, 1, 2, 3, 4);
    EXPECT_TRUE(colour == PXColor(1, 2, 3, 4));
    CallSlot<void>(&colour, 3);
    PXColor other(5, 6, 7, 8);
    EXPECT_TRUE(CallSlot<bool>(&colour, 20, &other) && !CallSlot<bool>(&colour, 19, &other));
    CallSlot<void*>(&colour, 18, &other);
    EXPECT_TRUE(colour == other);
    const void* dictionary = CallSlot<const void*>(&other, 22);
    colour.clear();
    EXPECT_EQ(0, CallSlot<int>(&colour, 21, dictionary));
    EXPECT_TRUE(colour == other);
    CallSlot<void>(&colour, 23);
    EXPECT_FALSE(colour.isValid());
}

TEST(Abi, BlittersKeepTheirSlots)
{
    PXBlitter blitter = nullptr;
    ASSERT_EQ(0, PXBlitterCreate({0, 0, 40, 30}, {0, 0, 20, 10}, 2, 8, 1, &blitter));
    EXPECT_EQ(2, CallSlot<int32_t>(blitter, 2));
    EXPECT_EQ(1, CallSlot<int32_t>(blitter, 3));
    const PXRect rect = {3, 4, 5, 6};
    PXRect rois[4] = {};
    EXPECT_EQ(0, CallSlot<int>(blitter, 5, &rect, &rois[0], &rois[1]));
    EXPECT_EQ(0, PXBlitterGetSourceROI(blitter, rect, &rois[2], &rois[3]));
    EXPECT_EQ(0, std::memcmp(&rois[0], &rois[2], 2 * sizeof(PXRect)));
    EXPECT_EQ(6, rois[0].x);
    PXBlitterRelease(blitter);
}

// In the order of the table, after the destructor and the counting.
constexpr size_t kSetInfo = 4, kOpenFile = 5, kGetStandard = 6, kGetRawData = 7, kSetRawData = 8,
                 kGetGridSize = 9, kSetGridSize = 10, kGetColorSpaceType = 11, kIsValid = 12,
                 kGetName = 13, kSetName = 14, kCopyDescription = 15, kSetDescription = 16,
                 kCopyICCData = 17, kSetICCData = 18, kCreateStandard = 19, kLoadByName = 20,
                 kGetICCData = 21, kCreateCopy = 22, kGetDeviceClass = 23, kClear = 24,
                 kCreateSoftProofCube = 25, kCopyInfo = 26, kApplyToImageRect = 27,
                 kApplyToImage = 28, kConvertImage = 29, kConvertImageInBands = 30,
                 kConvertColor = 31, kConvertColor8 = 32, kConvertColorSoftProof = 33,
                 kCreateImageTransform = 34, kGetHandle = 35, kCreateRGBCube = 36;

TEST(Abi, ColorProfilesKeepTheirFieldsAndGetters)
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
    PXColorProfile profile = PXColorProfileCreate();
    auto* fields = reinterpret_cast<Fields*>(profile);
    EXPECT_EQ(0U, CallSlot<PXStatus>(profile, kCreateStandard, uint32_t{kPXColorStandardSRGB}));
    EXPECT_EQ(1, fields->count);
    EXPECT_EQ(32, fields->gridSize);
    EXPECT_EQ(kPXColorStandardSRGB, fields->standard);
    EXPECT_EQ(1, fields->lock->RetainCount());
    EXPECT_EQ(fields->profile, CallSlot<void*>(profile, kGetHandle));
    EXPECT_EQ(fields->name, CallSlot<CFStringRef>(profile, kGetName));
    EXPECT_TRUE(CFEqual(fields->description, kPXColorProfileDisplayNameSRGB));
    EXPECT_EQ(kPXColorStandardSRGB, CallSlot<uint32_t>(profile, kGetStandard));
    EXPECT_EQ(0x6D6E7472U, CallSlot<uint32_t>(profile, kGetDeviceClass));
    EXPECT_EQ(PXColorSpaceType{kPXColorSpaceRGB},
              CallSlot<PXColorSpaceType>(profile, kGetColorSpaceType));
    EXPECT_NE(nullptr, CallSlot<CFDataRef>(profile, kGetICCData));
    CFRelease(CallSlot<CFDataRef>(profile, kCopyICCData));
    CFRelease(CallSlot<CFDictionaryRef>(profile, kCopyInfo));
    CallSlot<void>(profile, kSetName, CFSTR("n"));
    CallSlot<void>(profile, kSetDescription, CFSTR("d"));
    CFStringRef description = CallSlot<CFStringRef>(profile, kCopyDescription);
    EXPECT_TRUE(CFEqual(CFSTR("d"), description));
    CFRelease(description);
    PXColorProfileRelease(profile);
}

// Calls a function through its slot that answers with a status.
template <class... Arguments>
void ExpectStatus(PXStatus status, void* object, size_t slot, Arguments... arguments)
{
    EXPECT_EQ(status, CallSlot<PXStatus>(object, slot, arguments...)) << slot;
}

TEST(Abi, ColorProfilesKeepTheirConversions)
{
    PXColorProfile profile = PXColorProfileCreateStandard(kPXColorStandardSRGB), copy = nullptr;
    const float grey[3] = {0.5F, 0.5F, 0.5F};
    const uint8_t grey8[3] = {99, 99, 99};
    float shown[3] = {};
    uint8_t shown8[3] = {};
    CFDataRef cube = nullptr, proof = nullptr;
    ExpectStatus(0, profile, kConvertColor, profile, &grey[0], &shown[0]);
    EXPECT_NEAR(0.5F, shown[1], 1e-3F);
    ExpectStatus(0, profile, kConvertColor8, profile, &grey8[0], &shown8[0]);
    EXPECT_EQ(99, shown8[1]);
    ExpectStatus(0, profile, kConvertColorSoftProof, profile, profile, 0, &grey[0], &shown[0]);
    ExpectStatus(0, profile, kCreateRGBCube, profile, uint32_t{2}, &cube);
    CFRelease(cube);
    ExpectStatus(0, profile, kCreateCopy, &copy);
    EXPECT_TRUE(CallSlot<bool>(copy, kIsValid));
    ExpectStatus(0, profile, kCreateSoftProofCube, profile, 0, profile, 2U, false, false, &proof);
    ExpectStatus(0, copy, kSetRawData, proof);
    EXPECT_NE(nullptr, CallSlot<CFDataRef>(copy, kGetRawData));
    CFRelease(proof);
    ExpectStatus(0, copy, kSetGridSize, int32_t{2});
    EXPECT_EQ(2, CallSlot<int32_t>(copy, kGetGridSize));
    CallSlot<void>(copy, kClear);
    EXPECT_FALSE(CallSlot<bool>(copy, kIsValid));
    PXColorProfileRelease(copy);
    PXColorProfileRelease(profile);
}

TEST(Abi, ColorCubesKeepTheirFieldsAndSlots)
{
    constexpr size_t kInitialize = 4, kGetDataRef = 5, kSetData = 6, kGetDataPtr = 7, kConvert = 8,
                     kGetSize = 9, kSetSize = 10, kGetMode = 11, kSetMode = 12, kApply = 13;
    struct Fields {
        void* table;
        int32_t count;
        uint32_t mode, gridSize;
        CFDataRef samples;
        PXColorProfile source, destination;
    };
    PXColorProfile profile = PXColorProfileCreateStandard(kPXColorStandardSRGB);
    PXColorCube cube = PXColorCubeCreate();
    const auto* fields = reinterpret_cast<const Fields*>(cube);
    EXPECT_EQ(0U, CallSlot<uint32_t>(cube, kGetMode));
    EXPECT_EQ(32U, CallSlot<uint32_t>(cube, kGetSize));
    CallSlot<void>(cube, kSetSize, uint32_t{2});
    ExpectStatus(0, cube, kInitialize, profile, profile, uint32_t{2});
    EXPECT_EQ(2U, fields->mode);
    EXPECT_EQ(2U, fields->gridSize);
    EXPECT_EQ(profile, fields->source);
    EXPECT_EQ(profile, fields->destination);
    EXPECT_EQ(fields->samples, CallSlot<CFDataRef>(cube, kGetDataRef));
    EXPECT_EQ(CFDataGetBytePtr(fields->samples), CallSlot<const uint8_t*>(cube, kGetDataPtr));
    const float white[3] = {1, 1, 1};
    float shown[3] = {};
    ExpectStatus(0, cube, kConvert, &white[0], &shown[0]);
    EXPECT_NEAR(1.0F, shown[2], 1e-3F);
    const Image image = Make({0, 0, 1, 1}, 8, 3, kPXDataSourceMemory);
    ExpectStatus(0, cube, kApply, image.get());
    CallSlot<void>(cube, kSetMode, uint32_t{5});
    CallSlot<void>(cube, kSetData, static_cast<CFDataRef>(nullptr));
    EXPECT_EQ(5U, fields->mode);
    EXPECT_EQ(nullptr, fields->samples);
    PXColorCubeRelease(cube);
    PXColorProfileRelease(profile);
}

TEST(Abi, ColorProfilesRefuseThroughTheirSlots)
{
    PXColorProfile profile = PXColorProfileCreate();
    EventLog events;
    const PXRect rect = {0, 0, 1, 1};
    const PXColorProfile none = nullptr;
    const PXImage noImage = nullptr;
    void* transform = nullptr;
    ExpectStatus(0, profile, kLoadByName, CFSTR("sRGB"));
    ExpectStatus(kPXErrNotFound, profile, kOpenFile, CFSTR("/none"));
    const auto refuses = [&](size_t slot, auto... arguments) {
        ExpectStatus(kPXErrBadArgument, profile, slot, arguments...);
    };
    refuses(kSetInfo, none);
    refuses(kSetICCData, none);
    refuses(kApplyToImageRect, noImage, none, &rect);
    refuses(kApplyToImage, noImage, none);
    refuses(kConvertImage, none, noImage, noImage, &rect, 0);
    refuses(kConvertImageInBands, none, noImage, noImage, &rect, 2, 0);
    refuses(kCreateImageTransform, none, noImage, noImage, 0, &transform);
    EXPECT_EQ(7, events.Count(kPXErrBadArgument));
    PXColorProfileRelease(profile);
}

// Tells which of its virtual functions was called.
class SlotTask final : public CBaseTask {
public:
    char called = 0;

private:
    void Run() override { called = 'R'; }
    void SetStop(bool) noexcept override { called = 'S'; }
    void TaskComplete() override { called = 'T'; }
    int Compare(CBaseTask*) override { return called = 'C'; }
};

class SlotQueue final : public CBaseTaskQueue {
public:
    char called = 0;

private:
    void PreprocessTask(CBaseTask*) override { called = 'b'; }
    void PostprocessTask(CBaseTask*) override { called = 'a'; }
    int ScheduleTask(CBaseTask*) override { return called = 's'; }
};

// What is called through the slots after the destructor and the counting.
template <class Object>
std::string CalledSlots(Object& object, size_t end)
{
    std::string called;
    for (size_t slot = 4; slot < end; ++slot) {
        CallSlot<void>(&object, slot);
        called += object.called;
    }
    return called;
}

TEST(Abi, TasksAndQueuesKeepTheirSlots)
{
    SlotTask task;
    SlotQueue queue;
    EXPECT_EQ("RSTC", CalledSlots(task, 8));
    EXPECT_EQ("bas", CalledSlots(queue, 7));
}

class SlotStream final : public CBaseStream {
public:
    char called = 0;

private:
    PXStatus Call(char name) { return static_cast<PXStatus>(called = name); }
    PXStatus Open() override { return Call('o'); }
    void Close() override { Call('c'); }
    PXStatus ReadChunk(void*, int, size_t&) override { return Call('r'); }
    PXStatus WriteChunk(const void*, size_t&) override { return Call('w'); }
    PXStatus ReadChar(char&) override { return Call('1'); }
    PXStatus WriteString(CFStringRef) override { return Call('s'); }
    PXStatus WriteStringParams(CFStringRef, ...) override { return Call('f'); }
    PXStatus ReadLine(char*&, size_t&) override { return Call('l'); }
    PXStatus GetPos(uint64_t&) override { return Call('g'); }
    PXStatus SetPos(uint64_t) override { return Call('p'); }
    PXStatus GetLength(uint64_t&) override { return Call('n'); }
    PXStatus Skip(uint64_t) override { return Call('k'); }
    PXStatus SetBuffer(CFDataRef) override { return Call('b'); }
    PXStatus SetCaching(bool) override { return Call('h'); }
    PXStatus CreateCopy(CBaseStream*&) override { return Call('y'); }
    bool IsEOF() override { return Call('e') != 0; }
    PXStatus readPropertyListCopy(CFOptionFlags, CFPropertyListRef&) override { return Call('L'); }
    PXStatus WriteParts(const CBaseStreamPart*, size_t) override { return Call('P'); }
};

TEST(Abi, StreamsKeepTheirSlots)
{
    SlotStream stream;
    EXPECT_EQ("ocrw1sflgpnkbhyeLP", CalledSlots(stream, 22));
}

}  // namespace
