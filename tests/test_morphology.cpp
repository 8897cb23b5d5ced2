// Erosion, dilation, opening and closing against the window-sorting reference.
#include <limits>

#include "reference_neighbourhood.h"

namespace lumora::test {
namespace {

class Morphology : public testing::TestWithParam<Layout> {};

TEST_P(Morphology, ErodeAndDilateMatchReference) {
    const int sizes[][2] = {{1, 1}, {1, 6}, {6, 1}, {2, 2}, {2, 7}, {9, 2}, {13, 9}, {40, 23}};
    unsigned seed = 1;
    for (auto [w, h] : sizes)
        for (int r : {0, 1, 2, 3, 4, 5, 6, 7, 1000000000})
            for (bool withAoi : {false, true}) {
                SCOPED_TRACE(testing::Message() << w << "x" << h << " r=" << r << " aoi=" << withAoi);
                CVxImage src = MakeImage(GetParam(), w, h), mask(CM_GRAY, 8, w, h);
                FillRandom(src, ++seed);
                FillRandom(mask, ++seed, 1.0);
                CVxMorphologicProcessing morph(&src);
                if (withAoi) morph.SetAOIImage(&mask);
                CVxImage eroded, dilated;
                ASSERT_TRUE(morph.Erode(eroded, r));
                ASSERT_TRUE(morph.Dilate(dilated, r));
                EXPECT_TRUE(SamePixels(eroded, ReferenceRank(src, r, false, withAoi ? &mask : nullptr)));
                EXPECT_TRUE(SamePixels(dilated, ReferenceRank(src, r, true, withAoi ? &mask : nullptr)));
            }
}

TEST_P(Morphology, OpenAndCloseChainOverTheWholeImage) {
    for (int r : {1, 4}) {
        CVxImage src = MakeImage(GetParam(), 21, 14), mask = Zeroed({1, 8}, 21, 14);  // ignored by Open and Close
        FillRandom(src, 100 + r);
        CVxMorphologicProcessing morph(&src);
        morph.SetAOIImage(&mask);
        CVxImage opened, closed;
        ASSERT_TRUE(morph.Open(opened, r));
        ASSERT_TRUE(morph.Close(closed, r));
        CVxImage eroded = ReferenceRank(src, r, false), dilated = ReferenceRank(src, r, true);
        EXPECT_TRUE(SamePixels(opened, ReferenceRank(eroded, r, true))) << r;
        EXPECT_TRUE(SamePixels(closed, ReferenceRank(dilated, r, false))) << r;
    }
}

TEST_P(Morphology, DestinationMayBeTheSource) {
    for (int r : {1, 4}) {
        CVxImage src = MakeImage(GetParam(), 17, 30);
        FillRandom(src, 7);
        CVxImage want = ReferenceRank(src, r, false);
        ASSERT_TRUE(CVxMorphologicProcessing(&src).Erode(src, r));
        EXPECT_TRUE(SamePixels(src, want)) << r;
    }
}

LUMORA_ALL_LAYOUTS(Morphology);

// Calls that refuse, each after dst has become a copy of the source.
TEST(Morphology, RefusalsLeaveACopyOfTheSource) {
    for (int spoil = 0; spoil < 5; ++spoil) {
        CVxImage src(CM_RGBA, 8, 8, 6), mask(spoil == 4 ? CM_RGB : CM_GRAY, 8, spoil == 3 ? 4 : 8, 6);
        FillRandom(src, 3);
        CVxMorphologicProcessing morph(&src);
        if (spoil == 0) src.m_nChannel = 5;
        if (spoil == 1) src.m_nBitsPerSample = 33;
        if (spoil >= 3) morph.SetAOIImage(&mask);
        const int radius = spoil == 2 ? -1 : 1;
        CVxImage eroded, dilated, dst(CM_RGB, 16, 3, 2);
        EXPECT_FALSE(morph.Erode(eroded, radius)) << spoil;
        EXPECT_FALSE(morph.Dilate(dilated, radius)) << spoil;
        if (spoil < 3) {  // Open and Close leave the destination alone when their first step fails
            FillRandom(dst, 2);
            const CVxImage before = dst;
            EXPECT_FALSE(morph.Open(dst, radius) || morph.Close(dst, radius));
            EXPECT_TRUE(SamePixels(dst, before)) << spoil;
        }
        EXPECT_TRUE(SameBlock(eroded, src) && SameBlock(dilated, src)) << spoil;
    }
    CVxImage dst;
    EXPECT_FALSE(CVxMorphologicProcessing().Erode(dst, 1));
}

// NaN takes part only when the whole window is NaN; -0 ranks below +0.
TEST(Morphology, FloatNanIsIgnoredUnlessTheWholeWindowIsNan) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    CVxImage src(CM_GRAY, 32, 7, 1), eroded, dilated;
    const float row[7] = {nan, nan, nan, 4.0f, nan, -0.0f, 0.0f};
    for (int x = 0; x < 7; ++x) SetSample(src, x, 0, 0, row[x]);
    CVxMorphologicProcessing morph(&src);
    ASSERT_TRUE(morph.Erode(eroded, 1));
    ASSERT_TRUE(morph.Dilate(dilated, 1));
    const float wantMin[7] = {nan, nan, 4.0f, 4.0f, -0.0f, -0.0f, -0.0f};
    const float wantMax[7] = {nan, nan, 4.0f, 4.0f, 4.0f, 0.0f, 0.0f};
    for (int x = 0; x < 7; ++x) {
        const float lo = static_cast<float>(Sample(eroded, x, 0, 0)), hi = static_cast<float>(Sample(dilated, x, 0, 0));
        EXPECT_EQ(std::memcmp(&lo, &wantMin[x], 4), 0) << x;  // NaN and the sign of zero too
        EXPECT_EQ(std::memcmp(&hi, &wantMax[x], 4), 0) << x;
    }
}

}  // namespace
}  // namespace lumora::test
