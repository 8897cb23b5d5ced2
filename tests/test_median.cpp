// CVxFilter::Median and RemoveRandomNoise against a sorting reference.
#include "test_support.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace lumora::test {
namespace {

// A zeroed image: the store leaves new pixel blocks uninitialised.
CVxImage Blank(COLOR_MODEL model, int bits, int width, int height) {
    CVxImage image(model, bits, width, height);
    for (int y = 0; y < height; ++y) std::memset(image.Get2DBuffer()[y], 0, static_cast<size_t>(image.m_nBytesPerLine));
    return image;
}

double NeighbourhoodMedian(CVxImage& src, int x, int y, int c) {
    double v[9];
    int n = 0;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) v[n++] = Sample(src, x + dx, y + dy, c);
    std::sort(v, v + 9);
    return v[4];
}

// 8 x centre - neighbours; float samples accumulate into an int term by term.
long long Laplacian(CVxImage& src, int x, int y, int c) {
    const double centre = Sample(src, x, y, c);
    if (src.m_nBitsPerSample <= 16) {
        double sum = 0;
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx)
                if (dx || dy) sum += Sample(src, x + dx, y + dy, c);
        return static_cast<long long>(8 * centre - sum);
    }
    int l = 0;
    bool first = true;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            if (!dx && !dy) continue;
            const float term = static_cast<float>(centre) - static_cast<float>(Sample(src, x + dx, y + dy, c));
            l = static_cast<int>(first ? term : static_cast<float>(l) + term);
            first = false;
        }
    return l;
}

// threshold < 0 replaces every inner sample: the plain median.
CVxImage Reference(CVxImage& src, int threshold) {
    CVxImage out = src;
    for (int y = 1; y + 1 < src.m_nHeight; ++y)
        for (int x = 1; x + 1 < src.m_nWidth; ++x)
            for (int c = 0; c < src.m_nChannel; ++c)
                if (std::llabs(Laplacian(src, x, y, c)) > threshold)
                    SetSample(out, x, y, c, NeighbourhoodMedian(src, x, y, c));
    return out;
}

class MedianLayouts : public testing::TestWithParam<Layout> {};

TEST_P(MedianLayouts, MedianAndNoiseRemovalEqualTheSortedNeighbourhood) {
    const int sizes[][2] = {{1, 1}, {2, 2}, {1, 5}, {5, 1}, {2, 6}, {6, 2}, {3, 3}, {3, 10}, {10, 3}, {23, 17}};
    unsigned seed = 50;
    for (auto [w, h] : sizes) {
        SCOPED_TRACE(testing::Message() << w << "x" << h);
        CVxImage src = MakeImage(GetParam(), w, h);
        // A narrow value range makes ties and |L| near the thresholds common.
        FillRandom(src, ++seed, GetParam().bits == 16 ? 65535 : 40);
        CVxImage mask = Blank(CM_GRAY, 8, w, h);  // all zero: not consulted
        CVxFilter filter(&src);
        filter.SetAOIImage(&mask);
        CVxImage median;
        ASSERT_TRUE(filter.Median(median));
        CVxImage want = Reference(src, -1);
        EXPECT_TRUE(SamePixels(median, want));
        for (int threshold : {-1, 0, 20, 100, 300}) {
            SCOPED_TRACE(threshold);
            CVxImage cleaned;
            ASSERT_TRUE(filter.RemoveRandomNoise(cleaned, threshold));
            CVxImage wantCleaned = Reference(src, threshold);
            EXPECT_TRUE(SamePixels(cleaned, wantCleaned));
        }
    }
}

TEST_P(MedianLayouts, DestinationMayBeTheSource) {
    CVxImage src = MakeImage(GetParam(), 9, 8);
    FillRandom(src, 4);
    CVxImage want = Reference(src, -1);
    CVxFilter filter(&src);
    ASSERT_TRUE(filter.Median(src));
    EXPECT_TRUE(SamePixels(src, want));
}

INSTANTIATE_TEST_SUITE_P(All, MedianLayouts, testing::ValuesIn(AllLayouts()), LayoutName);

TEST(Median, ThreeByThreeChangesOnlyTheCentre) {
    CVxImage src(CM_RGB, 8, 3, 3);
    FillRandom(src, 5);
    CVxImage out;
    CVxFilter filter(&src);
    ASSERT_TRUE(filter.Median(out));
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x)
            for (int c = 0; c < 3; ++c)
                EXPECT_EQ(Sample(out, x, y, c), (x == 1 && y == 1) ? NeighbourhoodMedian(src, 1, 1, c)
                                                                   : Sample(src, x, y, c));
}

