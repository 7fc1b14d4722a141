#include "PXAccelerate/PXAccelerate.h"

#include "PXAccelerate/DotProducts.h"
#include "support/FakePlatform.h"
#include "support/Test.h"

namespace {

using namespace px::test;

// Leaves of a made-up processor; asking for one that it does not announce is a fault.
std::map<uint32_t, std::vector<uint32_t>> leaves;

class AccelerateTest : public testing::Test {
protected:
    AccelerateTest()
    {
        leaves.clear();
        table_->processorLeaf = [](uint32_t leaf, uint32_t subleaf, uint32_t registers[4]) {
            EXPECT_EQ(0U, subleaf);
            EXPECT_TRUE(leaves.count(leaf)) << std::hex << leaf;
            for (size_t i = 0; i < 4; ++i)
                registers[i] = leaves[leaf].empty() ? 0 : leaves[leaf][i];
            return true;
        };
    }
    ~AccelerateTest() override
    {
        table_->processorLeaf = px::os::NativeTable().processorLeaf;
        PXAccelerateInit();
        PXAccelerateShutdown();
    }

    // The mask of a processor with one bit set in one register.
    static PXCPUCapabilities With(uint32_t leaf, size_t where, uint32_t bit)
    {
        leaves = {{0, {7, 0, 0, 0}}, {0x80000000, {0x80000001, 0, 0, 0}}};
        leaves[1] = leaves[7] = leaves[0x80000001] = {0, 0, 0, 0};
        leaves[leaf][where] = 1U << bit;
        EXPECT_EQ(0, PXAccelerateInit());
        return PXAccelerateCPUCapabilities();
    }

    FakeTable table_;
};

TEST_F(AccelerateTest, EachFeatureHasItsOwnBit)
{
    const uint32_t kExtended = 0x80000001;
    // In the order of their bits in the mask.
    const Rows<uint32_t, size_t, uint32_t> rows = {
        // clang-format off
        {"MMX", 1, 3, 23}, {"SSE", 1, 3, 25}, {"SSE2", 1, 3, 26}, {"SSE3", 1, 2, 0},
        {"SSSE3", 1, 2, 9}, {"SSE4.1", 1, 2, 19}, {"SSE4.2", 1, 2, 20},
        {"SSE4a", kExtended, 2, 6}, {"AVX", 1, 2, 28}, {"AVX2", 7, 1, 5}, {"AVX-512 F", 7, 1, 16},
        {"AVX-512 CD", 7, 1, 28}, {"AVX-512 PF", 7, 1, 26}, {"AVX-512 ER", 7, 1, 27},
        {"AVX-512 VL", 7, 1, 31}, {"AVX-512 BW", 7, 1, 30}, {"AVX-512 DQ", 7, 1, 17},
        {"AVX-512 IFMA", 7, 1, 21}, {"AVX-512 VBMI", 7, 2, 1}, {"FMA", 1, 2, 12},
        {"FMA4", kExtended, 2, 16}, {"XOP", kExtended, 2, 11}, {"LZCNT", kExtended, 2, 5},
        {"AES", 1, 2, 25}, {"RDRAND", 1, 2, 30}, {"BMI1", 7, 1, 3}, {"BMI2", 7, 1, 8},
        {"ADX", 7, 1, 19}, {"SHA", 7, 1, 29}, {"PREFETCHWT1", 7, 2, 0},
        {"long mode", kExtended, 3, 29},
        // clang-format on
    };
    PXCPUCapabilities want = 1;
    for (const auto& [name, leaf, where, bit] : rows) {
        SCOPED_TRACE(name);
        EXPECT_EQ(want, With(leaf, where, bit));
        EXPECT_EQ(want == 0x100 ? 32U : 16U, PXAccelerateAlignment());
        want <<= 1;
    }
    EXPECT_EQ(0x80000000U, want);
    EXPECT_EQ(0U, With(7, 2, 31)) << "a bit without meaning";
}

TEST_F(AccelerateTest, ReadsNoLeafThatIsNotThere)
{
    const std::vector<uint32_t> all(4, ~0U);
    const PXCPUCapabilities leaf1 = 0x818001FF & ~0x80000080ULL;
    const Rows<uint32_t, uint32_t, PXCPUCapabilities> rows = {
        {"no leaves", 0, 0, 0},
        {"up to 6", 6, 0x80000000, leaf1 | 0x80000 | 0x1000000},
        {"extended alone", 0, 0x80000001, 0x40700080},
    };
    for (const auto& [name, most, mostExtended, allowed] : rows) {
        SCOPED_TRACE(name);
        leaves = {{0, {most, 0, 0, 0}}, {0x80000000, {mostExtended, 0, 0, 0}}};
        if (most > 0) leaves[1] = all;
        if (mostExtended > 0x80000000) leaves[0x80000001] = all;
        PXAccelerateInit();
        EXPECT_EQ(0U, PXAccelerateCPUCapabilities() & ~allowed);
        EXPECT_EQ(allowed != 0, PXAccelerateCPUCapabilities() != 0);
    }
}

TEST_F(AccelerateTest, RoundsAndAllocatesToTheAlignment)
{
    for (const uint64_t alignment : {16U, 32U}) {
        With(1, 2, alignment == 32 ? 28 : 0);
        EXPECT_EQ(0U, PXAccelerateAlignBytes(0));
        EXPECT_EQ(alignment, PXAccelerateAlignBytes(1));
        EXPECT_EQ(alignment, PXAccelerateAlignBytes(alignment));
        EXPECT_EQ(2 * alignment, PXAccelerateAlignBytes(alignment + 1));
        EXPECT_EQ(UINT64_MAX - alignment + 1, PXAccelerateAlignBytes(UINT64_MAX));
        for (const uint64_t size : {uint64_t{0}, uint64_t{1}, uint64_t{1000}}) {
            auto* block = static_cast<unsigned char*>(PXAccelerateAlloc(size));
            ASSERT_NE(nullptr, block);
            EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(block) % alignment);
            for (uint64_t i = 0; i < PXAccelerateAlignBytes(size); ++i) EXPECT_EQ(0, block[i]);
            PXAccelerateFree(block);
        }
        EXPECT_EQ(nullptr, PXAccelerateAlloc(UINT64_MAX));
    }
    PXAccelerateFree(nullptr);
    table_->allocateAligned = [](size_t, size_t) -> void* { return nullptr; };
    EXPECT_EQ(nullptr, PXAccelerateAlloc(16));
}

