#include "PXCore/PXBezierCurve.h"
#include "PXCore/PXUtils.h"
#include "support/Test.h"
#include "support/ValueTest.h"

namespace {

using namespace px::test;
using testing::Each;

class Curve : public ValueTest {};

constexpr PXPointF kEmpty = {-1, -1};

long IndexOf(long double value)
{
    return static_cast<long>(std::floor(value + 0.5L));
}

long double& At(std::vector<long double>& samples, long index)
{
    return samples[static_cast<size_t>(index)];
}

// The rules word by word, each sample from its own formula, in long double.
std::vector<long double> NaiveSamples(const std::vector<PXPointF>& slots, long sampleCount,
                                      const std::vector<float>& former)
{
    std::vector<PXPointF> a;
    for (const PXPointF& point : slots)
        if (point.x >= 0) a.push_back(point);
    std::vector<long double> samples(former.begin(), former.end());
    if (a.empty()) return samples;
    const long double last = sampleCount - 1;
    for (long i = 0; i < sampleCount; ++i) {
        if (i < IndexOf(last * a.front().x)) At(samples, i) = a.front().y;
        if (i >= IndexOf(last * a.back().x)) At(samples, i) = a.back().y;
    }
    for (size_t s = 0; s + 1 < a.size(); ++s) {
        const PXPointF& previous = a[s == 0 ? 0 : s - 1];
        const PXPointF& next = a[std::min(s + 2, a.size() - 1)];
        const bool hasPrevious = s > 0, hasNext = s + 2 < a.size();
        const long double x1 = a[s].x, y1 = a[s].y, x2 = a[s + 1].x, y2 = a[s + 1].y, d = x2 - x1;
        const long double inner1 = y1 + (y2 - previous.y) / (x2 - previous.x) * d / 3;
        const long double inner2 = y2 - (next.y - y1) / (next.x - x1) * d / 3;
        const long double c1 = hasPrevious ? inner1
                               : hasNext   ? (y1 + inner2) / 2
                                           : y1 + (y2 - y1) / 3;
        const long double c2 = hasNext       ? inner2
                               : hasPrevious ? (inner1 + y2) / 2
                                             : y1 + 2 * (y2 - y1) / 3;
        for (long i = 0; i <= IndexOf(last * d); ++i) {
            const long double t = i / d / last;
            const long double value = std::pow(1 - t, 3) * y1 + 3 * std::pow(1 - t, 2) * t * c1 +
                                      3 * (1 - t) * t * t * c2 + t * t * t * y2;
            const long index = IndexOf(last * x1) + i;
            if (index < sampleCount) At(samples, index) = std::min(std::max(value, 0.0L), 1.0L);
        }
    }
    for (const PXPointF& point : a) At(samples, IndexOf(last * point.x)) = point.y;
    return samples;
}

std::vector<PXPointF> RandomSlots(std::mt19937_64& random, int slotCount)
{
    std::uniform_real_distribution<double> unit(0, 1);
    std::vector<PXPointF> slots(static_cast<size_t>(slotCount), kEmpty);
    const double density = unit(random);
    for (int slot = 0; slot < slotCount; ++slot) {
        if (unit(random) > density) continue;
        const double within =
            slotCount == 1 ? unit(random) : (slot + unit(random) * 0.98 - 0.49) / (slotCount - 1);
        const double y = random() % 4 ? unit(random) : static_cast<double>(random() % 2);
        slots[static_cast<size_t>(slot)] = {
            static_cast<float>(std::min(std::max(within, 0.0), 1.0)), static_cast<float>(y)};
    }
    return slots;
}

TEST_F(Curve, CalculatesAsTheRulesSay)
{
    std::mt19937_64 random(Seed(31));
    for (int round = 0; round < 1500; ++round) {
        const int n = std::array{2, 3, 17, 256, 1000, 4096}[random() % 6];
        const int m = std::array{1, 2, 3, 10, 64, 256}[random() % 6];
        PXBezierCurve curve(1, n, m);
        const std::vector<float> former = curve.getSamples();
        const std::vector<PXPointF> slots = RandomSlots(random, m);
        curve.setControlPoints(slots);
        EXPECT_EQ(former, curve.getSamples());
        curve.calculateCurve();
        const std::vector<long double> want = NaiveSamples(slots, n, former);
        const std::vector<float> got = curve.getSamples();
        for (size_t i = 0; i < got.size(); ++i) {
            ASSERT_LE(std::fabs(got[i] - want[i]), 0x1p-24L)
                << "round " << round << " n " << n << " m " << m << " sample " << i;
            ASSERT_TRUE(got[i] >= 0 && got[i] <= 1);
        }
    }
}

TEST_F(Curve, StaysInTheUnitSquareForAnyPoints)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const float odd[] = {0,     1,      0.5F,      -0.0F,      -1,  5,
                         1e30F, -1e30F, kInfinity, -kInfinity, NAN, 1e-40F};
    std::mt19937_64 random(Seed(32));
    for (int round = 0; round < 3000; ++round) {
        std::vector<PXPointF> points(random() % 9);
        for (PXPointF& point : points)
            point = {odd[random() % std::size(odd)], odd[random() % std::size(odd)]};
        PXBezierCurve curve(0, 64, 8);
        curve.setControlPoints(points);
        curve.calculateCurve();
        EXPECT_THAT(curve.getSamples(), Each(testing::AllOf(testing::Ge(0.0F), testing::Le(1.0F))));
        curve.getActiveControlPoints();
        curve.getClosestControlPoint(static_cast<int32_t>(random()));
        curve.curveIndex(odd[round % 12]);
    }
}