TEST(Median, RefusalsLeaveACopyOfTheSource) {
    for (int spoil = 0; spoil < 2; ++spoil) {
        CVxImage src(CM_RGBA, 16, 6, 5);
        FillRandom(src, 6);
        (spoil ? src.m_nBitsPerSample : src.m_nChannel) = spoil ? 33 : 5;
        CVxFilter filter(&src);
        CVxImage median, cleaned;
        EXPECT_FALSE(filter.Median(median));
        EXPECT_FALSE(filter.RemoveRandomNoise(cleaned, 0));
        for (CVxImage* image : {&src, &median, &cleaned}) {  // readable attributes for the comparison
            image->m_nChannel = 4;
            image->m_nBitsPerSample = 16;
        }
        EXPECT_TRUE(SamePixels(median, src));
        EXPECT_TRUE(SamePixels(cleaned, src));
    }
    CVxFilter unbound;
    CVxImage dst;
    EXPECT_FALSE(unbound.Median(dst));
    EXPECT_FALSE(unbound.RemoveRandomNoise(dst, 0));
}

TEST(RemoveRandomNoise, ThresholdAtTheLargestResponseChangesNothing) {
    CVxImage src(CM_GRAY, 8, 16, 12);
    FillRandom(src, 8);
    SetSample(src, 5, 5, 0, 255);
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx)
            if (dx || dy) SetSample(src, 5 + dx, 5 + dy, 0, 0);  // L = 2040 exactly
    CVxFilter filter(&src);
    CVxImage out;
    ASSERT_TRUE(filter.RemoveRandomNoise(out, 2040));
    EXPECT_TRUE(SamePixels(out, src));
    ASSERT_TRUE(filter.RemoveRandomNoise(out, 2039));
    EXPECT_EQ(Sample(out, 5, 5, 0), 0);
}

TEST(RemoveRandomNoise, ASingleSpikeIsTheOnlyPixelReplaced) {
    CVxImage src = Blank(CM_GRAY, 8, 7, 7);
    SetSample(src, 3, 3, 0, 255);
    CVxFilter filter(&src);
    CVxImage out;
    ASSERT_TRUE(filter.RemoveRandomNoise(out, 300));
    CVxImage black = Blank(CM_GRAY, 8, 7, 7);
    EXPECT_TRUE(SamePixels(out, black));
}

// Float responses: float differences, truncation after each step, saturation
// instead of overflow, NaN counting as 0.
TEST(RemoveRandomNoise, FloatResponseIsBuiltTermByTerm) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    struct Case {
        const char* name;
        float centre, neighbour;
        int threshold;
        bool replaced;
    };
    const Case cases[] = {
        {"each half truncates to 0", 0.5f, 0.0f, 0, false},
        {"1e8 - 1 rounds to 1e8 in float", 1e8f, 1.0f, 799999995, true},
        {"1e8 - 1 below the threshold", 1e8f, 1.0f, 800000000, false},
        {"overflow saturates", 3e9f, 0.0f, 2147483646, true},
        {"negative overflow saturates", -3e9f, 0.0f, 2147483646, true},
        {"NaN centre gives 0", nan, 1.0f, 0, false},
        {"NaN centre, negative threshold", nan, 1.0f, -1, true},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        CVxImage src(CM_GRAY, 32, 3, 3);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 3; ++x) SetSample(src, x, y, 0, test.neighbour);
        SetSample(src, 1, 1, 0, test.centre);
        CVxFilter filter(&src);
        CVxImage out;
        ASSERT_TRUE(filter.RemoveRandomNoise(out, test.threshold));
        const double got = Sample(out, 1, 1, 0);
        if (test.replaced)
            EXPECT_EQ(got, test.neighbour);
        else
            EXPECT_TRUE(got == test.centre || (std::isnan(got) && std::isnan(test.centre)));
    }
}

// NaN ranks above every number, so it wins the median only as a majority.
TEST(Median, FloatNanCountsAsTheLargestValue) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (int nans = 0; nans <= 9; ++nans) {
        CVxImage src(CM_GRAY, 32, 3, 3);
        for (int i = 0; i < 9; ++i) SetSample(src, i % 3, i / 3, 0, i < nans ? nan : static_cast<float>(i));
        CVxFilter filter(&src);
        CVxImage out;
        ASSERT_TRUE(filter.Median(out));
        const double got = Sample(out, 1, 1, 0);
        if (nans >= 5)
            EXPECT_TRUE(std::isnan(got)) << nans;
        else
            EXPECT_EQ(got, 4 + nans) << nans;
    }
}

}  // namespace
}  // namespace lumora::test
