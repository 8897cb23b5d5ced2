#include <functional>
#include <vector>

#include "reference_colour.h"
#include "test_support.h"

namespace {

using lumora::test::FillRandom;
using lumora::test::Sample;
using lumora::test::SamePixels;
using lumora::test::SetSample;
using CP = CVxColorProcessing;
using Conversion = std::function<int(CVxImage*, CVxImage*)>;
using ImageFn = int (*)(CVxImage*, CVxImage*);
// Picks the image overload of a conversion that also has a per-pixel one.
ImageFn Fn(ImageFn f) { return f; }

// A row of pixels of one model: width = samples / channels.
struct Pixels {
    COLOR_MODEL model;
    int bits;
    std::vector<double> samples;
};

CVxImage Make(const Pixels& p) {
    const int channels = CVxImageInfo::GetChannel(p.model);
    CVxImage image(p.model, p.bits, static_cast<int>(p.samples.size()) / channels, 1);
    for (size_t i = 0; i < p.samples.size(); ++i) SetSample(image, static_cast<int>(i) / channels, 0, static_cast<int>(i) % channels, p.samples[i]);
    return image;
}

std::vector<double> SamplesOf(CVxImage& image) {
    std::vector<double> out;
    for (int x = 0; x < image.m_nWidth; ++x)
        for (int c = 0; c < image.m_nChannel; ++c) out.push_back(Sample(image, x, 0, c));
    return out;
}

Conversion Rgb2b(int r, int g, int b, bool toRgb) {
    return [=](CVxImage* s, CVxImage* d) {
        int table[4] = {r, g, b, 8};
        if (CVxImage* small = toRgb ? s : d) small->SetBitsPerSampleEx(table);
        return toRgb ? CP::RGB2BtoRGB(s, d) : CP::RGBtoRGB2B(s, d);
    };
}

struct Case {
    const char* name;
    Conversion convert;
    Pixels src, dest;  // dest holds the samples before the call
    std::vector<double> want;
};

// Samples in memory order: blue, green, red (, alpha) for RGB and RGBA.
const Case kCases[] = {
    {"RGBtoRGBA keeps alpha", CP::RGBtoRGBA, {CM_RGB, 8, {1, 2, 3}}, {CM_RGBA, 8, {9, 9, 9, 77}}, {1, 2, 3, 77}},
    {"RGBAtoRGB drops alpha", CP::RGBAtoRGB, {CM_RGBA, 8, {1, 2, 3, 4}}, {CM_RGB, 8, {0, 0, 0}}, {1, 2, 3}},
    {"RGBtoRGB16 leaves alpha", CP::RGBtoRGB16, {CM_RGBA, 8, {1, 2, 255, 9}}, {CM_RGBA, 12, {0, 0, 0, 5}}, {16, 32, 4080, 5}},
    {"RGB16toRGB low byte", CP::RGB16toRGB, {CM_RGBA, 12, {16, 4095, 0x1230, 7}}, {CM_RGBA, 8, {0, 0, 0, 3}}, {1, 255, 0x23, 3}},
    {"RGBtoGray rounds", [](auto s, auto d) { return CP::RGBtoGray(s, d, 0.5f, 0, 0); }, {CM_RGB, 8, {0, 0, 3}}, {CM_GRAY, 8, {0}}, {2}},
    {"RGBtoGray clamps above, copies alpha", [](auto s, auto d) { return CP::RGBtoGray(s, d, 0.5f, 0.5f, 0.5f); },
     {CM_RGBA, 8, {255, 255, 255, 200}}, {CM_GRAYA, 8, {0, 0}}, {255, 200}},
    {"RGBtoGray wraps below, alpha untouched", [](auto s, auto d) { return CP::RGBtoGray(s, d, -1, 0, 0); },
     {CM_RGB, 8, {0, 0, 10}}, {CM_GRAYA, 8, {0, 66}}, {247, 66}},
    {"RGBtoGray16 scales, clamps, shifts alpha", [](auto s, auto d) { return CP::RGBtoGray16(s, d, 2, 0, 1); },
     {CM_RGBA, 8, {1, 0, 1, 3, 0, 0, 255, 4}}, {CM_GRAYA, 12, {0, 0, 0, 0}}, {48, 48, 4095, 64}},
    {"GraytoRGB wraps, alpha untouched", [](auto s, auto d) { return CP::GraytoRGB(s, d, 2, 1, 0.5f); },
     {CM_GRAYA, 8, {200, 9}}, {CM_RGBA, 8, {0, 0, 0, 42}}, {100, 200, 144, 42}},
    {"GraytoRGB scales by source bits", [](auto s, auto d) { return CP::GraytoRGB(s, d, 1, 1, 1); },
     {CM_GRAY, 4, {15}}, {CM_RGB, 8, {0, 0, 0}}, {255, 255, 255}},
    {"Gray16toRGB shifts alpha", [](auto s, auto d) { return CP::Gray16toRGB(s, d, 1, 0.5f, 0); },
     {CM_GRAYA, 12, {4095, 4095}}, {CM_RGBA, 8, {9, 9, 9, 9}}, {0, 128, 255, 255}},
    {"GraytoGray16 GrayA", CP::GraytoGray16, {CM_GRAYA, 8, {255, 1}}, {CM_GRAYA, 12, {0, 0}}, {4080, 16}},
    {"GraytoGray16 other model read as grey", CP::GraytoGray16, {CM_INDEX, 8, {3}}, {CM_GRAYA, 16, {0, 5}}, {768, 5}},
    {"Gray16toGray", CP::Gray16toGray, {CM_GRAYA, 12, {4095, 16}}, {CM_GRAYA, 8, {0, 0}}, {255, 1}},
    {"RGBtoBitmap at threshold", [](auto s, auto d) { return CP::RGBtoBitmap(s, d, 128); },
     {CM_RGB, 8, {128, 128, 128, 127, 127, 127}}, {CM_BITMAP, 8, {9, 9}}, {1, 0}},
    {"RGBtoBitmap threshold 0 sets black", [](auto s, auto d) { return CP::RGBtoBitmap(s, d, 0); }, {CM_RGB, 8, {0, 0, 0}},
     {CM_BITMAP, 8, {9}}, {1}},
    {"RGBtoBitmap threshold 256 clears white", [](auto s, auto d) { return CP::RGBtoBitmap(s, d, 256); },
     {CM_RGB, 8, {255, 255, 255}}, {CM_BITMAP, 8, {9}}, {0}},
    {"GraytoBitmap", [](auto s, auto d) { return CP::GraytoBitmap(s, d, 128); }, {CM_GRAYA, 8, {127, 255, 128, 0}},
     {CM_BITMAP, 8, {9, 9}}, {0, 1}},
    {"Gray16toBitmap raw sample", [](auto s, auto d) { return CP::Gray16toBitmap(s, d, 128); },
     {CM_GRAY, 12, {127, 128, 2048}}, {CM_BITMAP, 8, {9, 9, 9}}, {0, 1, 1}},
    {"BitmaptoRGB alpha untouched", CP::BitmaptoRGB, {CM_BITMAP, 8, {0, 7}}, {CM_RGBA, 8, {1, 1, 1, 5, 1, 1, 1, 6}},
     {0, 0, 0, 5, 255, 255, 255, 6}},
    {"BitmaptoGray", CP::BitmaptoGray, {CM_BITMAP, 8, {0, 1}}, {CM_GRAYA, 8, {9, 8, 9, 7}}, {0, 8, 255, 7}},
    {"BitmaptoGray16", CP::BitmaptoGray16, {CM_BITMAP, 8, {0, 1}}, {CM_GRAY, 12, {9, 9}}, {0, 4095}},
    {"RGB2BtoRGB 5 bits", Rgb2b(5, 5, 5, true), {CM_RGB, 5, {31, 16, 0}}, {CM_RGB, 8, {1, 1, 1}}, {255, 131, 0}},
    {"RGB2BtoRGB 5-6-5", Rgb2b(5, 6, 5, true), {CM_RGB, 5, {31, 32, 16}}, {CM_RGB, 8, {1, 1, 1}}, {255, 129, 131}},
    {"RGB2BtoRGB uniform RGBA alpha", Rgb2b(0, 4, 0, true), {CM_RGBA, 4, {15, 0, 1, 255}}, {CM_RGBA, 8, {1, 1, 1, 1}},
     {255, 0, 17, 255}},
    {"RGBtoRGB2B 5-6-5", Rgb2b(5, 6, 5, false), {CM_RGBA, 8, {255, 255, 8, 9}}, {CM_RGB, 5, {0, 0, 0}}, {31, 63, 1}},
    {"RGBtoCMYK white, black, red", CP::RGBtoCMYK, {CM_RGB, 8, {255, 255, 255, 0, 0, 0, 0, 0, 255}},
     {CM_CMYK, 8, std::vector<double>(12, 9)}, {0, 0, 0, 0, 0, 0, 0, 255, 0, 255, 255, 0}},
    {"CMYKtoRGB wraps", CP::CMYKtoRGB, {CM_CMYK, 8, {200, 0, 0, 100}}, {CM_RGBA, 8, {0, 0, 0, 4}}, {155, 155, 211, 4}},
    {"HSItoRGB limits I, grey", Fn(CP::HSItoRGB), {CM_HSI, 32, {0, 0, 2}}, {CM_RGB, 8, {0, 0, 0}}, {252, 252, 252}},
    {"HSItoRGB limits S", Fn(CP::HSItoRGB), {CM_HSI, 32, {0, 2, 0.5}}, {CM_RGB, 8, {0, 0, 0}}, {1, 1, 253}},
    {"HSItoRGB wraps hue once", Fn(CP::HSItoRGB), {CM_HSI, 32, {400, 1, 0.5}}, {CM_RGB, 8, {0, 0, 0}}, {0, 170, 255}},
    {"HLStoRGB grey at S 0", CP::HLStoRGB, {CM_HLS, 32, {90, 0.5, 0}}, {CM_RGB, 8, {1, 1, 1}}, {127, 127, 127}},
    {"HLStoRGB has no limits", CP::HLStoRGB, {CM_HLS, 32, {0, 0.5, 2}}, {CM_RGB, 8, {1, 1, 1}}, {129, 129, 126}},
    {"YCbCrtoRGB clamps", CP::YCbCrtoRGB, {CM_YCbCr, 32, {0, 0, -0.5, 1, 0, 0.5}}, {CM_RGB, 8, {1, 1, 1, 1, 1, 1}},
     {0, 91, 0, 255, 163, 255}},
};

TEST(ColourConversion, HandComputedPixels) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        CVxImage src = Make(c.src), dest = Make(c.dest);
        EXPECT_TRUE(c.convert(&src, &dest));
        EXPECT_EQ(SamplesOf(dest), c.want);
        // Refusals before any pixel is written.
        CVxImage wide(c.dest.model, c.dest.bits, dest.m_nWidth + 1, 1), before = wide;
        EXPECT_FALSE(c.convert(&src, &wide));
        EXPECT_TRUE(SamePixels(wide, before));
        EXPECT_FALSE(c.convert(nullptr, &dest));
        EXPECT_FALSE(c.convert(&src, nullptr));
    }
}

