// Edge detectors: the gradients as absolute convolutions with replicated
// edges, the clamped Laplacian with its zero border, and the fixed answers.
#include "reference_neighbourhood.h"

namespace lumora::test {
namespace {

class EdgeDetection : public testing::TestWithParam<Layout> {};

TEST_P(EdgeDetection, GradientsAreAbsoluteConvolutions) {
    const struct { bool sobel; int flag, divisor, k[9]; } gradients[] = {
        {false, 0, 1, {0, 1, 2, -1, 0, 1, -2, -1, 0}}, {false, 1, 1, {1, 1, 1, 0, 0, 0, -1, -1, -1}},
        {false, 2, 1, {-1, 0, 1, -1, 0, 1, -1, 0, 1}}, {true, 0, 2, {-2, -2, 0, -2, 0, 2, 0, 2, 2}},
        {true, 1, 1, {1, 2, 1, 0, 0, 0, -1, -2, -1}},  {true, 2, 1, {-1, 0, 1, -2, 0, 2, -1, 0, 1}}};
    CVxImage src = MakeImage(GetParam(), 9, 7), mask(CM_GRAY, 8, 9, 7);
    FillRandom(src, 31, -1, true);
    FillRandom(mask, 32, 1.0);
    for (const auto& g : gradients)
        for (bool useMask : {false, true}) {
            CVxEdgeDetection edges(&src);
            if (useMask) edges.SetAOIImage(&mask);
            CVxImage dest, want(src);
            ASSERT_EQ(g.sobel ? edges.Sobel3(dest, static_cast<SOBEL_FLAG>(g.flag))
                              : edges.Prewitt(dest, static_cast<PREWITT_FLAG>(g.flag)), TRUE);
            ReferenceConvolve<int>(src, want, g.k, 3, 3, g.divisor, 0, true, true, useMask ? &mask : nullptr);
            EXPECT_TRUE(SamePixels(dest, want)) << (g.sobel ? "Sobel" : "Prewitt") << g.flag << " mask " << useMask;
        }
}

TEST_P(EdgeDetection, LaplacianIsClampedWithZeroBorder) {
    const Layout layout = GetParam();
    for (int height : {6, 2}) {
        CVxImage src = MakeImage(layout, 8, height), mask = Zeroed({1, 8}, 8, height), dest;
        FillRandom(src, 41, layout.bits == 32 ? 600.0 : -1);
        CVxEdgeDetection edges(&src);
        edges.SetAOIImage(&mask);  // not consulted
        ASSERT_EQ(edges.Laplacian3(dest), TRUE);
        ForEachSample(src, [&](int x, int y, int c) {
            double want = 0;
            if (x > 0 && x < 7 && y > 0 && y < height - 1) {
                double l = 8 * Sample(src, x, y, c);
                for (int i = 0; i < 9; ++i)
                    if (i != 4) l -= Sample(src, x + i % 3 - 1, y + i / 3 - 1, c);
                l = layout.bits == 32 ? l * 0.125 : std::trunc(l / 8);
                want = std::trunc(std::clamp(l, 0.0, 255.0));
            }
            ASSERT_EQ(Sample(dest, x, y, c), want) << "(" << x << ", " << y << ")";
        });
    }
}

LUMORA_ALL_LAYOUTS(EdgeDetection);

TEST(EdgeDetection, RefusalsAndUnimplementedDetectorsTouchNothing) {
    CVxImage src(CM_GRAY, 8, 4, 4), dest(CM_GRAY, 8, 2, 2), wide(CM_GRAY, 64, 3, 3), none;
    FillRandom(src, 1);
    FillRandom(dest, 2);
    const CVxImage before(dest);
    CVxEdgeDetection e(&src);
    const int results[] = {e.Prewitt(dest, static_cast<PREWITT_FLAG>(3)), e.Sobel3(dest, static_cast<SOBEL_FLAG>(3)),
                           e.FeiChen(dest), e.Laplacian3Minus(dest), e.Laplacian3Prewitt(dest), e.Laplacian3_4(dest),
                           e.Laplacian5(dest), e.Laplacian9(dest), e.MedianSquare2x2(dest), e.PixelDifference(dest),
                           e.Roberts2(dest), e.SeperatedPixelDifference(dest), e.ShadowMask(dest)};
    for (int r : results) EXPECT_EQ(r, FALSE);
    EXPECT_TRUE(SamePixels(dest, before));
    EXPECT_EQ(CVxEdgeDetection().Laplacian3(none), FALSE);
    EXPECT_EQ(CVxEdgeDetection(&wide).Laplacian3(none), FALSE);
}

}  // namespace
}  // namespace lumora::test
