// Threshold and the two cuts: the moved level, the background fill and the
// destination rules.
#include <climits>
#include <cstring>

#include "test_support.h"

using namespace lumora::test;

namespace {

enum class Call { Threshold, UpperCut, LowerCut };

int RunCall(CVxThresholdProcessing& t, CVxImage& dest, Call call, int level) {
    if (call == Call::Threshold) return t.Threshold(dest, level);
    return t.Cut(dest, level, call == Call::UpperCut ? 1 : 0);
}

std::uint32_t Bits(CVxImage& image, int x, int y) {
    std::uint32_t b;
    std::memcpy(&b, static_cast<float*>(image.Get2DBuffer()[y]) + x, 4);
    return b;
}

constexpr double kRejected = -1;  // the all-ones background of the lower cut

// Sample s passes when s > level - 1 (threshold, upper cut) or s < level + 1
// (lower cut), the level moved in 64 bits; the rest get the background.
double Rule(Call call, int bits, int level, double s) {
    if (call == Call::LowerCut) return s < level + 1.0 ? s : bits == 8 ? 255 : bits == 16 ? 65535 : kRejected;
    const bool passes = bits == 32 ? s > static_cast<float>(level - 1.0) : s > level - 1.0;
    return !passes ? 0 : call == Call::Threshold ? 255 : s;
}

// Attributes, palette and every byte of the block, padding included.
::testing::AssertionResult SameImage(CVxImage& a, CVxImage& b) {
    if (a.m_ColorModel != b.m_ColorModel || a.m_nChannel != b.m_nChannel || a.m_nBitsPerSample != b.m_nBitsPerSample ||
        a.m_nWidth != b.m_nWidth || a.m_nHeight != b.m_nHeight || a.m_nBytesPerLine != b.m_nBytesPerLine ||
        a.m_nImageSize != b.m_nImageSize || std::memcmp(a.m_pBitsPerSampleEx, b.m_pBitsPerSampleEx, 16) != 0 ||
        a.m_Palette.GetPaletteNum() != b.m_Palette.GetPaletteNum())
        return ::testing::AssertionFailure() << "attributes differ";
    const size_t entries = static_cast<size_t>(a.m_Palette.GetPaletteNum());
    if (entries > 0 && std::memcmp(a.m_Palette.GetPalette(), b.m_Palette.GetPalette(), entries * sizeof(tagRGBA)) != 0)
        return ::testing::AssertionFailure() << "palettes differ";
    if (std::memcmp(a.GetBuffer(), b.GetBuffer(), static_cast<size_t>(a.m_nHeight * a.m_nBytesPerLine)) != 0)
        return ::testing::AssertionFailure() << "blocks differ";
    return ::testing::AssertionSuccess();
}

}  // namespace