struct SpaceCase {
    const char* name;
    Conversion convert;
    COLOR_MODEL model;
    double blue, green, red;
    double want[3];
};

const SpaceCase kSpaceCases[] = {
    {"HSI ignores blue in extremes", Fn(CP::RGBtoHSI), CM_HSI, 200, 10, 10, {0, 0, 20 / 510.0}},
    {"HSI red keeps 360", Fn(CP::RGBtoHSI), CM_HSI, 0, 0, 255, {360, 1, 0.5}},
    {"HSI green", Fn(CP::RGBtoHSI), CM_HSI, 0, 255, 0, {120, 1, 0.5}},
    {"HSI blue outside red-green", Fn(CP::RGBtoHSI), CM_HSI, 200, 50, 100, {180, 1 / 3.0, 150 / 510.0}},
    {"HLS grey", CP::RGBtoHLS, CM_HLS, 128, 128, 128, {0, 128 / 255.0, 0}},
    {"HLS red keeps 360, light half", CP::RGBtoHLS, CM_HLS, 128, 128, 255, {360, 383 / 510.0, 1}},
    {"HLS blue", CP::RGBtoHLS, CM_HLS, 255, 0, 0, {240, 0.5, 1}},
    {"HSV red", Fn(CP::RGBtoHSV), CM_HSV, 0, 0, 255, {0, 1, 0.5}},
    {"HSV blue left out of V", Fn(CP::RGBtoHSV), CM_HSV, 255, 0, 0, {2.0943951023931957, 1, 0}},
    {"HSV green, no b > g correction", Fn(CP::RGBtoHSV), CM_HSV, 0, 255, 0, {2.0943951023931957, 1, 0.5}},
    {"HSV grey", Fn(CP::RGBtoHSV), CM_HSV, 90, 90, 90, {0, 0, 90 / 255.0f}},
    {"YCbCr black", CP::RGBtoYCbCr, CM_YCbCr, 0, 0, 0, {0, 0, 0}},
};