TEST_F(AccelerateTest, InstallsVectorDotProductsWithSSE2Alone)
{
    PXAccelerateDot = px::DotScalar;
    PXAccelerateDot4 = px::Dot4Scalar;
    With(1, 3, 25);
    EXPECT_EQ(px::DotScalar, PXAccelerateDot);
    EXPECT_EQ(0, PXAccelerateDSPInit());
    EXPECT_EQ(px::Dot4Scalar, PXAccelerateDot4);
    With(1, 3, 26);
    EXPECT_EQ(px::DotVector, PXAccelerateDot);
    EXPECT_EQ(px::Dot4Vector, PXAccelerateDot4);
}

TEST(DotProducts, AddInThePromisedOrder)
{
    std::mt19937_64 random(Seed(31));
    std::uniform_real_distribution<float> values(-1000, 1000);
    for (int n = -1; n <= 67; ++n) {
        const auto count = static_cast<size_t>(n < 0 ? 0 : n);
        std::vector<std::vector<float>> rows(5, std::vector<float>(count));
        for (auto& row : rows) {
            for (float& value : row) value = values(random);
        }
        const float* const four[] = {rows[1].data(), rows[2].data(), rows[3].data(),
                                     rows[4].data()};
        float scalar[4] = {9, 9, 9, 9};
        float vector[4] = {9, 9, 9, 9};
        px::Dot4Scalar(rows[0].data(), four, scalar, n);
        px::Dot4Vector(rows[0].data(), four, vector, n);
        for (size_t k = 0; k < 4; ++k) {
            float inOrder = 0;
            float lanes[4] = {};
            const size_t whole = count / 4 * 4;
            for (size_t i = 0; i < count; ++i) {
                const float product = rows[0][i] * four[k][i];
                inOrder += product;
                if (i < whole) lanes[i % 4] += product;
            }
            float inLanes = (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]);
            for (size_t i = whole; i < count; ++i) inLanes += rows[0][i] * four[k][i];
            EXPECT_EQ(inOrder, scalar[k]);
            EXPECT_EQ(inOrder, px::DotScalar(rows[0].data(), four[k], n));
            EXPECT_EQ(inLanes, vector[k]);
            EXPECT_EQ(inLanes, px::DotVector(rows[0].data(), four[k], n));
        }
    }
}

}  // namespace