TEST(Threshold, TableOfCases) {
    const struct {
        int bits;
        Call call;
        int level;
        std::vector<double> samples, expected;
    } cases[] = {
        {8, Call::Threshold, 128, {127, 128, 255, 0}, {0, 255, 255, 0}},
        {16, Call::Threshold, 1000, {999, 1000, 65535}, {0, 255, 255}},  // 255 also for 16-bit samples
        {32, Call::Threshold, 100, {99.5, 99.0, 100.0}, {255, 0, 255}},   // moved level: 99.5 > 99
        {8, Call::UpperCut, 100, {99, 100, 200}, {0, 100, 200}},
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
    for (const auto& c : cases) {
        const int n = static_cast<int>(c.samples.size());
        CVxImage target(CM_GRAY, c.bits, n, 2);
        ForEachSample(target, [&](int x, int y, int) { SetSample(target, x, y, 0, c.samples[size_t(x)]); });
        const CVxImage before(target);
        CVxThresholdProcessing threshold(&target);
        CVxImage dest;
        ASSERT_TRUE(RunCall(threshold, dest, c.call, c.level));
        for (int x = 0; x < n; ++x) {
            const double want = c.expected[static_cast<size_t>(x)];
            if (want == kRejected)
                EXPECT_EQ(Bits(dest, x, 1), 0xFFFFFFFFu) << "float background at " << x;
            else
                EXPECT_EQ(Sample(dest, x, 1, 0), want) << c.bits << "-bit level " << c.level << " sample " << x;
        }
        EXPECT_TRUE(SamePixels(target, before));
    }
}

TEST(Threshold, RefusalsLeaveTheCopyBehind) {
    CVxImage rgb(CM_RGB, 8, 4, 3), grey(CM_GRAY, 8, 4, 3), dest, partial;
    FillRandom(rgb, 12);
    FillRandom(grey, 13);
    CVxThresholdProcessing onRgb(&rgb);
    EXPECT_FALSE(onRgb.Threshold(dest, 10));
    EXPECT_TRUE(SamePixels(dest, rgb));
    EXPECT_FALSE(onRgb.Cut(dest, 10, 1));
    EXPECT_FALSE(CVxThresholdProcessing(&grey).Partial(partial, 50));
    EXPECT_TRUE(SamePixels(partial, grey));
    CVxImage untouched(CM_GRAY, 8, 2, 2);
    EXPECT_FALSE(CVxThresholdProcessing().Threshold(untouched, 1));
}

// A destination that already has the target's block geometry is written in
// one pass instead of being copied into first: the result must be a fresh
// destination's, byte for byte, padding included.
TEST(Threshold, EveryPixelFollowsTheRuleAndAReusedDestinationGetsTheBlockOfAFreshOne) {
    for (int bits : {8, 16, 32})
        for (int width : {37, 40, 1})
            for (Call call : {Call::Threshold, Call::UpperCut, Call::LowerCut})
                for (int level : {150, 0, INT_MAX, INT_MIN}) {
                    CVxImage target(CM_GRAY, bits, width, 5, 256);
                    target.GetPalette().SetGrayPalette();
                    FillRandom(target, static_cast<unsigned>(width + bits), bits == 8 ? 255 : 300);
                    std::memset(target.Get2DBuffer()[4], 0x5A, static_cast<size_t>(target.m_nBytesPerLine));
                    const CVxImage before(target);
                    CVxThresholdProcessing threshold(&target);
                    // Same height and row length, another model, width and palette, marked bytes.
                    CVxImage fresh, reused(CM_INDEX, 8, target.m_nBytesPerLine - 1, target.m_nHeight, 16);
                    std::memset(reused.GetBuffer(), 0xA5, static_cast<size_t>(reused.m_nImageSize));
                    ASSERT_TRUE(RunCall(threshold, fresh, call, level));
                    ForEachSample(target, [&](int x, int y, int) {
                        const double want = Rule(call, bits, level, Sample(target, x, y, 0));
                        ASSERT_TRUE(want == kRejected ? Bits(fresh, x, y) == 0xFFFFFFFFu : Sample(fresh, x, y, 0) == want)
                            << bits << "-bit level " << level << " at " << x << "," << y;
                    });
                    for (int again = 0; again < 2; ++again) {
                        ASSERT_TRUE(RunCall(threshold, reused, call, level));
                        ASSERT_TRUE(SameImage(reused, fresh)) << bits << "-bit width " << width << " level " << level;
                    }
                    ASSERT_TRUE(SameImage(target, const_cast<CVxImage&>(before)));
                }
}

TEST(Threshold, AReusedDestinationKeepsTheCopyBeyondAShortImageSize) {
    for (int bits : {8, 16}) {
        CVxImage target(CM_GRAY, bits, 7, 4), fresh;
        FillRandom(target, 5, 255);
        std::memset(target.Get2DBuffer()[3], 0x5A, static_cast<size_t>(target.m_nBytesPerLine));
        target.m_nImageSize = 2 * target.m_nBytesPerLine + 3;
        CVxThresholdProcessing threshold(&target);
        CVxImage reused(CM_INDEX, 8, target.m_nBytesPerLine - 1, 4, 16);
        ASSERT_TRUE(threshold.Cut(fresh, 100, 0));
        ASSERT_TRUE(threshold.Cut(reused, 100, 0));
        EXPECT_TRUE(SameImage(reused, fresh)) << bits;
        EXPECT_EQ(static_cast<unsigned char*>(fresh.Get2DBuffer()[3])[fresh.m_nBytesPerLine - 1], 0x5A);
    }
}

TEST(Threshold, TheTargetAsItsOwnDestinationIsFilledBeforeItIsTested) {
    // Every sample tests the background: 0 passes "at least 0", fails "at least 128".
    for (int level : {0, 128}) {
        CVxImage image(CM_GRAY, 8, 5, 3);
        FillRandom(image, 9);
        ASSERT_TRUE(CVxThresholdProcessing(&image).Threshold(image, level));
        ForEachSample(image, [&](int x, int y, int) { ASSERT_EQ(Sample(image, x, y, 0), level ? 0 : 255); });
    }
}