TEST_F(Curve, StartsAsTheFallingLine)
{
    PXBezierCurve curve(7, 256, 5);
    const std::vector<uint8_t> bytes = curve.getSamplePoints();
    for (int32_t i = 0; i < 256; ++i) {
        EXPECT_EQ(static_cast<float>((255 - i) / 255.0), curve.curveAt(i));
        EXPECT_EQ(255 - i, bytes.at(static_cast<size_t>(i)));
    }
    EXPECT_EQ(0.0F, curve.curveAt(1.0F));
    EXPECT_EQ(1.0F, curve.pointAt(0).y);
    EXPECT_EQ(1.0F, curve.pointAt(1.0F).x);
    EXPECT_EQ(-1.0F, curve.pointAt(0.3F).x);
    const std::vector<PXPoint> active = curve.getActiveControlPoints();
    ASSERT_EQ(2U, active.size());
    EXPECT_TRUE(active[0].x == 0 && active[0].y == 255 && active[1].x == 255 && active[1].y == 0);
    EXPECT_EQ(0, curve.minControlPointX());
    EXPECT_EQ(255, curve.maxControlPointX());
    PXBezierCurve other(curve);
    other.setControlPoint(2, {128, 100});
    EXPECT_EQ(2, other.selectedControlPoint());
    other.calculateCurve();
    EXPECT_TRUE(other != curve);
    other.reset();
    EXPECT_TRUE(other == curve);
}

TEST_F(Curve, FindsTheClosestPointOrTheSlotForANewOne)
{
    PXBezierCurve curve(0, 256, 11);
    curve.setControlPoint(5, {128, 90});
    // From left of all by way of half-way and both sides of the point to right of all.
    const std::map<int32_t, int32_t> slots = {{-100, -4}, {3, 0},   {89, 3},   {115, 5},
                                              {128, 5},   {139, 5}, {250, 10}, {400, 16}};
    for (const auto& [x, slot] : slots) EXPECT_EQ(slot, curve.getClosestControlPoint(x)) << x;
    // Equal distances: the lowest slot.
    PXBezierCurve pair(0, 101, 2);
    pair.setControlPoints({{0.25F, 0}, {0.75F, 0}});
    EXPECT_EQ(0, pair.getClosestControlPoint(50));
}