TEST(ColourConversion, SpacesOfHandComputedPixels) {
    for (const SpaceCase& c : kSpaceCases) {
        SCOPED_TRACE(c.name);
        CVxImage src = Make({CM_RGBA, 8, {c.blue, c.green, c.red, 0}}), dest(c.model, 32, 1, 1);
        ASSERT_TRUE(c.convert(&src, &dest));
        for (int i = 0; i < 3; ++i) EXPECT_EQ(Sample(dest, 0, 0, i), static_cast<float>(c.want[i])) << i;
    }
}

CVxImage RandomImage(COLOR_MODEL model, unsigned seed, double max = 255) {
    CVxImage image(model, 8, 61, 17);
    FillRandom(image, seed, max);
    return image;
}

// Full range, and values 0..3 for many greys and ties.
TEST(ColourConversion, FastSpacesMatchReference) {
    for (double max : {255.0, 3.0}) {
        CVxImage src = RandomImage(CM_RGB, 7, max), hls(CM_HLS, 32, 61, 17), ycc(CM_YCbCr, 32, 61, 17);
        ASSERT_TRUE(CP::RGBtoHLS(&src, &hls));
        ASSERT_TRUE(CP::RGBtoYCbCr(&src, &ycc));
        for (int y = 0; y < src.m_nHeight; ++y)
            for (int x = 0; x < src.m_nWidth; ++x) {
                const auto b = static_cast<uint8_t>(Sample(src, x, y, 0)), g = static_cast<uint8_t>(Sample(src, x, y, 1)),
                           r = static_cast<uint8_t>(Sample(src, x, y, 2));
                float wantHls[3], wantYcc[3];
                lumora::test::ReferenceHls(r, g, b, wantHls);
                lumora::test::ReferenceYCbCr(r, g, b, wantYcc);
                for (int c = 0; c < 3; ++c) {
                    ASSERT_EQ(Sample(hls, x, y, c), wantHls[c]) << x << "," << y;
                    ASSERT_EQ(Sample(ycc, x, y, c), wantYcc[c]) << x << "," << y;
                }
            }
    }
}

