#include <climits>
#include <cstring>

#include "test_support.h"

using namespace lumora::test;

namespace {

enum class Call { Threshold, UpperCut, LowerCut };

int RunCall(CVxThresholdProcessing& t, CVxImage& dest, Call call, int level) {
    switch (call) {
        case Call::Threshold: return t.Threshold(dest, level);
        case Call::UpperCut: return t.Cut(dest, level, 1);
        case Call::LowerCut: return t.Cut(dest, level, 0);
    }
    return -1;
}

std::uint32_t Bits(CVxImage& image, int x) {
    std::uint32_t b;
    std::memcpy(&b, static_cast<float*>(image.GetBuffer()) + x, 4);
    return b;
}

constexpr double kRejected = -1;  // the all-ones background of the lower cut

}  // namespace

TEST(Threshold, TableOfCases) {
    struct Case {
        int bits;
        Call call;
        int level;
        std::vector<double> samples;
        std::vector<double> expected;
    };
    const Case cases[] = {
        {8, Call::Threshold, 128, {127, 128, 255, 0}, {0, 255, 255, 0}},
        {8, Call::Threshold, 0, {0, 1, 255}, {255, 255, 255}},
        {16, Call::Threshold, 1000, {999, 1000, 65535}, {0, 255, 255}},  // 255 also for 16-bit samples
        {32, Call::Threshold, 100, {99.5, 99.0, 100.0}, {255, 0, 255}},   // moved level: 99.5 > 99
        {8, Call::UpperCut, 100, {99, 100, 200}, {0, 100, 200}},
        {16, Call::UpperCut, 100, {99, 100, 60000}, {0, 100, 60000}},
        {32, Call::UpperCut, 100, {99.25, 98.75, 150.5}, {99.25, 0, 150.5}},
        {8, Call::LowerCut, 100, {99, 100, 101, 200}, {99, 100, 255, 255}},
        {16, Call::LowerCut, 100, {99, 100, 200}, {99, 100, 65535}},
        {32, Call::LowerCut, 100, {100.5, 101.0, 3.0}, {100.5, kRejected, 3.0}},
        // The extreme levels move past the end rather than wrapping.
        {8, Call::Threshold, INT_MIN, {0, 255}, {255, 255}},
        {8, Call::Threshold, INT_MAX, {0, 255}, {0, 0}},
        {16, Call::LowerCut, INT_MAX, {0, 65535}, {0, 65535}},
        {16, Call::LowerCut, INT_MIN, {0, 65535}, {65535, 65535}},
        {8, Call::UpperCut, 256, {255}, {0}},
        {8, Call::LowerCut, -1, {0}, {255}},
    };
    for (const Case& c : cases) {
        const int n = static_cast<int>(c.samples.size());
        CVxImage target(CM_GRAY, c.bits, n, 2);
        for (int x = 0; x < n; ++x)
            for (int y = 0; y < 2; ++y) SetSample(target, x, y, 0, c.samples[static_cast<size_t>(x)]);
        const CVxImage before(target);
        CVxThresholdProcessing threshold(&target);
        CVxImage dest;
        ASSERT_TRUE(RunCall(threshold, dest, c.call, c.level));
        ASSERT_EQ(dest.m_nBitsPerSample, c.bits);
        for (int x = 0; x < n; ++x) {
            const double want = c.expected[static_cast<size_t>(x)];
            if (want == kRejected)
                EXPECT_EQ(Bits(dest, x), 0xFFFFFFFFu) << "float background at " << x;
            else
                EXPECT_EQ(Sample(dest, x, 1, 0), want) << c.bits << "-bit level " << c.level << " sample " << x;
        }
        EXPECT_TRUE(SamePixels(target, const_cast<CVxImage&>(before)));
    }
}

TEST(Threshold, BackgroundFillsTheWholeBlock) {
    CVxImage target(CM_GRAY, 8, 3, 2);  // rows of 3 samples padded to 4 bytes
    std::memset(target.GetBuffer(), 0, static_cast<size_t>(target.m_nImageSize));
    CVxThresholdProcessing threshold(&target);
    CVxImage dest;
    ASSERT_TRUE(threshold.Cut(dest, -5, 0));
    const auto* bytes = static_cast<const unsigned char*>(dest.GetBuffer());
    for (int i = 0; i < dest.m_nImageSize; ++i) EXPECT_EQ(bytes[i], 0xFF) << i;

    // A destination of another shape is replaced by the copy first.
    CVxImage other(CM_RGB, 16, 9, 9);
    ASSERT_TRUE(threshold.Threshold(other, 1));
    EXPECT_EQ(other.m_nWidth, 3);
    EXPECT_EQ(other.m_nChannel, 1);
}

TEST(Threshold, RefusalsLeaveTheCopyBehind) {
    CVxImage rgb(CM_RGB, 8, 4, 3);
    FillRandom(rgb, 12);
    CVxThresholdProcessing onRgb(&rgb);
    CVxImage dest;
    EXPECT_FALSE(onRgb.Threshold(dest, 10));
    EXPECT_TRUE(SamePixels(dest, rgb));
    EXPECT_FALSE(onRgb.Cut(dest, 10, 1));

    CVxImage grey(CM_GRAY, 8, 4, 3);
    FillRandom(grey, 13);
    CVxThresholdProcessing onGrey(&grey);
    CVxImage partial;
    EXPECT_FALSE(onGrey.Partial(partial, 50));
    EXPECT_TRUE(SamePixels(partial, grey));

    CVxImage wide(CM_GRAY, 8, 2, 2);
    wide.m_nBitsPerSample = 40;
    CVxThresholdProcessing onWide(&wide);
    EXPECT_FALSE(onWide.Threshold(dest, 1));

    CVxThresholdProcessing unbound;
    CVxImage untouched(CM_GRAY, 8, 2, 2);
    EXPECT_FALSE(unbound.Threshold(untouched, 1));
    EXPECT_FALSE(unbound.Cut(untouched, 1, 0));
    EXPECT_FALSE(unbound.Partial(untouched, 1));
    EXPECT_EQ(untouched.m_nWidth, 2);
}

class ThresholdLayouts : public testing::TestWithParam<int> {};

TEST_P(ThresholdLayouts, EveryPixelOfALargeImageFollowsTheMovedLevel) {
    const int bits = GetParam();
    CVxImage target(CM_GRAY, bits, 37, 11);
    FillRandom(target, 40, bits == 8 ? 255 : 300);
    CVxThresholdProcessing threshold(&target);
    for (Call call : {Call::Threshold, Call::UpperCut, Call::LowerCut}) {
        CVxImage dest;
        ASSERT_TRUE(RunCall(threshold, dest, call, 150));
        for (int y = 0; y < 11; ++y)
            for (int x = 0; x < 37; ++x) {
                const double s = Sample(target, x, y, 0);
                const double d = Sample(dest, x, y, 0);
                if (call == Call::Threshold)
                    ASSERT_EQ(d, s > 149 ? 255 : 0);
                else if (call == Call::UpperCut)
                    ASSERT_EQ(d, s > 149 ? s : 0);
                else if (s < 151)
                    ASSERT_EQ(d, s);
                else if (bits == 32)
                    ASSERT_EQ(Bits(dest, y * dest.m_nBytesPerLine / 4 + x), 0xFFFFFFFFu);
                else
                    ASSERT_EQ(d, bits == 8 ? 255 : 65535);
            }
    }
}

INSTANTIATE_TEST_SUITE_P(SampleTypes, ThresholdLayouts, testing::Values(8, 16, 32));
