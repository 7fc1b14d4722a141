// Blocks of pixels, tiles, files and bodies report it when memory runs out: each large allocation
// of each kind of work fails once, in its turn, and the work then ends with a failure or without
// harm, gives all its blocks back, and succeeds when it is done again. Small allocations may end
// the process and do not fail here.

#include "Base/Ref.h"
#include "PXCore/PXColorCube.h"
#include "PXCore/PXColorProfileImages.h"
#include "PXCore/PXHttpMessage.h"
#include "PXCore/PXImageAffineTransform.h"
#include "PXCore/PXImageDerived.h"
#include "PXCore/PXImageStream.h"
#include "PXCore/PXStream.h"
#include "PXCore/PXUtils.h"
#include "support/FakePlatform.h"
#include "support/Images.h"
#include "support/Test.h"

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void* malloc(size_t size) noexcept;
void* calloc(size_t count, size_t size) noexcept;
void* realloc(void* block, size_t size) noexcept;
void* aligned_alloc(size_t alignment, size_t size) noexcept;
int posix_memalign(void** block, size_t alignment, size_t size) noexcept;
}

namespace {

constexpr size_t kLarge = 32 << 10;
constexpr int kNone = -1;
std::atomic<int> countdown{kNone};  // 0: the next large allocation fails

bool MayHave(size_t size)
{
    if (size < kLarge || countdown.load() == kNone) return true;
    return countdown.fetch_sub(1) != 0;
}

}  // namespace

void* malloc(size_t size) noexcept
{
    return MayHave(size) ? __libc_malloc(size) : nullptr;
}
void* calloc(size_t count, size_t size) noexcept
{
    return MayHave(count * size) ? __libc_calloc(count, size) : nullptr;
}
void* realloc(void* block, size_t size) noexcept
{
    return MayHave(size) ? __libc_realloc(block, size) : nullptr;
}
void* aligned_alloc(size_t alignment, size_t size) noexcept
{
    return MayHave(size) ? __libc_memalign(alignment, size) : nullptr;
}
int posix_memalign(void** block, size_t alignment, size_t size) noexcept
{
    *block = MayHave(size) ? __libc_memalign(alignment, size) : nullptr;
    return *block ? 0 : ENOMEM;
}

