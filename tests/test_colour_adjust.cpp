// Colour adjustments: Invert, ReplaceColor, HSIAdjust and the fixed answers.
#include <cmath>

#include "test_support.h"

using namespace lumora::test;

namespace {

struct ModelBits {
    COLOR_MODEL model;
    int bits;
};

// snprintf rather than string sums, which gcc 12 misreports under -Wrestrict.
std::string Name(ModelBits mb, const char* suffix = "") {
    char name[40];
    std::snprintf(name, sizeof name, "m%d_b%d%s", static_cast<int>(mb.model), mb.bits, suffix);
    return name;
}

std::string ModelBitsName(const testing::TestParamInfo<ModelBits>& info) { return Name(info.param); }

double MaxOf(int bits) { return bits > 16 ? 1.0 : std::ldexp(1.0, bits) - 1; }

CVxImage RandomImage(ModelBits mb, unsigned seed) {
    CVxImage image(mb.model, mb.bits, 5, 3);
    FillRandom(image, seed, MaxOf(mb.bits));
    return image;
}

}  // namespace

// ---------------------------------------------------------------------------
// Invert

class InvertTwice : public testing::TestWithParam<ModelBits> {};

// max - sample itself is checked by the selector table below.
TEST_P(InvertTwice, RestoresTheImage) {
    CVxImage image = RandomImage(GetParam(), 3), original = image;
    CVxColorProcessing colour(&image);
    ASSERT_TRUE(colour.Invert(0) && colour.Invert(0));
    EXPECT_TRUE(SamePixels(image, original));
}

INSTANTIATE_TEST_SUITE_P(IntegerModels, InvertTwice,
                         testing::Values(ModelBits{CM_BITMAP, 1}, ModelBits{CM_GRAY, 8}, ModelBits{CM_GRAY, 12},
                                         ModelBits{CM_GRAYA, 16}, ModelBits{CM_RGB, 8}, ModelBits{CM_RGB, 5},
                                         ModelBits{CM_RGBA, 16}, ModelBits{CM_CMYK, 8}),
                         ModelBitsName);

struct SelectorCase {
    ModelBits image;
    int selector;
    int answer;
    int inverted;  // -1 every channel, -2 none, else that channel only
};

class InvertSelector : public testing::TestWithParam<SelectorCase> {};

TEST_P(InvertSelector, InvertsWhatTheTableSaysAndAnswersItsWay) {
    const SelectorCase& c = GetParam();
    CVxImage image = RandomImage(c.image, 8);
    CVxImage original = image;
    CVxColorProcessing colour(&image);
    EXPECT_EQ(colour.Invert(c.selector), c.answer);
    const double max = MaxOf(c.image.bits);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            for (int ch = 0; ch < image.m_nChannel; ++ch) {
                const double s = Sample(original, x, y, ch);
                const bool chosen = c.inverted == -1 || c.inverted == ch;
                ASSERT_EQ(Sample(image, x, y, ch), chosen ? static_cast<double>(static_cast<float>(max - s)) : s)
                    << "channel " << ch;
            }
}

INSTANTIATE_TEST_SUITE_P(
    Table, InvertSelector,
    testing::Values(SelectorCase{{CM_GRAY, 8}, 7, TRUE, -1}, SelectorCase{{CM_LOGL, 32}, -3, TRUE, -1},
                    SelectorCase{{CM_GRAYA, 8}, 1, TRUE, 0}, SelectorCase{{CM_GRAYA, 8}, 2, FALSE, 1},
                    SelectorCase{{CM_GRAYA, 16}, 3, FALSE, -2}, SelectorCase{{CM_RGB, 8}, 3, TRUE, 2},
                    SelectorCase{{CM_RGB, 16}, 4, FALSE, -2}, SelectorCase{{CM_RGBA, 8}, 4, TRUE, 3},
                    SelectorCase{{CM_CMYK, 8}, 5, FALSE, -2}, SelectorCase{{CM_CMYK, 8}, -1, FALSE, -2},
                    SelectorCase{{CM_HSI, 32}, 2, TRUE, 1}, SelectorCase{{CM_YCbCr, 32}, 0, TRUE, -1},
                    SelectorCase{{CM_GRAY, 32}, 0, FALSE, -2}, SelectorCase{{CM_HSV, 8}, 0, FALSE, -2}),
    [](const testing::TestParamInfo<SelectorCase>& info) {
        char suffix[24];
        std::snprintf(suffix, sizeof suffix, "_sel%s%d", info.param.selector < 0 ? "minus" : "",
                      std::abs(info.param.selector));
        return Name(info.param.image, suffix);
    });

