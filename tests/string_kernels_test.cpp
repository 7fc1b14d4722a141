#include "StringKernels.h"

#include "support/Test.h"

namespace {

using px::cf::FoundAt;
using px::cf::StringKernels;

void ForEach(const std::function<void(const StringKernels&)>& check)
{
    px::cf::ForEachStringKernels(
        [](const StringKernels& kernels, void* context) {
            SCOPED_TRACE(kernels.name);
            (*static_cast<const std::function<void(const StringKernels&)>*>(context))(kernels);
        },
        const_cast<std::function<void(const StringKernels&)>*>(&check));
}

char16_t Lower(char16_t unit)
{
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
}

// The definition of the search: the first place that matches or folds to ASCII.
template <class T>
FoundAt PlainFind(const std::vector<T>& text, const std::vector<T>& needle, bool foldsCase)
{
    for (size_t at = 0; at < text.size(); ++at) {
        if (foldsCase && px::cf::FoldsToAscii(text[at])) return {at, false};
        bool stands = at + needle.size() <= text.size();
        for (size_t i = 0; stands && i < needle.size(); ++i) {
            const T unit = text[at + i];
            stands = (foldsCase ? Lower(unit) : unit) == needle[i];
        }
        if (stands) return {at, true};
    }
    return {text.size(), false};
}

template <class T>
void CheckFind(const StringKernels& kernels, const std::u16string& textUnits,
               const std::u16string& needleUnits, bool foldsCase)
{
    // In blocks of exactly their size, so that a sanitizer sees every step beyond them.
    const std::vector<T> text(textUnits.begin(), textUnits.end());
    const std::vector<T> needle(needleUnits.begin(), needleUnits.end());
    const auto find = [&] {
        if constexpr (sizeof(T) == 1)
            return foldsCase ? kernels.findFold8 : kernels.find8;
        else
            return foldsCase ? kernels.findFold16 : kernels.find16;
    }();
    const FoundAt got = find(text.data(), text.size(), needle.data(), needle.size());
    const FoundAt want = PlainFind(text, needle, foldsCase);
    ASSERT_EQ(want.position, got.position) << text.size() << " " << needle.size();
    ASSERT_EQ(want.isMatch, got.isMatch) << text.size() << " " << needle.size();
}

TEST(StringKernels, FindAgreesWithThePlainLoop)
{
    std::mt19937_64 random(px::test::Seed(11));
    // Few different units, so that heads and tails agree often; 0xDF folds to ASCII, 0xE1 would
    // look like "A" with its case bit set.
    const std::u16string narrowUnits = u"abABcs@`\u00DF\u00E1";
    const std::u16string wideUnits = narrowUnits + u"\u212A\uFB00\uFB06\uFB07\u0161\u6161";
    ForEach([&](const StringKernels& kernels) {
        for (int round = 0; round < 6000; ++round) {
            const bool isCommon = random() % 4 != 0;
            const auto pick = [&](const std::u16string& units) {
                return units[random() % (isCommon ? 4 : units.size())];
            };
            std::u16string narrow(random() % 160, u' ');
            for (auto& unit : narrow) unit = pick(narrowUnits);
            std::u16string wide(narrow.size(), u' ');
            for (auto& unit : wide) unit = pick(wideUnits);
            std::u16string needle(1 + random() % 6, u' ');
            for (auto& unit : needle) unit = u"abcs@"[random() % 5];
            for (const bool foldsCase : {false, true}) {
                CheckFind<uint8_t>(kernels, narrow, needle, foldsCase);
                CheckFind<uint16_t>(kernels, wide, needle, foldsCase);
                if (testing::Test::HasFatalFailure()) return;
            }
        }
    });
}

TEST(StringKernels, CopiesAndScansEveryLengthUpToTheLastUnit)
{
    ForEach([](const StringKernels& kernels) {
        for (size_t length = 0; length <= 200; ++length) {
            for (const size_t odd : {length, length / 2, length ? length - 1 : 0}) {
                std::vector<uint16_t> units(length, 'x');
                if (odd < length) units[odd] = 0x100 + 'y';
                const std::vector<uint8_t> low(units.begin(), units.end());
                std::vector<uint8_t> bytes(length, 0);
                ASSERT_EQ(odd, kernels.copyAscii(units.data(), length, bytes.data()));
                ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + ptrdiff_t(odd), low.begin()));
                kernels.narrow(units.data(), length, bytes.data());
                ASSERT_EQ(low, bytes);
                uint16_t all = 0;
                for (const uint16_t unit : units) all |= unit;
                ASSERT_EQ(all, kernels.unionOf(units.data(), length));
                std::vector<uint16_t> widened(length, 0);
                kernels.widen(bytes.data(), length, widened.data());
                ASSERT_EQ(std::vector<uint16_t>(low.begin(), low.end()), widened);
                if (odd < length) bytes[odd] = 0x80;
                ASSERT_EQ(odd, kernels.asciiPrefix(bytes.data(), length));
            }
        }
    });
}

TEST(StringKernels, ForcingRunsEveryTableOnce)
{
    std::vector<std::string> names;
    ForEach([&](const StringKernels& kernels) { names.push_back(kernels.name); });
    ASSERT_FALSE(names.empty());
    const std::string chosen = px::cf::Kernels().name;
    EXPECT_EQ(1, std::count(names.begin(), names.end(), chosen));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names.end(), std::adjacent_find(names.begin(), names.end()))
        << "two instruction sets ran the same table";
}

}  // namespace