namespace {

using namespace px::test;

const std::string kLetters(300000, 'y');
constexpr PXRect kBounds = {0, 0, 700, 500};

// What a step answers, PXStatus or int.
bool Good(auto status)
{
    return status == 0;
}

Image Picture(PXDataSourceType source, int32_t depth = 8, int32_t planes = 4)
{
    PXImage image = nullptr;
    PXImageCreateWithParams2(kBounds, depth, planes, kPXColorSpaceByChannels, kPXTransparencyNone,
                             source, &image);
    return Image(image);
}

bool Filled(PXImage image)
{
    if (!image) return false;
    std::vector<uint8_t> row(static_cast<size_t>(RowBytes(image, kBounds.width)), 77);
    for (int32_t y = 0; y < kBounds.height; ++y) {
        if (!Good(PXImageWrite2(image, {0, y, kBounds.width, 1}, row.data(),
                                static_cast<int64_t>(row.size()))))
            return false;
    }
    return true;
}

template <PXDataSourceType source>
bool MakeAndCopy()
{
    const Image image = Picture(source);
    PXImage copy = nullptr;
    const bool isGood = Filled(image) && Good(PXImageCreateCopy(image, &copy)) && Filled(copy);
    PXImageRelease(copy);
    return isGood;
}

bool Scale()
{
    const Image image = Picture(kPXDataSourceMemory);
    PXImage scaled = nullptr;
    const bool isGood =
        image && Good(PXImageCreateScaled(image, {0, 0, 300, 900}, nullptr, &scaled));
    PXImageRelease(scaled);
    return isGood;
}

bool Turn()
{
    const Image image = Picture(kPXDataSourceTiled);
    const Image turned = Picture(kPXDataSourceMemory);
    return Filled(image) && turned &&
           Good(PXImageTransformImage(image, turned, kBounds, {0, -1, 1, 0, 500, 0}, nullptr));
}

bool Convert()
{
    const Image image = Picture(kPXDataSourceTiled, 16, 3);
    const auto from = PXColorProfileCreateStandard(kPXColorStandardSRGB);
    const auto to = PXColorProfileCreateStandard(kPXColorStandardProPhoto);
    const bool isGood = Filled(image) && Good(PXColorProfileConvertProfile(
                                             from, to, image, image, kBounds, kPXIntentPerceptual));
    PXColorProfileRelease(from);
    PXColorProfileRelease(to);
    return isGood;
}

bool Cube()
{
    const auto from = PXColorProfileCreateStandard(kPXColorStandardSRGB);
    const auto to = PXColorProfileCreateStandard(kPXColorStandardAdobeRGB1998);
    PXColorCube cube = PXColorCubeCreateFromProfiles(from, to, 2);
    const Owned<CFDataRef> file(cube ? PXColorCubeCreateFileData(cube, CFSTR("title")) : nullptr);
    PXColorCube again = file ? PXColorCubeCreateFromFileData(file) : nullptr;
    const bool isGood = again != nullptr;
    PXColorCubeRelease(again);
    PXColorCubeRelease(cube);
    PXColorProfileRelease(from);
    PXColorProfileRelease(to);
    return isGood;
}

bool Stream()
{
    const Image image = Picture(kPXDataSourceTiled);
    PXStream stream = nullptr;
    PXImage again = nullptr;
    const bool isGood = Filled(image) && Good(PXStreamCreateForData(nullptr, &stream)) &&
                        Good(PXStreamOpen(stream)) && Good(PXImageWriteToStream(image, stream)) &&
                        Good(PXStreamSetPos2(stream, 0)) &&
                        Good(PXImageCreateFromStream(stream, &again));
    PXImageRelease(again);
    PXStreamRelease(stream);
    return isGood;
}

bool Message()
{
    const auto body = DataOf(kLetters);
    if (!body) return false;
    PXHttpMessage message = PXHttpMessageCreateRequest(CFSTR("PUT"), CFSTR("/x"), nullptr);
    PXHttpMessageSetContentBinary(message, body);
    PXStream stream = nullptr;
    PXHttpMessage again = PXHttpMessageCreate(kHTTPMessageRequest);
    const bool isGood = Good(PXStreamCreateForData(nullptr, &stream)) &&
                        Good(PXStreamOpen(stream)) && Good(PXHttpMessageWrite(message, stream)) &&
                        Good(PXStreamSetPos2(stream, 0)) && Good(PXHttpMessageRead(again, stream));
    PXHttpMessageRelease(again);
    PXHttpMessageRelease(message);
    PXStreamRelease(stream);
    return isGood;
}

bool List()
{
    const auto text = Text(kLetters);
    if (!text) return false;
    bool isGood = true;
    for (const auto format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        const Owned<CFDataRef> data(
            CFPropertyListCreateData(nullptr, ArrayOf({text}), format, 0, nullptr));
        const Owned<CFPropertyListRef> again(
            data ? CFPropertyListCreateWithData(nullptr, data, 0, nullptr, nullptr) : nullptr);
        isGood = isGood && again;
    }
    return isGood;
}

struct Work {
    const char* name;
    bool (*run)();
};

void PrintTo(const Work& work, std::ostream* out)
{
    *out << work.name;
}

class Allocation : public testing::TestWithParam<Work> {};

TEST_P(Allocation, ALargeOneThatFailsHurtsNobody)
{
    constexpr int kMost = 5000;
    // The blocks that the table gives are those of images and tiles.
    FakeTable table;
    table->reserveBlock = [](size_t size) -> void* {
        return MayHave(size) ? px::os::NativeTable().reserveBlock(size) : nullptr;
    };
    // Some blocks are kept for the next run, which then begins at another allocation.
    int runs = 0, failures = 0;
    for (int pass = 0; pass < 2; ++pass) {
        bool hasFailed = true;
        for (int k = 0; hasFailed; ++k, ++runs) {
            ASSERT_LT(k, kMost);
            EventLog log;
            countdown = k;
            const bool isGood = GetParam().run();
            hasFailed = countdown.exchange(kNone) < 0;
            EXPECT_TRUE(isGood || hasFailed);
            failures += !isGood;
            ASSERT_TRUE(GetParam().run()) << "after failure " << k;
        }
    }
    EXPECT_TRUE(failures > 0 || runs == 2);  // nothing is allocated where all is kept already
}

INSTANTIATE_TEST_SUITE_P(Works, Allocation,
                         testing::Values(Work{"memory", MakeAndCopy<kPXDataSourceMemory>},
                                         Work{"tiles", MakeAndCopy<kPXDataSourceTiled>},
                                         Work{"scale", Scale}, Work{"turn", Turn},
                                         Work{"convert", Convert}, Work{"cube", Cube},
                                         Work{"stream", Stream}, Work{"message", Message},
                                         Work{"list", List}),
                         testing::PrintToStringParamName());

}  // namespace
