// Edge detectors: gradients with edge replication and the absolute-value
// rule, the clamped Laplacian with its zero border, and the fixed answers.
#include "test_support.h"

#include <cmath>

namespace lumora::test {
namespace {

struct Gradient { bool sobel; int flag; int divisor; int k[9]; };
const Gradient kGradients[] = {
    {false, 0, 1, {0, 1, 2, -1, 0, 1, -2, -1, 0}},  {false, 1, 1, {1, 1, 1, 0, 0, 0, -1, -1, -1}},
    {false, 2, 1, {-1, 0, 1, -1, 0, 1, -1, 0, 1}},  {true, 0, 2, {-2, -2, 0, -2, 0, 2, 0, 2, 2}},
    {true, 1, 1, {1, 2, 1, 0, 0, 0, -1, -2, -1}},   {true, 2, 1, {-1, 0, 1, -2, 0, 2, -1, 0, 1}},
};

int RunGradient(CVxEdgeDetection& edges, const Gradient& g, CVxImage& dest) {
    return g.sobel ? edges.Sobel3(dest, static_cast<SOBEL_FLAG>(g.flag))
                   : edges.Prewitt(dest, static_cast<PREWITT_FLAG>(g.flag));
}

class EdgeLayouts : public testing::TestWithParam<Layout> {};

TEST_P(EdgeLayouts, GradientIsAbsoluteQuotientWithReplicatedEdges) {
    const Layout layout = GetParam();
    CVxImage src = MakeImage(layout, 9, 7), mask(CM_GRAY, 8, 9, 7);
    FillRandom(src, 31, -1, true);
    FillRandom(mask, 32, 1.0);
    const double max = layout.bits == 8 ? 255 : layout.bits == 16 ? 65535 : 1e30;
    for (const Gradient& g : kGradients)
        for (bool useMask : {false, true}) {
            CVxEdgeDetection edges(&src);
            if (useMask) edges.SetAOIImage(&mask);
            CVxImage dest;
            ASSERT_EQ(RunGradient(edges, g, dest), TRUE);
            for (int y = 0; y < 7; ++y)
                for (int x = 0; x < 9; ++x)
                    for (int c = 0; c < layout.channels; ++c) {
                        double want = Sample(src, x, y, c);
                        if (!useMask || Sample(mask, x, y, 0) != 0) {
                            long long sum = 0;
                            for (int j = 0; j < 3; ++j)
                                for (int i = 0; i < 3; ++i)
                                    sum += g.k[j * 3 + i] * static_cast<long long>(Sample(
                                                                src, std::clamp(x - 1 + i, 0, 8), std::clamp(y - 1 + j, 0, 6), c));
                            want = std::min<double>(static_cast<double>(std::llabs(sum / g.divisor)), max);
                        }
                        ASSERT_EQ(Sample(dest, x, y, c), want) << (g.sobel ? "Sobel" : "Prewitt") << g.flag
                                                               << " at (" << x << ", " << y << ")";
                    }
        }
}

TEST_P(EdgeLayouts, LaplacianIsClampedWithZeroBorder) {
    const Layout layout = GetParam();
    CVxImage src = MakeImage(layout, 8, 6), mask(CM_GRAY, 8, 8, 6), dest;
    FillRandom(src, 41, layout.bits == 32 ? 600.0 : -1);
    std::memset(mask.GetBuffer(), 0, static_cast<size_t>(mask.m_nImageSize));
    CVxEdgeDetection edges(&src);
    edges.SetAOIImage(&mask);  // not consulted
    ASSERT_EQ(edges.Laplacian3(dest), TRUE);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 8; ++x)
            for (int c = 0; c < layout.channels; ++c) {
                double want = 0;
                if (x > 0 && x < 7 && y > 0 && y < 5) {
                    double l = 8 * Sample(src, x, y, c);
                    for (int j = -1; j <= 1; ++j)
                        for (int i = -1; i <= 1; ++i)
                            if (i != 0 || j != 0) l -= Sample(src, x + i, y + j, c);
                    l = layout.bits == 32 ? l * 0.125 : std::trunc(l / 8);
                    want = std::trunc(std::clamp(l, 0.0, 255.0));
                }
                ASSERT_EQ(Sample(dest, x, y, c), want) << "(" << x << ", " << y << ")";
            }
}

TEST_P(EdgeLayouts, UniformImageHasNoEdges) {
    CVxImage src = MakeImage(GetParam(), 6, 5);
    FillRandom(src, 1);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x)
            for (int c = 0; c < GetParam().channels; ++c) SetSample(src, x, y, c, 200);
    CVxImage zero = MakeImage(GetParam(), 6, 5);
    std::memset(zero.GetBuffer(), 0, static_cast<size_t>(zero.m_nImageSize));
    CVxEdgeDetection edges(&src);
    for (const Gradient& g : kGradients) {
        CVxImage dest;
        ASSERT_EQ(RunGradient(edges, g, dest), TRUE);
        EXPECT_TRUE(SamePixels(dest, zero));
    }
    CVxImage dest;
    ASSERT_EQ(edges.Laplacian3(dest), TRUE);
    EXPECT_TRUE(SamePixels(dest, zero));
}