TEST(ColourConversion, GreyMatchesReferenceForAnyWeights) {
    const float weights[][3] = {{0.299f, 0.587f, 0.114f}, {0.5f, 0.5f, 0.5f}, {1, 1, 1},   {1e-3f, 2.5f, 0},
                                {3e-6f, 0.7f, 0.2f},     {-0.25f, 1, 0.3f},    {100, 0, 0}, {1e-9f, 1e-9f, 1}};
    CVxImage rgb = RandomImage(CM_RGB, 5), rgba = RandomImage(CM_RGBA, 6), grey(CM_GRAY, 8, 61, 17);
    for (CVxImage* src : {&rgb, &rgba})
        for (const auto& w : weights) {
            ASSERT_TRUE(CP::RGBtoGray(src, &grey, w[0], w[1], w[2]));
            for (int y = 0; y < src->m_nHeight; ++y)
                for (int x = 0; x < src->m_nWidth; ++x)
                    ASSERT_EQ(Sample(grey, x, y, 0), lumora::test::ReferenceGray(Sample(*src, x, y, 2), Sample(*src, x, y, 1),
                                                                                 Sample(*src, x, y, 0), w[0], w[1], w[2]))
                        << src->m_nChannel << " channels, " << w[0] << " " << w[1] << " " << w[2];
        }
}

TEST(ColourConversion, RoundTripsOnRandomImages) {
    CVxImage src = RandomImage(CM_RGB, 11), back(CM_RGB, 8, 61, 17), cmyk(CM_CMYK, 8, 61, 17), ycc(CM_YCbCr, 32, 61, 17);
    ASSERT_TRUE(CP::RGBtoCMYK(&src, &cmyk) && CP::CMYKtoRGB(&cmyk, &back));
    EXPECT_TRUE(SamePixels(src, back));
    ASSERT_TRUE(CP::RGBtoYCbCr(&src, &ycc) && CP::YCbCrtoRGB(&ycc, &back));
    for (int y = 0; y < src.m_nHeight; ++y)
        for (int x = 0; x < src.m_nWidth; ++x)
            for (int c = 0; c < 3; ++c) ASSERT_NEAR(Sample(back, x, y, c), Sample(src, x, y, c), 1) << x << "," << y;
}

// Every row of the dispatchers' table against the conversion it names.
struct DispatchCase {
    COLOR_MODEL model;
    int bits;
    bool toRgba;
    Conversion expected;
};