TEST(InvertIndex, ComplementsThePaletteColoursAndAnswersFalse) {
    CVxImage image(CM_INDEX, 8, 2, 1, 2), empty(CM_INDEX, 8, 2, 1, 0);
    *image.GetPalette().GetPaletteItem(1) = tagRGBA{10, 20, 30, 40};
    static_cast<std::uint8_t*>(image.Get2DBuffer()[0])[0] = 1;
    CVxColorProcessing colour(&image);
    EXPECT_FALSE(colour.Invert(0));
    const tagRGBA e = *image.GetPalette().GetPaletteItem(1);
    EXPECT_EQ((std::vector<int>{e.blue, e.green, e.red, e.alpha}), (std::vector<int>{245, 235, 225, 40}));
    EXPECT_EQ(Sample(image, 0, 0, 0), 1);
    colour.SetImage(&empty);
    EXPECT_FALSE(colour.Invert(0));
}

// ---------------------------------------------------------------------------
// ReplaceColor

struct ReplaceCase {
    const char* name;
    ModelBits image;
    std::vector<double> match, miss;  // pixel 0 matches the old colour, pixel 1 misses in one sample
    std::vector<double> replaced;
};

class ReplaceColor : public testing::TestWithParam<ReplaceCase> {};

TEST_P(ReplaceColor, ReplacesExactMatchesOnly) {
    const ReplaceCase& c = GetParam();
    CVxImage image(c.image.model, c.image.bits, 2, 1);
    for (int ch = 0; ch < image.m_nChannel; ++ch) {
        SetSample(image, 0, 0, ch, c.match[ch]);
        SetSample(image, 1, 0, ch, c.miss[ch]);
    }
    CVxColorProcessing colour(&image);
    EXPECT_TRUE(colour.ReplaceColor(tagVXG4{{10, 20, 30, 40}}, tagVXG4{{1, 2, 3, 4}}));
    for (int ch = 0; ch < image.m_nChannel; ++ch) {
        EXPECT_EQ(Sample(image, 0, 0, ch), c.replaced[ch]) << "channel " << ch;
        EXPECT_EQ(Sample(image, 1, 0, ch), c.miss[ch]) << "channel " << ch;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Models, ReplaceColor,
    testing::Values(ReplaceCase{"Gray16NotScaled", {CM_GRAY, 16}, {10}, {10 + 256}, {1}},
                    ReplaceCase{"GrayA", {CM_GRAYA, 8}, {10, 20}, {10, 21}, {1, 2}},
                    ReplaceCase{"Rgb", {CM_RGB, 8}, {10, 20, 30}, {10, 20, 31}, {1, 2, 3}},
                    ReplaceCase{"Cmyk", {CM_CMYK, 8}, {10, 20, 30, 40}, {10, 20, 30, 41}, {1, 2, 3, 4}},
                    ReplaceCase{"Rgba16", {CM_RGBA, 16}, {10, 20, 30, 40}, {11, 20, 30, 40}, {1, 2, 3, 4}},
                    // A space without a conversion uses member / 255 in single precision.
                    ReplaceCase{"XyzByteQuotients", {CM_XYZ, 32}, {10 / 255.0f, 20 / 255.0f, 30 / 255.0f},
                                {10 / 255.0f, 21 / 255.0f, 30 / 255.0f}, {1 / 255.0f, 2 / 255.0f, 3 / 255.0f}}),
    [](const testing::TestParamInfo<ReplaceCase>& info) { return std::string(info.param.name); });

TEST(ReplaceColorInSpaces, MatchesPixelsConvertedFromTheSameRgbColour) {
    CVxImage rgb(CM_RGB, 8, 2, 1), hls(CM_HLS, 32, 2, 1), want(CM_HLS, 32, 1, 1), newRgb(CM_RGB, 8, 1, 1);
    const std::uint8_t bytes[] = {10, 20, 30, 11, 20, 30};
    std::memcpy(rgb.Get2DBuffer()[0], bytes, 6);
    std::memcpy(newRgb.Get2DBuffer()[0], "\x01\x02\x03", 3);
    ASSERT_TRUE(CVxColorProcessing::RGBtoHLS(&rgb, &hls));
    ASSERT_TRUE(CVxColorProcessing::RGBtoHLS(&newRgb, &want));
    CVxImage before = hls;
    CVxColorProcessing colour(&hls);
    EXPECT_TRUE(colour.ReplaceColor(tagVXG4{{10, 20, 30, 0}}, tagVXG4{{1, 2, 3, 0}}));
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(Sample(hls, 0, 0, c), Sample(want, 0, 0, c));
        EXPECT_EQ(Sample(hls, 1, 0, c), Sample(before, 1, 0, c));
    }
}

