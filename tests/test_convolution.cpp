// The convolution engine against the per-pixel reference, and the result
// rules at their boundaries.
#include "reference_neighbourhood.h"

namespace lumora::test {
namespace {

class Convolution : public testing::TestWithParam<Layout> {};

TEST_P(Convolution, MatchesReference) {
    const Layout layout = GetParam();
    std::mt19937 rng(1234 + layout.channels * 37 + layout.bits);
    // Kinds: 0 small weights, 1 wide ones, 2 large non-negative whole (float:
    // /64) weights, 3 float weights in 32nds of both signs.
    const struct { int w, h, cx, cy, kind; } shapes[] = {
        {9, 7, 3, 3, 0}, {9, 7, 1, 1, 0}, {9, 7, 3, 3, 1}, {8, 6, 2, 2, 0}, {10, 5, 4, 3, 1}, {11, 8, 5, 5, 1},
        {7, 6, 1, 4, 0}, {6, 5, 7, 9, 0}, {1, 1, 3, 3, 0}, {40, 7, 3, 3, 2}, {40, 7, 5, 3, 3}};
    const int divisorsI[] = {1, 3, -2, -1};
    const float divisorsF[] = {1.0f, 0.7f, -2.5f};
    for (const auto& s : shapes) {
        CVxImage src = MakeImage(layout, s.w, s.h), mask(CM_GRAY, 8, s.w, s.h);
        FillRandom(src, rng());
        FillRandom(mask, rng(), 1.0);
        // Large weights take integer sums past 2^24 and through 32-bit
        // wrap-around; widely spread float weights make the order of terms matter.
        std::vector<int> ki;
        std::vector<float> kf;
        std::uniform_int_distribution<int> wi(-4, 4), exponent(-3, 5);
        std::uniform_real_distribution<float> wf(-1.5f, 1.5f);
        for (int i = 0; i < s.cx * s.cy; ++i) {
            const int whole = s.kind == 2 ? 10 + static_cast<int>(rng() % 20) : wi(rng) * 2 + wi(rng);
            ki.push_back(s.kind == 1 ? wi(rng) * 1000 + wi(rng) : s.kind >= 2 ? whole : wi(rng));
            kf.push_back(s.kind == 1   ? wf(rng) * std::pow(10.0f, static_cast<float>(exponent(rng)))
                         : s.kind >= 2 ? static_cast<float>(whole) / (s.kind == 2 ? 64.0f : 32.0f)
                                       : wf(rng));
        }
        for (int variant = 0; variant < 4; ++variant)
            for (int flag : {0, 1, 2, 7})
                for (bool useMask : {false, true}) {
                    const bool isFloat = variant & 1, abs = variant & 2;
                    CVxConvolution conv(&src);
                    if (useMask) conv.SetAOIImage(&mask);
                    CVxImage dest, want(src);
                    // Kinds 2 and 3 also divide by powers of two without an offset.
                    const bool pow2 = s.kind >= 2 && rng() % 2;
                    const int di = pow2 ? 1 << (rng() % 9) : divisorsI[rng() % 4] * (s.kind == 1 ? 9973 : 1);
                    const int oi = pow2 ? 0 : static_cast<int>(rng() % 21) - 10;
                    const float df = pow2 ? 1.0f : divisorsF[rng() % 3] * (s.kind == 1 ? 1000.0f : 1.0f);
                    const float of = static_cast<float>(oi) * 1.25f;
                    const auto f = static_cast<CONVOLUTION_FLAG>(flag);
                    const CSize size(s.cx, s.cy);
                    int ok;
                    if (isFloat) {
                        ok = abs ? conv.ConvolveABS(kf.data(), size, dest, df, of, f) : conv.Convolve(kf.data(), size, dest, df, of, f);
                        ReferenceConvolve<float>(src, want, kf.data(), s.cx, s.cy, df, of, abs, flag == 2, useMask ? &mask : nullptr);
                    } else {
                        ok = abs ? conv.ConvolveABS(ki.data(), size, dest, di, oi, f) : conv.Convolve(ki.data(), size, dest, di, oi, f);
                        ReferenceConvolve<int>(src, want, ki.data(), s.cx, s.cy, di, oi, abs, flag == 2, useMask ? &mask : nullptr);
                    }
                    SCOPED_TRACE(testing::Message() << s.w << "x" << s.h << " kernel " << s.cx << "x" << s.cy << " float "
                                                    << isFloat << " abs " << abs << " flag " << flag << " mask " << useMask);
                    EXPECT_EQ(ok, TRUE);
                    EXPECT_TRUE(SamePixels(dest, want));
                }
    }
}

TEST_P(Convolution, RefusesBadArgumentsAfterTheCopy) {
    CVxImage src = MakeImage(GetParam(), 6, 5);
    FillRandom(src, 5);
    int ki[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    float kf[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    CVxConvolution conv(&src);
    CVxImage smallMask(CM_GRAY, 8, 5, 5), wideMask(CM_GRAY, 16, 6, 5);
    const auto extend = CONVOLUTION_EXTEND;
    for (int refusal = 0; refusal < 6; ++refusal) {
        CVxImage dest;
        conv.SetAOIImage(refusal == 4 ? &smallMask : refusal == 5 ? &wideMask : nullptr);
        const int ok = refusal == 0   ? conv.Convolve(ki, CSize(3, 3), dest, 0, 0, extend)
                       : refusal == 1 ? conv.ConvolveABS(kf, CSize(3, 3), dest, 0.0f, 0.0f, extend)
                       : refusal == 2 ? conv.Convolve(static_cast<int*>(nullptr), CSize(3, 3), dest, 1, 0, extend)
                       : refusal == 3 ? conv.Convolve(kf, CSize(3, -1), dest, 1.0f, 0.0f, extend)
                                      : conv.Convolve(ki, CSize(3, 3), dest, 1, 0, extend);
        EXPECT_EQ(ok, FALSE) << refusal;
        EXPECT_TRUE(SamePixels(dest, src)) << refusal;
    }
}

LUMORA_ALL_LAYOUTS(Convolution);

// One 1 x 1 kernel on a one-pixel image: the result rules in isolation.
TEST(ConvolutionResult, ClampsAndAbsRule) {
    const struct { int bits; double sample; int weight, divisor, offset; bool abs, floatKernel; double expected; } cases[] = {
        {8, 4, -1, 1, 10, true, false, 6},          // offset + q stays positive: q lowers it
        {8, 4, -1, 1, 0, true, false, 4},           // offset + q negative: offset - q
        {8, 4, -1, 1, 0, false, false, 0},          // negative clamps to 0
        {8, 100, 3, 1, 0, false, false, 255},       // 300 clamps to 255
        {16, 35000, 2, 1, 0, false, false, 65535},
        {16, 7, -1, 2, 0, true, false, 3},          // -3.5 truncates to -3, then offset - q
        {16, 65535, 40000, 1, 0, false, false, 0},  // the 32-bit sum wraps negative
        {32, 7.9, 1, 1, 0, false, false, 7},        // float samples: whole numbers
        {32, 3.0e9, 1, 1, 0, false, false, 0},      // out of the int32 range: no fault
        {32, 3.0e9, 1, 1, 0, false, true, 2147483648.0},  // a float kernel clamps at 2^31
        {32, 1234.75, 1, 1, 0, false, true, 1234},
    };
    for (const auto& c : cases) {
        CVxImage src(CM_GRAY, c.bits, 1, 1), dest;
        SetSample(src, 0, 0, 0, c.sample);
        CVxConvolution conv(&src);
        int k[1] = {c.weight};
        float kf[1] = {static_cast<float>(c.weight)};
        const auto inner = CONVOLUTION_INNER;
        ASSERT_EQ(c.floatKernel ? conv.Convolve(kf, CSize(1, 1), dest, 1.0f, 0.0f, inner)
                  : c.abs       ? conv.ConvolveABS(k, CSize(1, 1), dest, c.divisor, c.offset, inner)
                                : conv.Convolve(k, CSize(1, 1), dest, c.divisor, c.offset, inner), TRUE);
        EXPECT_EQ(Sample(dest, 0, 0, 0), c.expected) << c.bits << "-bit sample " << c.sample << " weight " << c.weight;
    }
}

TEST(ConvolutionFrame, DestinationRules) {
    int k[1] = {1};
    CVxImage src(CM_RGB, 16, 5, 4), dest(CM_GRAY, 8, 2, 2);
    FillRandom(src, 3);
    ASSERT_EQ(CVxConvolution(&src).Convolve(k, CSize(1, 1), dest, 1, 0, CONVOLUTION_CREATE), TRUE);
    EXPECT_TRUE(SamePixels(dest, src));
    // Without a target the destination is left alone.
    const CVxImage before(dest);
    EXPECT_EQ(CVxConvolution().Convolve(k, CSize(1, 1), dest, 1, 0, CONVOLUTION_CREATE), FALSE);
    EXPECT_TRUE(SamePixels(dest, before));
    // The target as its own destination reads the source.
    CVxImage image(CM_RGB, 8, 12, 9), separate;
    FillRandom(image, 8);
    CVxFilter(&image).Blur(separate);
    ASSERT_EQ(CVxFilter(&image).Blur(image), TRUE);
    EXPECT_TRUE(SamePixels(image, separate));
    CVxImage five(CM_RGBA, 8, 3, 3);
    five.m_nChannel = 5;
    EXPECT_EQ(CVxConvolution(&five).Convolve(k, CSize(1, 1), dest, 1, 0, CONVOLUTION_INNER), FALSE);
}

TEST(Filter, BlurAndSharpenAreTheirFloatKernelsAndOnlyBlurHonoursTheMask) {
    CVxImage src(CM_RGBA, 16, 10, 7), mask(CM_GRAY, 8, 10, 7);
    FillRandom(src, 21);
    FillRandom(mask, 22, 1.0);
    const float blur[9] = {0.03125f, 0.03125f, 0.03125f, 0.03125f, 0.75f, 0.03125f, 0.03125f, 0.03125f, 0.03125f};
    const float sharpen[9] = {-0.1f, -0.1f, -0.1f, -0.1f, 1.8f, -0.1f, -0.1f, -0.1f, -0.1f};
    CVxFilter filter(&src);
    filter.SetAOIImage(&mask);
    CVxImage blurred, sharpened, wantBlur(src), wantSharpen(src);
    ASSERT_EQ(filter.Blur(blurred), TRUE);
    ASSERT_EQ(filter.Sharpen(sharpened), TRUE);
    ReferenceConvolve<float>(src, wantBlur, blur, 3, 3, 1.0f, 0.0f, false, true, &mask);
    ReferenceConvolve<float>(src, wantSharpen, sharpen, 3, 3, 1.0f, 0.0f, false, true);
    EXPECT_TRUE(SamePixels(blurred, wantBlur));
    EXPECT_TRUE(SamePixels(sharpened, wantSharpen));
}

}  // namespace
}  // namespace lumora::test
