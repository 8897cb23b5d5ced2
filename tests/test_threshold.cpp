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

// ---------------------------------------------------------------------------
// A destination that already has the target's block geometry is not copied
// into first: its whole block is written in one pass instead. The result must
// be the one a fresh destination gets, byte for byte, padding included.

namespace {

::testing::AssertionResult SameImage(CVxImage& a, CVxImage& b) {
    if (a.m_ColorModel != b.m_ColorModel || a.m_nChannel != b.m_nChannel || a.m_nBitsPerSample != b.m_nBitsPerSample ||
        a.m_nWidth != b.m_nWidth || a.m_nHeight != b.m_nHeight || a.m_nBytesPerLine != b.m_nBytesPerLine ||
        a.m_nImageSize != b.m_nImageSize)
        return ::testing::AssertionFailure() << "attributes differ";
    if (std::memcmp(a.m_pBitsPerSampleEx, b.m_pBitsPerSampleEx, 4 * sizeof(int)) != 0)
        return ::testing::AssertionFailure() << "bits per sample ex differ";
    const size_t entries = static_cast<size_t>(a.m_Palette.GetPaletteNum());
    if (a.m_Palette.GetPaletteNum() != b.m_Palette.GetPaletteNum() ||
        (entries > 0 && std::memcmp(a.m_Palette.GetPalette(), b.m_Palette.GetPalette(), entries * sizeof(tagRGBA)) != 0))
        return ::testing::AssertionFailure() << "palettes differ";
    const auto* pa = static_cast<const unsigned char*>(a.GetBuffer());
    const auto* pb = static_cast<const unsigned char*>(b.GetBuffer());
    const int bytes = a.m_nHeight * a.m_nBytesPerLine;
    for (int i = 0; i < bytes; ++i)
        if (pa[i] != pb[i])
            return ::testing::AssertionFailure() << "byte " << i << " of " << bytes << ": " << int(pa[i]) << " vs "
                                                 << int(pb[i]);
    return ::testing::AssertionSuccess();
}

// Same height and row length as `target`, but another model, sample size and
// width, a palette of its own and every byte set to a marker.
CVxImage ForeignDestinationFor(const CVxImage& target) {
    CVxImage dest(CM_INDEX, 8, target.m_nBytesPerLine - 1, target.m_nHeight, 16);
    std::memset(dest.GetBuffer(), 0xA5, static_cast<size_t>(dest.m_nImageSize));
    return dest;
}

}  // namespace

TEST(Threshold, AReusedDestinationGetsTheBlockOfAFreshOne) {
    for (int bits : {8, 16, 32})
        for (int width : {37, 40, 1})
            for (Call call : {Call::Threshold, Call::UpperCut, Call::LowerCut})
                for (int level : {150, 0, 1, INT_MAX, INT_MIN}) {
                    CVxImage target(CM_GRAY, bits, width, 5, 256);
                    target.GetPalette().SetGrayPalette();
                    FillRandom(target, static_cast<unsigned>(width + bits), bits == 8 ? 255 : 300);
                    std::memset(static_cast<unsigned char*>(target.Get2DBuffer()[4]), 0x5A,
                                static_cast<size_t>(target.m_nBytesPerLine));  // padding bytes too
                    const CVxImage before(target);
                    CVxThresholdProcessing threshold(&target);
                    CVxImage fresh, reused = ForeignDestinationFor(target);
                    ASSERT_TRUE(RunCall(threshold, fresh, call, level));
                    ASSERT_TRUE(RunCall(threshold, reused, call, level));
                    ASSERT_TRUE(SameImage(reused, fresh))
                        << bits << "-bit width " << width << " call " << int(call) << " level " << level;
                    ASSERT_TRUE(SameImage(target, const_cast<CVxImage&>(before)));
                    // And again into the now fully matching destination.
                    ASSERT_TRUE(RunCall(threshold, reused, call, level));
                    ASSERT_TRUE(SameImage(reused, fresh));
                }
}

TEST(Threshold, AReusedDestinationKeepsTheCopyBeyondAShortImageSize) {
    // An image size below the block leaves the fill short: the bytes beyond
    // it keep the target's copy (samples are still tested everywhere). Float
    // rows of 7 samples have no padding.
    for (int bits : {8, 16, 32}) {
        CVxImage target(CM_GRAY, bits, 7, 4);
        FillRandom(target, 5, 255);
        std::memset(static_cast<unsigned char*>(target.Get2DBuffer()[3]), 0x5A,
                    static_cast<size_t>(target.m_nBytesPerLine));
        target.m_nImageSize = 2 * target.m_nBytesPerLine + 3;
        CVxThresholdProcessing threshold(&target);
        CVxImage fresh, reused = ForeignDestinationFor(target);
        ASSERT_TRUE(threshold.Cut(fresh, 100, 0));
        ASSERT_TRUE(threshold.Cut(reused, 100, 0));
        EXPECT_TRUE(SameImage(reused, fresh)) << bits;
        const auto* last = static_cast<const unsigned char*>(fresh.Get2DBuffer()[3]);
        if (bits < 32) {
            EXPECT_EQ(last[fresh.m_nBytesPerLine - 1], 0x5A) << "padding beyond the fill keeps the copy";
        }
    }
}

TEST(Threshold, TheTargetAsItsOwnDestinationIsFilledBeforeItIsTested) {
    // The fill replaces the samples before they are read, so every sample
    // tests the background: 0 passes "at least 0" and fails "at least 128".
    CVxImage image(CM_GRAY, 8, 5, 3);
    FillRandom(image, 9);
    CVxThresholdProcessing threshold(&image);
    ASSERT_TRUE(threshold.Threshold(image, 0));
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) ASSERT_EQ(Sample(image, x, y, 0), 255);
    FillRandom(image, 10);
    ASSERT_TRUE(threshold.Threshold(image, 128));
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) ASSERT_EQ(Sample(image, x, y, 0), 0);
}