TEST(ReplaceColorIndex, ComparesPaletteRedGreenBlueWithMembersZeroOneTwo) {
    CVxImage image(CM_INDEX, 8, 1, 1, 2);
    *image.GetPalette().GetPaletteItem(0) = tagRGBA{30, 20, 10, 99};  // blue 30, green 20, red 10
    *image.GetPalette().GetPaletteItem(1) = tagRGBA{10, 20, 30, 99};
    CVxColorProcessing colour(&image);
    EXPECT_FALSE(colour.ReplaceColor(tagVXG4{{10, 20, 30, 0}}, tagVXG4{{1, 2, 3, 0}}));
    const tagRGBA a = *image.GetPalette().GetPaletteItem(0), b = *image.GetPalette().GetPaletteItem(1);
    EXPECT_EQ((std::vector<int>{a.blue, a.green, a.red, a.alpha, b.blue, b.red}),
              (std::vector<int>{3, 2, 1, 99, 10, 30}));
}

// ---------------------------------------------------------------------------
// HSIAdjust and the fixed answers

TEST(HsiAdjust, AnswersFalseAfterTurningTheHue) {
    CVxImage image(CM_RGBA, 8, 2, 1);
    // Pure red turned by 120 degrees is pure green; blue outside the
    // red-green range takes no part and comes back as grey from I.
    const std::uint8_t bytes[] = {0, 0, 255, 77, 200, 10, 10, 88};
    std::memcpy(image.Get2DBuffer()[0], bytes, 8);
    CVxColorProcessing colour(&image);
    EXPECT_FALSE(colour.HSIAdjust(120.0f, 0.0f, 0.0f));
    const std::uint8_t want[] = {0, 255, 0, 77, 10, 10, 10, 88};
    EXPECT_EQ(std::memcmp(image.Get2DBuffer()[0], want, 8), 0);
}

TEST(FixedAnswerAdjustments, AnswerTrueAndLeaveTheImage) {
    CVxImage image = RandomImage({CM_RGB, 8}, 5), original = image;
    CVxColorProcessing c(&image);
    const int answers[] = {c.HLSAdjust(1, 1, 1), c.HSVAdjust(1, 1, 1),    c.LUVAdjust(1, 1, 1), c.LabAdjust(1, 1, 1),
                           c.XYZAdjust(1, 1, 1), c.YCbCrAdjust(1, 1, 1),  c.YIQAdjust(1, 1, 1), c.YUVAdjust(1, 1, 1),
                           c.LOGLUVAdjust(1, 1, 1), c.LOGLAdjust(1)};
    for (int answer : answers) EXPECT_EQ(answer, TRUE);
    EXPECT_TRUE(SamePixels(image, original));
}
