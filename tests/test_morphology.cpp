// Erosion, dilation, opening and closing against a window-sorting reference.
#include "test_support.h"

#include <algorithm>
#include <cstring>
#include <cmath>
#include <limits>

namespace lumora::test {
namespace {

// Minimum (or maximum) over the (2r + 1)^2 window with clamped coordinates,
// found by sorting; pixels whose mask byte is 0 keep the source.
CVxImage ReferenceRank(CVxImage& src, int r, bool maximum, CVxImage* aoi = nullptr) {
    CVxImage out = src;
    std::vector<double> window;
    for (int y = 0; y < src.m_nHeight; ++y)
        for (int x = 0; x < src.m_nWidth; ++x) {
            if (aoi && static_cast<unsigned char*>(aoi->Get2DBuffer()[y])[x] == 0) continue;
            for (int c = 0; c < src.m_nChannel; ++c) {
                // Clamping repeats edge pixels; the distinct ones are this range.
                window.clear();
                for (int wy = std::max(0, y - r); wy <= std::min(src.m_nHeight - 1, y + r); ++wy)
                    for (int wx = std::max(0, x - r); wx <= std::min(src.m_nWidth - 1, x + r); ++wx)
                        window.push_back(Sample(src, wx, wy, c));
                std::sort(window.begin(), window.end());
                SetSample(out, x, y, c, maximum ? window.back() : window.front());
            }
        }
    return out;
}

// A zeroed image: the store leaves new pixel blocks uninitialised.
CVxImage Blank(COLOR_MODEL model, int bits, int width, int height) {
    CVxImage image(model, bits, width, height);
    for (int y = 0; y < height; ++y) std::memset(image.Get2DBuffer()[y], 0, static_cast<size_t>(image.m_nBytesPerLine));
    return image;
}

CVxImage RandomMask(int width, int height, unsigned seed) {
    CVxImage mask(CM_GRAY, 8, width, height);
    FillRandom(mask, seed, 1.0);  // 0 or 1
    return mask;
}

class MorphologyLayouts : public testing::TestWithParam<Layout> {};

TEST_P(MorphologyLayouts, ErodeAndDilateEqualTheSortedWindow) {
    const int sizes[][2] = {{1, 1}, {1, 6}, {6, 1}, {2, 2}, {2, 7}, {9, 2}, {13, 9}, {40, 23}};
    unsigned seed = 1;
    for (auto [w, h] : sizes)
        for (int r : {0, 1, 2, 3, 7, 1000000000})
            for (bool withAoi : {false, true}) {
                SCOPED_TRACE(testing::Message() << w << "x" << h << " r=" << r << " aoi=" << withAoi);
                CVxImage src = MakeImage(GetParam(), w, h);
                FillRandom(src, ++seed);
                CVxImage mask = RandomMask(w, h, ++seed);
                CVxMorphologicProcessing morph(&src);
                if (withAoi) morph.SetAOIImage(&mask);
                CVxImage eroded, dilated;
                ASSERT_TRUE(morph.Erode(eroded, r));
                ASSERT_TRUE(morph.Dilate(dilated, r));
                CVxImage wantEroded = ReferenceRank(src, r, false, withAoi ? &mask : nullptr);
                CVxImage wantDilated = ReferenceRank(src, r, true, withAoi ? &mask : nullptr);
                EXPECT_TRUE(SamePixels(eroded, wantEroded));
                EXPECT_TRUE(SamePixels(dilated, wantDilated));
            }
}

TEST_P(MorphologyLayouts, OpenAndCloseChainOverTheWholeImage) {
    for (int r : {1, 3, 4}) {
        SCOPED_TRACE(r);
        CVxImage src = MakeImage(GetParam(), 21, 14);
        FillRandom(src, 100 + r);
        CVxImage mask = Blank(CM_GRAY, 8, 21, 14);  // all zero: ignored by Open and Close
        CVxMorphologicProcessing morph(&src);
        morph.SetAOIImage(&mask);
        CVxImage opened, closed;
        ASSERT_TRUE(morph.Open(opened, r));
        ASSERT_TRUE(morph.Close(closed, r));
        CVxImage eroded = ReferenceRank(src, r, false), dilated = ReferenceRank(src, r, true);
        CVxImage wantOpened = ReferenceRank(eroded, r, true), wantClosed = ReferenceRank(dilated, r, false);
        EXPECT_TRUE(SamePixels(opened, wantOpened));
        EXPECT_TRUE(SamePixels(closed, wantClosed));
    }
}

TEST_P(MorphologyLayouts, DestinationMayBeTheSource) {
    for (int r : {1, 4}) {
        CVxImage src = MakeImage(GetParam(), 17, 30);
        FillRandom(src, 7);
        CVxImage want = ReferenceRank(src, r, false);
        CVxMorphologicProcessing morph(&src);
        ASSERT_TRUE(morph.Erode(src, r));
        EXPECT_TRUE(SamePixels(src, want)) << r;
    }
}

INSTANTIATE_TEST_SUITE_P(All, MorphologyLayouts, testing::ValuesIn(AllLayouts()), LayoutName);

// Calls that refuse, each after dst has become a copy of the source.
TEST(Morphology, RefusalsLeaveACopyOfTheSource) {
    struct Case {
        const char* name;
        void (*spoil)(CVxImage& src, CVxImage& mask, CVxMorphologicProcessing& morph);
        int radius;
    };
    const Case cases[] = {
        {"five channels", [](CVxImage& s, CVxImage&, CVxMorphologicProcessing&) { s.m_nChannel = 5; }, 1},
        {"33 bits", [](CVxImage& s, CVxImage&, CVxMorphologicProcessing&) { s.m_nBitsPerSample = 33; }, 1},
        {"negative radius", [](CVxImage&, CVxImage&, CVxMorphologicProcessing&) {}, -1},
        {"small mask",
         [](CVxImage&, CVxImage& m, CVxMorphologicProcessing& p) {
             m.Create(CM_GRAY, 8, 4, 5);
             p.SetAOIImage(&m);
         },
         1},
        {"RGB mask",
         [](CVxImage&, CVxImage& m, CVxMorphologicProcessing& p) {
             m.Create(CM_RGB, 8, 8, 6);
             p.SetAOIImage(&m);
         },
         1},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        CVxImage src(CM_RGBA, 8, 8, 6), mask;
        FillRandom(src, 3);
        CVxMorphologicProcessing morph(&src);
        test.spoil(src, mask, morph);
        CVxImage eroded, dilated;
        EXPECT_FALSE(morph.Erode(eroded, test.radius));
        EXPECT_FALSE(morph.Dilate(dilated, test.radius));
        for (CVxImage* image : {&src, &eroded, &dilated}) {  // readable attributes for the comparison
            image->m_nChannel = 4;
            image->m_nBitsPerSample = 8;
        }
        EXPECT_TRUE(SamePixels(eroded, src));
        EXPECT_TRUE(SamePixels(dilated, src));
    }
}

TEST(Morphology, WithoutTargetEveryOperationRefuses) {
    CVxMorphologicProcessing morph;
    CVxImage dst;
    EXPECT_FALSE(morph.Erode(dst, 1));
    EXPECT_FALSE(morph.Dilate(dst, 1));
    EXPECT_FALSE(morph.Open(dst, 1));
    EXPECT_FALSE(morph.Close(dst, 1));
}

TEST(Morphology, OpenAndCloseLeaveDestinationAloneWhenTheFirstStepFails) {
    CVxImage src(CM_GRAY, 8, 5, 5), dst(CM_RGB, 16, 3, 2);
    FillRandom(src, 1);
    FillRandom(dst, 2);
    const CVxImage before = dst;
    CVxMorphologicProcessing morph(&src);
    EXPECT_FALSE(morph.Open(dst, -2));
    EXPECT_FALSE(morph.Close(dst, -2));
    EXPECT_TRUE(SamePixels(dst, const_cast<CVxImage&>(before)));
}

TEST(Morphology, MaskedPixelsKeepTheSourceInErodeButNotInOpen) {
    CVxImage src(CM_GRAY, 8, 6, 6), mask(CM_GRAY, 8, 6, 6);
    FillRandom(src, 9, 200);
    SetSample(src, 2, 2, 0, 255);  // isolated peak under a 0 mask byte
    SetSample(src, 3, 3, 0, 0);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x) SetSample(mask, x, y, 0, (x == 2 && y == 2) ? 0 : 1);
    CVxMorphologicProcessing morph(&src);
    morph.SetAOIImage(&mask);
    CVxImage eroded, opened;
    ASSERT_TRUE(morph.Erode(eroded, 1));
    ASSERT_TRUE(morph.Open(opened, 1));
    EXPECT_EQ(Sample(eroded, 2, 2, 0), 255);
    EXPECT_EQ(Sample(eroded, 3, 2, 0), 0);
    EXPECT_NE(Sample(opened, 2, 2, 0), 255);
}

TEST(Morphology, BinaryErosionRemovesSpecksAndDilationGrowsByOnePixel) {
    CVxImage src = Blank(CM_GRAY, 8, 12, 10);
    SetSample(src, 2, 2, 0, 255);  // speck
    for (int y = 5; y <= 7; ++y)
        for (int x = 6; x <= 9; ++x) SetSample(src, x, y, 0, 255);  // 4 x 3 block
    CVxMorphologicProcessing morph(&src);
    CVxImage eroded, dilated;
    ASSERT_TRUE(morph.Erode(eroded, 1));
    ASSERT_TRUE(morph.Dilate(dilated, 1));
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 12; ++x) {
            const bool core = y == 6 && (x == 7 || x == 8);
            const bool grown = (y >= 4 && y <= 8 && x >= 5 && x <= 10) || (y >= 1 && y <= 3 && x >= 1 && x <= 3);
            EXPECT_EQ(Sample(eroded, x, y, 0), core ? 255 : 0) << x << "," << y;
            EXPECT_EQ(Sample(dilated, x, y, 0), grown ? 255 : 0) << x << "," << y;
        }
}