int CopyAndFalse(CVxImage* s, CVxImage* d) {
    *d = *s;
    return FALSE;
}
int Refused(CVxImage*, CVxImage*) { return FALSE; }
int Grey(CVxImage* s, CVxImage* d) { return CP::GraytoRGB(s, d, 1, 1, 1); }
int Grey16(CVxImage* s, CVxImage* d) { return CP::Gray16toRGB(s, d, 1, 1, 1); }

const DispatchCase kDispatchCases[] = {
    {CM_BITMAP, 8, false, CP::BitmaptoRGB}, {CM_GRAY, 8, true, Grey},
    {CM_GRAYA, 12, false, Grey16},          {CM_GRAY, 32, false, Refused},
    {CM_LOGL, 8, false, Refused},           {CM_INDEX, 8, false, CP::IndextoRGB},
    {CM_RGB, 5, true, CP::RGB2BtoRGB},      {CM_RGB, 8, false, CopyAndFalse},
    {CM_RGB, 8, true, CP::RGBtoRGBA},       {CM_RGB, 12, true, CP::RGB16toRGB},
    {CM_RGB, 32, false, Refused},           {CM_RGBA, 8, false, CP::RGBAtoRGB},
    {CM_RGBA, 8, true, CopyAndFalse},       {CM_RGBA, 12, false, CP::RGBAtoRGB},
    {CM_RGBA, 12, true, CP::RGB16toRGB},    {CM_RGBA, 32, false, CP::RGBAtoRGB},
    {CM_RGBA, 32, true, Refused},           {CM_CMYK, 8, false, CP::CMYKtoRGB},
    {CM_YCbCr, 32, true, CP::YCbCrtoRGB},   {CM_HSV, 32, false, Refused},
    {static_cast<COLOR_MODEL>(7), 8, false, Refused}, {static_cast<COLOR_MODEL>(23), 8, true, Refused},
};

TEST(ColourConversion, DispatchersFollowTheirTable) {
    for (const DispatchCase& c : kDispatchCases) {
        SCOPED_TRACE(testing::Message() << "model " << c.model << ", " << c.bits << " bits, to RGBA " << c.toRgba);
        const COLOR_MODEL made = CVxImageInfo::GetChannel(c.model) ? c.model : CM_GRAY;
        CVxImage src(made, c.bits, 61, 17, 256), got = RandomImage(c.toRgba ? CM_RGBA : CM_RGB, 2), want = got;
        FillRandom(src, 3, c.bits == 32 ? 1 : -1);
        src.m_ColorModel = c.model;
        const int answer = c.toRgba ? CP::ConverttoRGBA(&src, &got) : CP::ConverttoRGB(&src, &got);
        EXPECT_EQ(answer, c.expected(&src, &want));
        EXPECT_TRUE(SamePixels(got, want));
    }
}

TEST(ColourConversion, RefusesWhatTheRulesExclude) {
    CVxImage grey(CM_GRAY, 8, 4, 4), grey16(CM_GRAY, 16, 4, 4), rgb(CM_RGB, 8, 4, 4), rgb6(CM_RGB, 6, 4, 4),
        hsv(CM_HSV, 32, 4, 4), empty(CM_RGB, 8, 4, 0), emptyGrey(CM_GRAY, 8, 4, 0);
    CVxImage before = rgb;
    EXPECT_FALSE(CP::GraytoGray16(&grey, &grey16));  // plain Gray is refused on purpose
    int eight[4] = {8, 8, 8, 8};
    rgb6.SetBitsPerSampleEx(eight);
    EXPECT_FALSE(CP::RGB2BtoRGB(&rgb6, &rgb));
    EXPECT_FALSE(CP::HSVtoRGB(&hsv, &rgb));
    EXPECT_FALSE(CP::RGBtoIndex(&rgb, &grey));
    EXPECT_TRUE(SamePixels(rgb, before));
    EXPECT_TRUE(CP::RGBtoGray(&empty, &emptyGrey, 1, 1, 1));
}

TEST(ColourConversion, IndexPastSmallPaletteIsBlack) {
    CVxImage index = Make({CM_INDEX, 8, {1, 5}}), rgba = Make({CM_RGBA, 8, {9, 9, 9, 1, 9, 9, 9, 2}});
    index.GetPalette().SetPaletteNum(2);
    *index.GetPalette().GetPaletteItem(1) = {10, 20, 30, 40};
    ASSERT_TRUE(CP::IndextoRGB(&index, &rgba));
    EXPECT_EQ(SamplesOf(rgba), (std::vector<double>{10, 20, 30, 1, 0, 0, 0, 2}));
}

}  // namespace
