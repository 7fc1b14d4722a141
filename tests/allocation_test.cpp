// Blocks of pixels, tiles, files and bodies report it when memory runs out: each large allocation
// of each kind of work fails once, in its turn, and the work then ends with a failure or without
// harm, gives all its blocks back, and succeeds when it is done again. Small allocations may end
// the process and do not fail here.

#include "support/FakePlatform.h"
#include "support/Test.h"
#include "support/Works.h"

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

INSTANTIATE_TEST_SUITE_P(Works, Allocation, testing::ValuesIn(kWorks),
                         testing::PrintToStringParamName());

}  // namespace
