// CVxFilter::Median and RemoveRandomNoise against the sorting reference.
#include <limits>

#include "reference_neighbourhood.h"

namespace lumora::test {
namespace {

class Median : public testing::TestWithParam<Layout> {};

TEST_P(Median, MedianAndNoiseRemovalMatchReference) {
    const int sizes[][2] = {{1, 1}, {2, 2}, {1, 5}, {5, 1}, {2, 6}, {6, 2}, {3, 3}, {3, 10}, {10, 3}, {23, 17}};
    unsigned seed = 50;
    for (auto [w, h] : sizes) {
        SCOPED_TRACE(testing::Message() << w << "x" << h);
        CVxImage src = MakeImage(GetParam(), w, h), mask = Zeroed({1, 8}, w, h);  // not consulted
        // A narrow value range makes ties and |L| near the thresholds common.
        FillRandom(src, ++seed, GetParam().bits == 16 ? 65535 : 40);
        CVxFilter filter(&src);
        filter.SetAOIImage(&mask);
        CVxImage median;
        ASSERT_TRUE(filter.Median(median));
        EXPECT_TRUE(SamePixels(median, ReferenceMedian(src, -1)));
        for (int threshold : {-1, 0, 20, 100, 300}) {
            CVxImage cleaned;
            ASSERT_TRUE(filter.RemoveRandomNoise(cleaned, threshold));
            EXPECT_TRUE(SamePixels(cleaned, ReferenceMedian(src, threshold))) << threshold;
        }
    }
}

TEST_P(Median, DestinationMayBeTheSource) {
    CVxImage src = MakeImage(GetParam(), 9, 8);
    FillRandom(src, 4);
    CVxImage want = ReferenceMedian(src, -1);
    ASSERT_TRUE(CVxFilter(&src).Median(src));
    EXPECT_TRUE(SamePixels(src, want));
}

LUMORA_ALL_LAYOUTS(Median);

TEST(Median, RefusalsLeaveACopyOfTheSource) {
    for (int spoil = 0; spoil < 2; ++spoil) {
        CVxImage src(CM_RGBA, 16, 6, 5), median, cleaned;
        FillRandom(src, 6);
        (spoil ? src.m_nBitsPerSample : src.m_nChannel) = spoil ? 33 : 5;
        CVxFilter filter(&src);
        EXPECT_FALSE(filter.Median(median));
        EXPECT_FALSE(filter.RemoveRandomNoise(cleaned, 0));
        EXPECT_TRUE(SameBlock(median, src) && SameBlock(cleaned, src)) << spoil;
    }
    CVxImage dst;
    EXPECT_FALSE(CVxFilter().Median(dst));
}

TEST(RemoveRandomNoise, ThresholdAtTheLargestResponseChangesNothing) {
    CVxImage src = Zeroed({1, 8}, 7, 7), out;
    SetSample(src, 3, 3, 0, 255);  // L = 2040 exactly
    for (int threshold : {2040, 2039}) {
        ASSERT_TRUE(CVxFilter(&src).RemoveRandomNoise(out, threshold));
        EXPECT_EQ(Sample(out, 3, 3, 0), threshold == 2040 ? 255 : 0);
    }
}

// Float responses: float differences, truncation after each step, saturation
// instead of overflow, NaN counting as 0.
TEST(RemoveRandomNoise, FloatResponseIsBuiltTermByTerm) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const struct { const char* name; float centre, neighbour; int threshold; bool replaced; } cases[] = {
        {"each half truncates to 0", 0.5f, 0.0f, 0, false},
        {"1e8 - 1 rounds to 1e8 in float", 1e8f, 1.0f, 799999995, true},
        {"1e8 - 1 below the threshold", 1e8f, 1.0f, 800000000, false},
        {"overflow saturates", 3e9f, 0.0f, 2147483646, true},
        {"negative overflow saturates", -3e9f, 0.0f, 2147483646, true},
        {"NaN centre gives 0", nan, 1.0f, 0, false},
        {"NaN centre, negative threshold", nan, 1.0f, -1, true},
    };
    for (const auto& test : cases) {
        CVxImage src(CM_GRAY, 32, 3, 3), out;
        ForEachSample(src, [&](int x, int y, int) { SetSample(src, x, y, 0, x == 1 && y == 1 ? test.centre : test.neighbour); });
        ASSERT_TRUE(CVxFilter(&src).RemoveRandomNoise(out, test.threshold));
        const float got = static_cast<float>(Sample(out, 1, 1, 0));
        const float want = test.replaced ? test.neighbour : test.centre;
        EXPECT_EQ(std::memcmp(&got, &want, 4), 0) << test.name;
    }
}

// NaN ranks above every number, so it wins the median only as a majority.
TEST(Median, FloatNanCountsAsTheLargestValue) {
    for (int nans = 0; nans <= 9; ++nans) {
        CVxImage src(CM_GRAY, 32, 3, 3), out;
        for (int i = 0; i < 9; ++i)
            SetSample(src, i % 3, i / 3, 0, i < nans ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(i));
        ASSERT_TRUE(CVxFilter(&src).Median(out));
        const double got = Sample(out, 1, 1, 0);
        EXPECT_TRUE(nans >= 5 ? std::isnan(got) : got == 4 + nans) << nans;
    }
}

}  // namespace
}  // namespace lumora::test