TEST_F(Curve, TravelsThroughAPresetFile)
{
    PXBezierCurve curve(3, 256, 4);
    curve.setName(PXString("S"));
    curve.setControlPoint(1, {80, 200});
    curve.calculateCurve();
    const Owned<CFDataRef> xml(PXUtilsCreateXMLData(nullptr, curve.presetData()));
    PXBezierCurve read(0, 256, 256);
    EXPECT_EQ(PXStatus{kPXOK}, read.initWithPresetRawData(xml));
    EXPECT_TRUE(read == curve);
    EXPECT_EQ("S", Utf8Of(read.name()));
    CFDictionaryRef dictionary = read.presetData();
    EXPECT_EQ(2, PXUtilsCFDictionaryGetValueInt(dictionary, CFSTR("curveVersion")));
    EXPECT_EQ(4, CFArrayGetCount(static_cast<CFArrayRef>(
                     CFDictionaryGetValue(dictionary, CFSTR("controlPoints")))));
    EXPECT_EQ(2, read.AddRef());
    read.deletePreset();
    EXPECT_EQ(1, read.RetainCount());
}

TEST_F(Curve, ReadsWhatAPresetHas)
{
    const auto x = Number(0.5);
    const auto points = ArrayOf({DictionaryOf({{CFSTR("controlPointX"), x}}), CFSTR("no point"),
                                 DictionaryOf({{CFSTR("controlPointY"), x}})});
    const auto list = DictionaryOf({{CFSTR("controlPoints"), points},
                                    {CFSTR("controlPointCount"), Number(int64_t{7})},
                                    {CFSTR("curveVersion"), Number(int64_t{99})}});
    PXBezierCurve curve(9, 16, 2);
    EXPECT_EQ(PXStatus{kPXOK}, curve.initWithPresetData(list));
    EXPECT_EQ(9, curve.id());
    // The count is as read, the slots are those of the list; what is missing stays.
    EXPECT_EQ(7, curve.controlPointCount());
    EXPECT_TRUE(PXBezierCurve::pointVectorCompare({{0.5F, 1}, {1, 0}, {-1, 0.5F}},
                                                  curve.getControlPoints()));
    EXPECT_EQ(16, curve.sampleCount());
    for (int i = 2; i < PXBezierCurve::kMaxControlPoints; ++i) CFArrayAppendValue(points, x);
    CFDictionarySetValue(list, CFSTR("id"), Number(int64_t{1}));
    Case("too many").Gives(kPXErrBadArgument, curve.initWithPresetData(list));
    EXPECT_EQ(9, curve.id());
}

TEST_F(Curve, EqualsWithinItsTolerance)
{
    constexpr float kStep = 0x1p-22F;
    const auto isEqual = [](const std::vector<float>& a, const std::vector<float>& b) {
        PXBezierCurve first(0, 2, 2), second(0, 2, 2);
        first.setSamples(a);
        second.setSamples(b);
        EXPECT_EQ(static_cast<int32_t>(a.size()), first.curvePointCount());
        EXPECT_EQ(first == second, PXBezierCurve::vectorCompare(a, b));
        return first == second;
    };
    EXPECT_TRUE(isEqual({0, 0.5F}, {0, 0.5F}));
    EXPECT_TRUE(isEqual({0.25F}, {0.25F + kStep}));
    EXPECT_FALSE(isEqual({0.25F}, {0.25F + 1.5F * kStep}));
    EXPECT_FALSE(isEqual({0, 1}, {0}) || isEqual({NAN}, {NAN}));
}

TEST_F(Curve, RefusesWhatIsOutOfRange)
{
    EventLog events;
    PXBezierCurve curve(0, -5, 0);
    EXPECT_EQ(2, curve.sampleCount());
    EXPECT_EQ(1, curve.controlPointCount());
    curve.setControlPoint(1, {0, 0});
    curve.clearControlPoint(-1);
    EXPECT_EQ(-1.0F, curve.pointAt(int32_t{4}).x);
    EXPECT_EQ(0.0F, curve.curveAt(int32_t{2}));
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, curve.initWithPresetData(nullptr));
    EXPECT_EQ(7, events.Count(1005));
    EXPECT_EQ(-2, PXBezierCurve(0, 4, 2).curveIndex(-0.7F));
    EXPECT_EQ(INT32_MAX, curve.curveIndex(1e30F));
    curve.clearControlPoint(0);
    EXPECT_TRUE(curve.getActiveControlPoints().empty());
}

}  // namespace
