// Geometry against plain wide arithmetic, invariants, and the rules that look odd but are meant.

#include "PXCore/PXGeometry.h"
#include "support/Test.h"

bool operator==(const PXRect& a, const PXRect& b)
{
    return PXRectEqual(a, b);
}
bool operator==(const PXRectF& a, const PXRectF& b)
{
    return PXRectFEqual2(a, b, 0);
}

namespace {

using px::test::Rows;

using Wide = __int128;

std::string Text(const PXRect& r)
{
    std::ostringstream out;
    out << "(" << r.x << ", " << r.y << ", " << r.width << ", " << r.height << ")";
    return out.str();
}

int32_t Clamped(Wide value)
{
    return static_cast<int32_t>(
        std::clamp<Wide>(value, std::numeric_limits<int32_t>::min(), INT32_MAX));
}

PXRect Clamped(Wide x, Wide y, Wide width, Wide height)
{
    return {Clamped(x), Clamped(y), Clamped(width), Clamped(height)};
}

// Small numbers, so that rectangles meet, and the ends of the range.
class Numbers {
public:
    explicit Numbers(uint64_t seed) : random_(seed) {}
    int32_t Int()
    {
        constexpr int32_t ends[] = {INT32_MIN, INT32_MIN + 1, -1, 0, 1, INT32_MAX - 1, INT32_MAX};
        if (random_() % 8 == 0) return ends[random_() % std::size(ends)];
        return static_cast<int32_t>(random_() % 41) - 20;
    }
    PXRect Rect() { return {Int(), Int(), Int(), Int()}; }
    // A rectangle on a board of 12 by 12 pixels, perhaps without area.
    PXRect Small()
    {
        const auto upTo = [&](uint64_t most) { return static_cast<int32_t>(random_() % most); };
        return {upTo(9), upTo(9), upTo(5), upTo(5)};
    }

private:
    std::mt19937_64 random_;
};

TEST(Geometry, IntegersAreExactOrClamped)
{
    Numbers numbers(px::test::Seed(101));
    for (int i = 0; i < 20'000; ++i) {
        const PXRect a = numbers.Rect(), b = numbers.Rect();
        SCOPED_TRACE(Text(a) + " " + Text(b));
        const Wide right = Wide{a.x} + a.width - 1, bottom = Wide{a.y} + a.height - 1;
        ASSERT_EQ(Clamped(right), PXRectRight(a));
        ASSERT_EQ(Clamped(bottom), PXRectGetMaxY(a));
        ASSERT_EQ(Wide{a.width} * a.height, PXRectArea(a));
        ASSERT_EQ(Clamped(Wide{a.x} + b.x, Wide{a.y} + b.y, Wide{a.width} - b.x - b.width,
                          Wide{a.height} - b.y - b.height),
                  PXRectInset(a, b.x, b.y, b.width, b.height));
        ASSERT_EQ(Clamped(Wide{a.x} - b.x, Wide{a.y} - b.x, a.width + 2 * Wide{b.x},
                          a.height + 2 * Wide{b.x}),
                  PXRectOutset(a, b.x));
        const Wide x = std::max(a.x, b.x), y = std::max(a.y, b.y);
        const Wide width = std::min(right, Wide{b.x} + b.width - 1) - x + 1;
        const Wide height = std::min(bottom, Wide{b.y} + b.height - 1) - y + 1;
        ASSERT_EQ(width < 0 || height < 0 ? PXRect{} : Clamped(x, y, width, height),
                  PXRectIntersect(a, b));
        const PXVec2 v = {a.x, a.y}, w = {b.x, b.y};
        ASSERT_EQ(Clamped(Wide{v.x} * w.x), PXVec2Mul(v, w).x);
        ASSERT_EQ(Clamped(Wide{v.y} - w.y), PXVec2Sub(v, w).y);
        ASSERT_EQ(w.x == 0 ? 0 : Clamped(Wide{v.x} / w.x), PXVec2Div(v, w).x);
        const Wide det = Wide{v.x} * w.y - Wide{v.y} * w.x;
        ASSERT_EQ(static_cast<int64_t>(std::min<Wide>(det, INT64_MAX)), PXVec2Determinant(v, w));
        ASSERT_EQ(
            (Wide{b.y} - a.y) * (Wide{b.width} - a.x) == (Wide{b.height} - a.y) * (Wide{b.x} - a.x),
            PXPointOnLine({b.width, b.height}, {a.x, a.y, b.x, b.y}));
        PXRect moved = a;
        ASSERT_EQ(moved, PXRectConstrainToBounds(&moved, b));
        ASSERT_EQ(
            Wide{a.x} < b.x ? b.x : Clamped(std::min(Wide{a.x}, Wide{b.x} + b.width - a.width)),
            moved.x);
        ASSERT_EQ(a.width, moved.width);
    }
}

bool Covers(const PXRect& rect, int x, int y)
{
    return PXPointInRect({x, y}, rect);
}

TEST(Geometry, RectanglesCombineAsSetsOfPixels)
{
    Numbers numbers(px::test::Seed(102));
    for (int i = 0; i < 3'000; ++i) {
        const PXRect a = numbers.Small();
        const PXRect covers[] = {numbers.Small(), numbers.Small(), numbers.Small()};
        const PXRect& b = covers[0];
        SCOPED_TRACE(Text(a) + " " + Text(b) + " " + Text(covers[1]) + " " + Text(covers[2]));
        PXRect apart[4], pieces[64];
        const int32_t nApart = PXRectSubtractRect(a, b, apart);
        const int32_t count = PXRectUncoveredRects(a, covers, 3, pieces, 64);
        ASSERT_EQ(count, PXRectUncoveredRects(a, covers, 3, nullptr, 0));
        ASSERT_EQ(nApart, PXRectSubtractRect(a, b, nullptr));
        const PXRect common = PXRectIntersect(a, b), both = PXRectSupersect(a, b);
        for (int y = -1; y < 14; ++y) {
            for (int x = -1; x < 14; ++x) {
                const bool inA = Covers(a, x, y), inB = Covers(b, x, y);
                const auto holds = [&](const PXRect& rect) { return Covers(rect, x, y); };
                ASSERT_EQ(inA && inB, Covers(common, x, y));
                ASSERT_TRUE(Covers(both, x, y) || !(inA || inB));
                ASSERT_EQ(inA && !inB, std::count_if(apart, apart + nApart, holds));
                ASSERT_EQ(inA && std::none_of(covers, covers + 3, holds),
                          std::count_if(pieces, pieces + count, holds));
            }
        }
        const bool bothHavePixels = PXRectArea(a) > 0 && PXRectArea(b) > 0;
        if (bothHavePixels) {
            ASSERT_TRUE(PXRectInRect(a, both));
            ASSERT_EQ(PXRectArea(common) == PXRectArea(a), PXRectInRect(a, b));
        }
    }
}

TEST(Geometry, IntegerRectanglesKeepTheirRules)
{
    PXRect out[4];
    ASSERT_EQ(4, PXRectSubtractRect({0, 0, 10, 10}, {2, 2, 2, 2}, out));
    const PXRect order[] = {{0, 0, 10, 2}, {0, 4, 10, 6}, {0, 2, 2, 2}, {4, 2, 6, 2}};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(order[i], out[i]) << i;
    out[0] = {7, 7, 7, 7};
    const PXRect inside = {2, 2, 2, 2};
    EXPECT_EQ(4, PXRectUncoveredRects({0, 0, 10, 10}, &inside, 1, out, 3));
    EXPECT_EQ((PXRect{7, 7, 7, 7}), out[0]) << "too little room: nothing is stored";

    EXPECT_EQ((PXRect{1, 2, 3, 4}), PXRectSupersect({9, 9, 0, 5}, {1, 2, 3, 4}));
    EXPECT_FALSE(PXRectEmpty({0, 0, -1, 5}));
    EXPECT_EQ((PXRect{-1, 1, 3, 4}), PXRectScale({-1, 1, 2, 3}, 1.5F)) << "truncated";
    EXPECT_EQ((PXRect{-1, 1, 2, 5}), PXRectScaleD({-1, 1, 2, 3}, 1.5)) << "edges truncated";
    const Rows<PXRect, PXRect, PXRect> fits = {
        {"wide", {5, 5, 30, 10}, {1, 1, 100, 100}, {0, 0, 100, 33}},
        {"tall", {0, 0, 10, 30}, {0, 0, 100, 100}, {0, 0, 33, 100}},
        {"no height", {0, 0, 10, 0}, {0, 0, 100, 100}, {0, 0, 0, 100}},
        {"no width, negative room", {0, 0, 0, 10}, {0, 0, -1, 10}, {0, 0, -1, 0}},
    };
    for (const auto& [name, src, dst, want] : fits)
        EXPECT_EQ(want, PXRectFitInRectProportional(src, dst)) << name;
    EXPECT_EQ(1.0F, PXRectCalcScaleFactor({0, 0, 10, 10}, {0, 0, 40, 30}));
    EXPECT_EQ(3.0F, PXRectCalcScaleFactorNoClamp({0, 0, 10, 10}, {0, 0, 40, 30}));
    EXPECT_EQ(2, PXRectGetCenter({0, 0, 3, 3}).x);
    EXPECT_EQ(0, PXTriangleArea({{0, 0}, {1, 0}, {0, 1}})) << "half a pixel is truncated";
    EXPECT_TRUE(PXTriangleIsEmpty({{0, 0}, {1, 0}, {0, 1}}));
    EXPECT_EQ(
        9223372032559808512,
        PXTriangleArea({{INT32_MIN, INT32_MIN}, {INT32_MAX, INT32_MIN}, {INT32_MIN, INT32_MAX}}));
}

TEST(Geometry, ThresholdsAreInclusiveOrStrictAsPublished)
{
    const float e = 0.25F;  // exact in binary
    EXPECT_TRUE(PXFloatsEqual(1, 1.25F, e));
    EXPECT_TRUE(PXSizeFEqual2({1, 1}, {1.25F, 0.75F}, e));
    EXPECT_TRUE(PXRectFEqual2({1, 1, 1, 1}, {1.25F, 1, 1, 0.75F}, e));
    EXPECT_FALSE(PXRectFEqual2({1, 1, 1, 1}, {1, 1, 1, 1.5F}, e));
    EXPECT_FALSE(PXPointFEqual2({1, 1}, {1.25F, 1}, e)) << "strict";
    EXPECT_TRUE(PXPointFEqual2({1, 1}, {1.125F, 1}, e));
    EXPECT_TRUE(PXSizeFEqual({1, 1}, {1.0009F, 1}));
    EXPECT_FALSE(PXSizeFEqual({1, 1}, {1.0011F, 1}));
    EXPECT_FALSE(PXPointFEqual({0, 0}, {1e-6F, 0}));
    EXPECT_TRUE(PXVec2FIsZero({9e-7F, -9e-7F}));
    EXPECT_FALSE(PXVec2FIsZero({0, 1e-6F}));
    EXPECT_TRUE(PXVec2FIsInfinite({1e6F, 1e6F}));
    EXPECT_FALSE(PXVec2FIsInfinite({1e6F, 0}));
    EXPECT_TRUE(PXRectFEmpty({0, 0, 1e-5F, 5}));
    EXPECT_FALSE(PXRectFEmpty({0, 0, 2e-5F, 5}));
    EXPECT_TRUE(PXRectFIsInfinite({-500000, -500000, 1000000, 1000000}));
    EXPECT_TRUE(PXRectFIsAtInfinity({-1000000, -1000000, 10, 10}));
    EXPECT_TRUE(PXPointFOnLineF({1, 1.0001F}, {0, 0, 2, 2}));
    EXPECT_FALSE(PXPointFOnLineF({1, 1.01F}, {0, 0, 2, 2}));
    EXPECT_TRUE(PXTriangleFIsEmpty({{0, 0}, {0.01F, 0}, {0, 0.01F}}));
}

TEST(Geometry, FloatRectanglesHaveExclusiveEdges)
{
    const PXRectF a = {0, 0, 10, 10};
    EXPECT_EQ((PXRectF{10, 2, 0, 3}), PXRectFIntersect(a, {10, 2, 5, 3}));
    EXPECT_EQ(PXRectF{}, PXRectFIntersect(a, {10.5F, 2, 5, 3}));
    EXPECT_EQ((PXRectF{0, 0, 15, 10}), PXRectFSupersect(a, {10, 2, 5, 3}));
    EXPECT_EQ(a, PXRectFSupersect({20, 20, 1e-5F, 9}, a));
    EXPECT_EQ((PXRectF{-5, 0, 15, 12}), PXRectFSupersectWithPointF(a, {-5, 12}));
    EXPECT_EQ((PXRectF{3, 3, 0, 9}), PXRectFSupersectWithPointF({3, 3, 0, 9}, {-5, 12}));
    EXPECT_EQ(25.0F / 175, PXRectFIOU(a, {5, 5, 10, 10}));
    EXPECT_EQ(0.0F, PXRectFIOU(a, {50, 50, 1, 1}));
    EXPECT_TRUE(PXPointFInRectF({0, 0}, a));
    EXPECT_FALSE(PXPointFInRectF({10, 0}, a));
    EXPECT_TRUE(PXPointFInRectFArea({12, -2}, a, 2));
    EXPECT_EQ(15, PXRectFOutcode(a, a));
    EXPECT_EQ(1 + 2, PXRectFOutcode({-1, -1, 2, 2}, a));
    EXPECT_EQ(4 + 8, PXRectFOutcode({9, 9, 2, 2}, a));
    EXPECT_EQ((PXRect{-2, 1, 3, 2}), PXRectFToPXRectISQ({-1.5F, 1.9F, 2.6F, 1.2F}));
    EXPECT_EQ((PXRectF{-2, 1, 3, 2}), PXRectFToPXRectFISQ({-1.5F, 1.9F, 2.6F, 1.2F}));
    EXPECT_EQ(4, PXRectFToPXQuad({1, 2, 3, 4}).bottomRight.x);
    EXPECT_EQ(6, PXRectFToPXQuad({1, 2, 3, 4}).bottomLeft.y);
    const PXRectF frame = {10, 20, 200, 100}, rect = {30, 40, 50, 60};
    EXPECT_EQ((PXRectF{0.1F, 0.2F, 0.25F, 0.6F}), PXRectFCreateResIndependent(frame, rect));
    EXPECT_TRUE(PXRectFEqual(
        rect, PXRectFFromResIndependent(frame, PXRectFCreateResIndependent(frame, rect))));
    EXPECT_TRUE(
        PXRectFEqual({40, 60, 100, 180}, PXRectFCreateMappedRectF(rect, frame, {0, 0, 400, 300})));
    EXPECT_EQ((PXRectF{2, 2, 4, 6}), PXRectFZoom({1, 1, 2, 3}, 50, 100));
}

TEST(Geometry, PointsAndVectorsKeepTheirRules)
{
    EXPECT_EQ(0, PXVec2FDiv({1, 1}, {2, -2}).x) << "only small divisors divide";
    EXPECT_EQ(0, PXVec2FDiv({1, 1}, {2, -2}).y);
    EXPECT_EQ(20'000, PXVec2FDiv({1, 1}, {5e-5F, 1e-4F}).x);
    EXPECT_FLOAT_EQ(10'000, PXVec2FDiv({1, 1}, {5e-5F, 1e-4F}).y);
    EXPECT_EQ(0.0005F, PXVec2FNorm({0.0005F, 0}).x);
    EXPECT_FLOAT_EQ(0.6F, PXVec2FNorm({3, 4}).x);
    EXPECT_EQ(-1, PXLineVec2FNormal(PXLineVec2FMake({1, 1}, {1, 5})).x);
    EXPECT_EQ(5, PXPointDistance({0, 0}, {3, -4}));
    EXPECT_EQ(25, PXPointFDistance2({0, 0}, {3, -4}));
    const PXTriangleF triangle = {{0, 0}, {4, 0}, {0, 4}};
    EXPECT_TRUE(PXPointFInTriangle({2, 2}, triangle)) << "on an edge";
    EXPECT_TRUE(PXPointFInTriangle({1, 1}, PXTriangleFMake({0, 4}, {4, 0}, {0, 0}))) << "turned";
    EXPECT_FALSE(PXPointFInTriangle({2.1F, 2}, triangle));
    EXPECT_EQ(8, PXTriangleFArea(triangle));
    const Rows<PXPointF, PXLineF, float> rows = {
        {"beside", {5, 3}, {0, 0, 10, 0}, 3},
        {"before", {-3, 4}, {0, 0, 10, 0}, 5},
        {"behind", {13, -4}, {0, 0, 10, 0}, 5},
        {"no length", {3, 4}, {0, 0, 0, 0}, 5},
    };
    for (const auto& [name, point, segment, want] : rows)
        EXPECT_EQ(want, PXPointFDistanceFromPointToLine(point, segment)) << name;
}

// The largest upright rectangle must fit: its corners, turned back, lie in the original one.
TEST(Geometry, LargestUprightRectangleTouchesAndFits)
{
    for (const PXSizeF size :
         {PXSizeF{40, 30}, PXSizeF{30, 40}, PXSizeF{10, 10}, PXSizeF{100, 3}}) {
        for (int degrees = -85; degrees <= 175; degrees += 5) {
            if (degrees % 90 == 0 && degrees != 0) continue;  // divides by the cosine
            const PXSizeF found = PXSizeFRotatedSizeWithMaxArea(size, static_cast<float>(degrees));
            const double angle = degrees * M_PI / 180;
            double mostX = 0, mostY = 0;
            for (const double sign : {-1.0, 1.0}) {
                const double x = found.width / 2, y = sign * found.height / 2;
                mostX = std::max(mostX, std::fabs(x * std::cos(angle) + y * std::sin(angle)));
                mostY = std::max(mostY, std::fabs(-x * std::sin(angle) + y * std::cos(angle)));
            }
            SCOPED_TRACE(degrees);
            EXPECT_LE(mostX, size.width / 2 + 1e-3);
            EXPECT_LE(mostY, size.height / 2 + 1e-3);
            EXPECT_TRUE(mostX > size.width / 2 - 1e-3 || mostY > size.height / 2 - 1e-3);
        }
    }
}

TEST(Geometry, TransformsComposeAndInvert)
{
    const PXAffineTransform turn = PXAffineTransformMake(90, 2, 3, 5, 7, 11, 13);
    const PXAffineTransform back = PXAffineTransformInvert(turn),
                            shift = PXAffineTransformMake(0, 1, 1, 0, 0, 100, 0);
    const Rows<PXAffineTransform, PXPointF, PXPointF> points = {
        {"the centre is only shifted", turn, {5, 7}, {16, 20}},
        {"scaled by sx, then turned to +y", turn, {6, 7}, {16, 22}},
        {"there and back", PXAffineTransformConcat(turn, back), {3, -4}, {3, -4}},
        {"back and there", PXAffineTransformConcat(back, turn), {3, -4}, {3, -4}},
        {"turned, then shifted", PXAffineTransformConcat(shift, turn), {5, 7}, {116, 20}},
    };
    for (const auto& [name, m, from, to] : points)
        EXPECT_TRUE(PXPointFEqual2(to, PXAffineTransformTransformPointF(from, m), 1e-4F)) << name;
    EXPECT_FALSE(std::isfinite(PXAffineTransformInvert({}).m0));

    const PXRect ten = {0, 0, 10, 10};
    EXPECT_EQ(ten, PXAffineTransformTransformRect(ten, PXAffineTransformIdentity()));
    const Rows<PXAffineTransform, PXRect> rows = {
        {"a hair past an integer", {1, 0, 0, 1, 1.0F / 512, 0}, {0, 0, 10, 10}},
        {"a pixel more", {1, 0, 0, 1, 1.0F / 128, 0}, {0, 0, 11, 10}},
        {"left of zero", {1, 0, 0, 1, -0.5F, -2}, {-1, -2, 11, 10}},
        {"mirrored", {-1, 0, 0, 1, 0, 0}, {-10, 0, 10, 10}},
        {"out of range", {1e30F, 0, 0, 1, 0, 0}, {0, 0, INT32_MAX, 10}},
    };
    for (const auto& [name, m, want] : rows)
        EXPECT_EQ(want, PXAffineTransformTransformRect(ten, m)) << name;
}

TEST(Geometry, ResizingMapsCentreOnCentre)
{
    const PXRectF dst = {100, 200, 60, 30};
    for (const bool uniform : {false, true}) {
        for (const float degrees : {0.0F, 30.0F, 90.0F}) {
            PXRectF src = {10, 20, 40, 10};
            const PXRectF before = src;
            const PXAffineTransform m =
                PXAffineTransformMakeResizeF(&src, dst, true, false, degrees, 1, 0.5F, uniform);
            SCOPED_TRACE(degrees);
            const PXRectF mapped = PXAffineTransformTransformRectF(before, m);
            const PXPointF centre = PXRectFCenter(mapped);
            EXPECT_TRUE(PXPointFEqual2({130, 215}, centre, 1e-3F));
            const float kx = mapped.width / src.width, ky = mapped.height / src.height;
            const float wantX = dst.width / src.width, wantY = dst.height * 0.5F / src.height;
            EXPECT_NEAR(uniform ? std::max(wantX, wantY) : wantX, kx, 1e-4F);
            EXPECT_NEAR(uniform ? std::max(wantX, wantY) : wantY, ky, 1e-4F);
            EXPECT_LT(m.m0 * m.m3 - m.m1 * m.m2, 0) << "flipped once";
        }
    }
}

TEST(Geometry, ScenesRoundEdgesAndKeepThemAcrossMagnifications)
{
    PXPreviewScene scene = {1.25F, 2, 10.25F, 5, 2, 0.5F};
    EXPECT_EQ((PXRect{3, 1, 20, 3}), PXPreviewSceneGetPXRect(scene));
    EXPECT_EQ(4, PXPreviewSceneGetBottomRow(scene));
    EXPECT_EQ(20, PXPreviewSceneGetNumCols(scene));
    PXPreviewSceneNormalizeToMag(&scene, 4, 4);
    EXPECT_EQ((PXRect{3, 1, 20, 3}), PXPreviewSceneGetPXRect(scene));
    EXPECT_EQ(0.625F, scene.x);
    PXPreviewSceneSetMag(&scene, 1);
    EXPECT_FALSE(PXPreviewSceneIsEqual(scene, PXPreviewSceneIdentity()));
    PXOrientation turned = PXOrientationIdentity();
    turned.values[6] = -0.0F;
    EXPECT_TRUE(PXOrientationIsEqual(turned, PXOrientationIdentity()));
    turned.values[6] = 1;
    EXPECT_FALSE(PXOrientationIsEqual(turned, PXOrientationIdentity()));
}

// Nothing a caller can pass is undefined: the sanitizers watch, the values are range ends.
TEST(Geometry, WildFloatsBecomeIntegersAtTheEndsOfTheRange)
{
    const float inf = std::numeric_limits<float>::infinity(), nan = std::nanf("");
    const std::pair<float, int32_t> rows[] = {
        {nan, 0},           {inf, INT32_MAX}, {-inf, INT32_MIN},          {3e9F, INT32_MAX},
        {-3e9F, INT32_MIN}, {-0.5F, -1},      {2147483520.0F, 2147483520}};
    for (const auto& [value, want] : rows) {
        SCOPED_TRACE(value);
        EXPECT_EQ(want, PXSizeFToPXSize({value, 0}).width);
        EXPECT_EQ(want, PXPointFToPXPointISQ({0, value}).y);
        EXPECT_EQ(want, PXRectFToPXRectISQ({value, 0, 0, 0}).x);
        const PXRect scaled = PXRectScale({1, -1, INT32_MAX, INT32_MIN}, value);
        EXPECT_EQ(std::isnan(value), scaled.x == 0 && scaled.width == 0);
        (void)PXRectScaleD({INT32_MIN, INT32_MAX, INT32_MAX, INT32_MIN}, value);
        (void)PXAffineTransformTransformRect({0, 0, 9, 9}, {value, 1, 1, 1, 0, value});
        (void)PXPreviewSceneGetPXRect({value, -value, inf, nan, 2, 2});
    }
    EXPECT_EQ(INT32_MAX, PXRectGetCenter({INT32_MAX, 0, INT32_MAX, 0}).x);
}

}  // namespace