// NaN takes part only when the whole window is NaN; -0 ranks below +0.
TEST(Morphology, FloatNanIsIgnoredUnlessTheWholeWindowIsNan) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    CVxImage src(CM_GRAY, 32, 7, 1);
    const float row[7] = {nan, nan, nan, 4.0f, nan, -0.0f, 0.0f};
    for (int x = 0; x < 7; ++x) SetSample(src, x, 0, 0, row[x]);
    CVxMorphologicProcessing morph(&src);
    CVxImage eroded, dilated;
    ASSERT_TRUE(morph.Erode(eroded, 1));
    ASSERT_TRUE(morph.Dilate(dilated, 1));
    const float wantMin[7] = {nan, nan, 4.0f, 4.0f, -0.0f, -0.0f, -0.0f};
    const float wantMax[7] = {nan, nan, 4.0f, 4.0f, 4.0f, 0.0f, 0.0f};
    for (int x = 0; x < 7; ++x) {
        const double lo = Sample(eroded, x, 0, 0), hi = Sample(dilated, x, 0, 0);
        EXPECT_EQ(std::isnan(lo), std::isnan(wantMin[x])) << x;
        EXPECT_EQ(std::isnan(hi), std::isnan(wantMax[x])) << x;
        if (!std::isnan(wantMin[x])) {
            EXPECT_EQ(lo, wantMin[x]) << x;
            EXPECT_EQ(std::signbit(lo), std::signbit(wantMin[x])) << x;
        }
        if (!std::isnan(wantMax[x])) {
            EXPECT_EQ(hi, wantMax[x]) << x;
            EXPECT_EQ(std::signbit(hi), std::signbit(wantMax[x])) << x;
        }
    }
}

}  // namespace
}  // namespace lumora::test
