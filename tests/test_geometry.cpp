// Crop, copy and paste, flip, shift and the three scalings against the
// per-pixel references, for every layout.
#include <limits>

#include "reference_geometry.h"

namespace lumora::test {
namespace {

using G = CVxGeometryProcessing;

class GeometryLayouts : public testing::TestWithParam<Layout> {
protected:
    CVxImage Random(int width, int height, unsigned seed = 5) {
        CVxImage image = MakeImage(GetParam(), width, height);
        FillRandom(image, seed);
        return image;
    }
};

TEST_P(GeometryLayouts, CropNormalisesClipsAndKeepsInclusiveEdges) {
    struct Case { CRect rect; int result, l, t, w, h; };
    const Case cases[] = {
        {CRect(-5, -5, 2, 2), TRUE, 0, 0, 3, 3},     {CRect(7, 7, 3, 3), TRUE, 3, 3, 5, 5},
        {CRect(2, 2, 2, 5), TRUE, 2, 2, 1, 4},       {CRect(0, 0, 40, 40), TRUE, 0, 0, 10, 10},
        {CRect(10, 0, 20, 5), FALSE, 0, 0, 10, 10},  {CRect(-1, -1, -1, -1), FALSE, 0, 0, 10, 10},
    };
    for (const Case& c : cases) {
        CVxImage image = Random(10, 10), before(image);
        EXPECT_EQ(CVxMiscProcessing(&image).Crop(c.rect), c.result);
        CVxImage want = Mapped(before, c.w, c.h, [&](int x, int y) { return std::pair(c.l + x, c.t + y); });
        EXPECT_TRUE(SamePixels(image, want)) << c.rect.left << "," << c.rect.top;
    }
}

// The partner position of target (x, y) is (x - rect.left, y - rect.top)
// over the inclusive intersection; empty intersections (by the Windows rule)
// and one-pixel-wide ones are refused.
TEST_P(GeometryLayouts, CopyAndPasteWalkTheWindowsIntersection) {
    struct Case { CRect rect; int result; };
    const Case cases[] = {{CRect(-3, -3, 4, 4), TRUE}, {CRect(0, 0, 9, 9), TRUE},  {CRect(0, 0, 20, 20), TRUE},
                          {CRect(4, 6, 8, 9), TRUE},   {CRect(2, 2, 2, 5), FALSE}, {CRect(5, 5, 3, 3), FALSE},
                          {CRect(-1, -1, -1, -1), FALSE}};
    for (const Case& c : cases) {
        for (int masked = 0; masked < 3; ++masked) {
            CVxImage target = Random(10, 10, 1), partner = Random(24, 24, 2), mask(CM_GRAY, 8, 24, 24);
            FillRandom(mask, 3, 1);
            CVxImage target0(target), partner0(partner);
            CVxMiscProcessing misc(&target);
            const int got = masked == 0   ? misc.CopyTo(partner, c.rect)
                            : masked == 1 ? misc.PasteFrom(partner, c.rect)
                                          : misc.PasteFrom(partner, c.rect, mask);
            EXPECT_EQ(got, c.result) << c.rect.left << "," << c.rect.top << " kind " << masked;
            if (got)
                for (int y = std::max<int>(c.rect.top, 0); y <= std::min<int>(c.rect.bottom, 9); ++y)
                    for (int x = std::max<int>(c.rect.left, 0); x <= std::min<int>(c.rect.right, 9); ++x) {
                        const int px = x - c.rect.left, py = y - c.rect.top;
                        if (masked == 0) CopyPixel(partner0, px, py, target0, x, y);
                        else if (masked == 1 || Sample(mask, px, py, 0) != 0) CopyPixel(target0, x, y, partner0, px, py);
                    }
            EXPECT_TRUE(SamePixels(target, target0));
            EXPECT_TRUE(SamePixels(partner, partner0));
        }
    }
}

TEST_P(GeometryLayouts, FlipMirrorsAndUnknownFlagsDoNothing) {
    for (auto [w, h] : {std::pair(7, 5), std::pair(1, 4), std::pair(6, 1)}) {
        const std::pair<G::FLIP_FLAG, PixelMap> flips[] = {
            {G::FLIP_VERTICAL, [&](int x, int y) { return std::pair(x, h - 1 - y); }},
            {G::FLIP_HORIZONTAL, [&](int x, int y) { return std::pair(w - 1 - x, y); }},
            {G::FLIP_BOTH, [&](int x, int y) { return std::pair(w - 1 - x, h - 1 - y); }},
            {static_cast<G::FLIP_FLAG>(3), [&](int x, int y) { return std::pair(x, y); }},
        };
        for (const auto& [flag, map] : flips) {
            CVxImage image = Random(w, h), before(image);
            EXPECT_EQ(G(&image).Flip(flag), TRUE);
            CVxImage want = Mapped(before, w, h, map);
            EXPECT_TRUE(SamePixels(image, want)) << "flag " << flag << " on " << w << "x" << h;
        }
    }
}

TEST_P(GeometryLayouts, FlipBothTwiceIsTheIdentity) {
    CVxImage image = Random(33, 17, 11), before(image);
    G geometry(&image);
    EXPECT_EQ(geometry.Flip(G::FLIP_BOTH), TRUE);
    EXPECT_EQ(geometry.Flip(G::FLIP_BOTH), TRUE);
    EXPECT_TRUE(SamePixels(image, before));
}

// Uncovered pixels take the background bytes widened to the sample type;
// a paste left one pixel wide is refused after the fill.
TEST_P(GeometryLayouts, ShiftFillsThenPastesAndAnswersThePaste) {
    const int W = 8, H = 6;
    struct Case { int dx, dy, result; };
    const Case cases[] = {{0, 0, TRUE}, {3, -2, TRUE}, {-7, 0, FALSE}, {0, 5, FALSE}, {8, 0, FALSE}, {2, -9, FALSE}};
    for (const Case& c : cases) {
        CVxImage image = Random(W, H), before(image);
        G geometry(&image);
        geometry.SetBackColor(tagVXG4{{9, 8, 7, 200}});
        geometry.SetBackColor(tagVXG3{{255, 1, 2}});
        EXPECT_EQ(geometry.Shift(CPoint(c.dx, c.dy)), c.result);
        const double background[] = {255, 1, 2, 200};
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                for (int ch = 0; ch < GetParam().channels; ++ch) {
                    const int sx = x - c.dx, sy = y - c.dy;
                    const bool moved = c.result && sx >= 0 && sy >= 0 && sx < W && sy < H;
                    EXPECT_EQ(Sample(image, x, y, ch), moved ? Sample(before, sx, sy, ch) : background[ch]);
                }
    }
}

TEST_P(GeometryLayouts, NearestScalingsFollowTheirIndexRules) {
    CVxImage image = Random(7, 5), wide = Random(70, 5);
    G geometry(&image);
    CVxImage dest;
    // The wide source's rows are long enough for the shuffled copies.
    struct Case { CVxImage* source; int w, h; };
    for (const Case& c : {Case{&image, 7, 5}, Case{&image, 3, 2}, Case{&image, 22, 16}, Case{&wide, 37, 5}, Case{&wide, 157, 9}}) {
        const int sw = c.source->m_nWidth;
        EXPECT_EQ(G(c.source).Resize(c.w, c.h, dest, G::INTERPOLATION_NEAREST), TRUE);
        const double sx = double(sw) / c.w, sy = 5.0 / c.h;
        CVxImage want = Mapped(*c.source, c.w, c.h, [&](int x, int y) {
            return std::pair(Index(x * sx + 0.5, sw), Index(y * sy + 0.5, 5));
        });
        EXPECT_TRUE(SamePixels(dest, want)) << c.w << "x" << c.h;
    }
    for (float scale : {0.5f, 1.3f, 3.0f}) {
        EXPECT_EQ(geometry.Resize(scale, dest), TRUE);
        CVxImage want = Mapped(image, int(float(7 * scale) + 0.5), int(float(scale * 5) + 0.5), [&](int x, int y) {
            return std::pair(Index(float(x) / scale, 7), Index(float(y) / scale, 5));
        });
        EXPECT_TRUE(SamePixels(dest, want)) << scale;
    }
    dest = MakeImage(GetParam(), 12, 9);
    EXPECT_EQ(geometry.ResizeEx(2.5f, CPoint(3, 1), dest), TRUE);
    CVxImage want = Mapped(image, 12, 9, [&](int x, int y) {
        return std::pair(Index(std::trunc((x + 3) / 2.5) - 1, 7), Index(std::trunc((y + 1) / 2.5), 5));
    });
    EXPECT_TRUE(SamePixels(dest, want));
}

TEST_P(GeometryLayouts, BilinearTruncatesEveryStageAndAnswersFalse) {
    CVxImage image = Random(77, 7);
    CVxImage dest;
    // Weights of no short binary form, quarters and halves, and none at all.
    for (auto [w, h] : {std::pair(4, 3), std::pair(20, 15), std::pair(44, 14), std::pair(154, 7)}) {
        EXPECT_EQ(G(&image).Resize(w, h, dest, G::INTERPOLATION_BILINEAR), FALSE);
        ASSERT_TRUE(dest.IsCreated());
        if (GetParam().bits == 32) continue;  // not interpolated; dest only recreated
        CVxImage want = RefBilinear(image, w, h);
        EXPECT_TRUE(SamePixels(dest, want)) << w << "x" << h;
    }
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, GeometryLayouts, testing::ValuesIn(AllLayouts()), LayoutName);

TEST(Geometry, StatedExamplesOfTheScalings) {
    CVxImage row(CM_GRAY, 8, 3, 1), dest;
    const unsigned char values[] = {0, 100, 200};
    std::memcpy(row.GetBuffer(), values, 3);
    G geometry(&row);
    EXPECT_EQ(geometry.Resize(6, 1, dest, G::INTERPOLATION_BILINEAR), FALSE);
    const unsigned char want[] = {0, 50, 100, 150, 200, 200};
    EXPECT_EQ(std::memcmp(dest.GetBuffer(), want, 6), 0);

    CVxImage five(CM_GRAY, 8, 5, 3);
    EXPECT_EQ(G(&five).Resize(0.5f, dest), TRUE);
    EXPECT_EQ(dest.m_nWidth, 3);
    EXPECT_EQ(dest.m_nHeight, 2);
}

TEST(Geometry, PaletteImagesAreAlwaysNearestAndCarryPaletteAndBits) {
    CVxImage image(CM_INDEX, 8, 4, 4, 16);
    FillRandom(image, 4, 15);
    image.GetPalette().GetPalette()[5].red = 77;
    int bits[4] = {5, 6, 5, 0};
    image.SetBitsPerSampleEx(bits);
    CVxImage dest;
    EXPECT_EQ(G(&image).Resize(8, 8, dest, G::INTERPOLATION_BILINEAR), TRUE);
    CVxImage want = Mapped(image, 8, 8, [](int x, int y) { return std::pair(Index(x * 0.5 + 0.5, 4), Index(y * 0.5 + 0.5, 4)); });
    EXPECT_TRUE(SamePixels(dest, want));
    EXPECT_EQ(dest.GetPalette().GetPaletteNum(), 16);
    EXPECT_EQ(dest.GetPalette().GetPalette()[5].red, 77);
    EXPECT_EQ(dest.m_pBitsPerSampleEx[1], 6);
}

// Answers of the refusals and of the cases that do nothing, and what they
// leave behind.
TEST(Geometry, RefusalsAndEmptyScalings) {
    CVxImage image(CM_RGB, 8, 6, 4), dest(CM_GRAY, 8, 2, 2);
    FillRandom(image, 8);
    G geometry(&image);
    EXPECT_EQ(geometry.Resize(0, 5, dest, G::INTERPOLATION_NEAREST), TRUE);
    EXPECT_EQ(geometry.Resize(4, 4, dest, static_cast<G::INTERPOLATION>(3)), FALSE);
    EXPECT_EQ(dest.m_nWidth, 4);  // recreated before the method was read
    EXPECT_EQ(geometry.Resize(-1.0f, dest), TRUE);
    EXPECT_FALSE(dest.IsCreated());
    EXPECT_EQ(geometry.Resize(std::numeric_limits<float>::quiet_NaN(), dest), FALSE);
    dest = CVxImage(CM_RGB, 8, 3, 3);
    FillRandom(dest, 2);
    CVxImage before(dest);
    EXPECT_EQ(geometry.ResizeEx(0.0f, CPoint(1, 1), dest), TRUE);
    EXPECT_EQ(geometry.ResizeEx(-2.0f, CPoint(0, 0), dest), TRUE);
    EXPECT_TRUE(SamePixels(dest, before));
    EXPECT_EQ(geometry.ResizeEx(std::numeric_limits<float>::infinity(), CPoint(), dest), FALSE);
    CVxImage grey(CM_GRAY, 8, 9, 9);
    EXPECT_EQ(geometry.ResizeEx(1.0f, CPoint(), grey), FALSE);  // another pixel size

    image.m_nBitsPerSample = 12;  // stored as 16-bit samples by the three-way rule, not by Flip's
    EXPECT_EQ(geometry.Flip(G::FLIP_VERTICAL), FALSE);
    image.m_nBitsPerSample = 8;
    image.m_ColorModel = static_cast<COLOR_MODEL>(99);  // no channel count
    EXPECT_EQ(geometry.Shift(CPoint(1, 7)), 7);
    EXPECT_EQ(geometry.Shift(CPoint(1, 0)), 0);
    EXPECT_EQ(geometry.Resize(2.0f, dest), TRUE);
    EXPECT_EQ(CVxMiscProcessing(&image).Crop(CRect(0, 0, 2, 2)), FALSE);
}

TEST(Geometry, PartnersOfAnotherPixelSizeOrTooSmallAreRefused) {
    CVxImage target(CM_RGBA, 8, 10, 10), cmyk(CM_CMYK, 8, 10, 10), rgb(CM_RGB, 8, 10, 10), small(CM_RGBA, 8, 4, 4);
    CVxImage rgbMask(CM_RGB, 8, 10, 10), wideMask(CM_GRAY, 16, 10, 10);
    FillRandom(target, 1);
    CVxMiscProcessing misc(&target);
    const CRect rect(0, 0, 9, 9);
    EXPECT_EQ(misc.PasteFrom(cmyk, rect), TRUE);  // same four bytes a pixel
    EXPECT_EQ(misc.PasteFrom(cmyk, rect, rgbMask), TRUE);
    EXPECT_EQ(misc.PasteFrom(cmyk, rect, wideMask), FALSE);
    EXPECT_EQ(misc.CopyTo(rgb, rect), FALSE);
    EXPECT_EQ(misc.CopyTo(small, rect), FALSE);
    EXPECT_EQ(misc.CopyTo(small, CRect(6, 6, 12, 12)), TRUE);  // uses 4 x 4 of it
    EXPECT_EQ(misc.PasteFrom(small, CRect(-1, -1, 8, 8)), FALSE);
}

}  // namespace
}  // namespace lumora::test