INSTANTIATE_TEST_SUITE_P(All, EdgeLayouts, testing::ValuesIn(AllLayouts()), LayoutName);

TEST(Laplacian, SixteenBitResponseStopsAt255) {
    CVxImage src(CM_GRAY, 16, 3, 3), dest;
    std::memset(src.GetBuffer(), 0, static_cast<size_t>(src.m_nImageSize));
    SetSample(src, 1, 1, 0, 1000);
    ASSERT_EQ(CVxEdgeDetection(&src).Laplacian3(dest), TRUE);
    EXPECT_EQ(Sample(dest, 1, 1, 0), 255);
    EXPECT_EQ(Sample(dest, 0, 0, 0), 0);
}

TEST(Laplacian, TwoRowsGiveAllZero) {
    CVxImage src(CM_RGB, 8, 5, 2), dest;
    FillRandom(src, 6);
    ASSERT_EQ(CVxEdgeDetection(&src).Laplacian3(dest), TRUE);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 5; ++x)
            for (int c = 0; c < 3; ++c) EXPECT_EQ(Sample(dest, x, y, c), 0);
}

TEST(Laplacian, RefusesWhatItCannotProcess) {
    CVxImage dest;
    EXPECT_EQ(CVxEdgeDetection().Laplacian3(dest), FALSE);
    CVxImage wide(CM_GRAY, 64, 3, 3);
    EXPECT_EQ(CVxEdgeDetection(&wide).Laplacian3(dest), FALSE);
}

TEST(EdgeDetection, UnknownDirectionTouchesNothing) {
    CVxImage src(CM_GRAY, 8, 4, 4), dest(CM_GRAY, 8, 2, 2);
    FillRandom(src, 1);
    FillRandom(dest, 2);
    CVxImage before(dest);
    CVxEdgeDetection edges(&src);
    EXPECT_EQ(edges.Prewitt(dest, static_cast<PREWITT_FLAG>(3)), FALSE);
    EXPECT_EQ(edges.Sobel3(dest, static_cast<SOBEL_FLAG>(3)), FALSE);
    EXPECT_TRUE(SamePixels(dest, before));
}

TEST(EdgeDetection, UnimplementedDetectorsAnswerFalse) {
    CVxImage src(CM_GRAY, 8, 4, 4), dest(CM_GRAY, 8, 2, 2);
    FillRandom(src, 1);
    FillRandom(dest, 2);
    CVxImage before(dest);
    CVxEdgeDetection e(&src);
    const int results[] = {e.FeiChen(dest),      e.Laplacian3Minus(dest), e.Laplacian3Prewitt(dest),
                           e.Laplacian3_4(dest), e.Laplacian5(dest),      e.Laplacian9(dest),
                           e.MedianSquare2x2(dest), e.PixelDifference(dest), e.Roberts2(dest),
                           e.SeperatedPixelDifference(dest), e.ShadowMask(dest)};
    for (int r : results) EXPECT_EQ(r, FALSE);
    EXPECT_TRUE(SamePixels(dest, before));
}

}  // namespace
}  // namespace lumora::test
