// The convolution engine against a plain per-pixel reference, and the
// result rules at their boundaries.
#include "test_support.h"

#include <cmath>
#include <limits>

namespace lumora::test {
namespace {

struct Kernel {
    int cx, cy;
    std::vector<int> ints;
    std::vector<float> floats;
};

Kernel RandomKernel(int cx, int cy, std::mt19937& rng, bool wide) {
    Kernel k{cx, cy, {}, {}};
    std::uniform_int_distribution<int> wi(-4, 4), exponent(-3, 5);
    std::uniform_real_distribution<float> wf(-1.5f, 1.5f);
    for (int i = 0; i < cx * cy; ++i) {
        // Large weights take the integer sums past 2^24 and through 32-bit
        // wrap-around; widely spread float magnitudes make the result depend
        // on the order of the terms.
        k.ints.push_back(wide ? wi(rng) * 1000 + wi(rng) : wi(rng));
        k.floats.push_back(wide ? wf(rng) * std::pow(10.0f, static_cast<float>(exponent(rng))) : wf(rng));
    }
    return k;
}

// Per pixel and channel, terms in row-major order, reads clamped into the image.
template <class K>
void Reference(CVxImage& src, CVxImage& out, const K* kernel, int cx, int cy, K divisor, K offset, bool abs,
               int flag, CVxImage* mask) {
    const int W = src.m_nWidth, H = src.m_nHeight, hx = cx / 2, hy = cy / 2;
    const bool isFloat = src.m_nBitsPerSample > 16;
    const double max = src.m_nBitsPerSample <= 8 ? 255 : src.m_nBitsPerSample <= 16 ? 65535 : 2147483648.0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const bool inner = x >= hx && x < W - hx && y >= hy && y < H - hy;
            if (!inner && flag != 2) continue;
            if (mask && Sample(*mask, x, y, 0) == 0) continue;
            for (int c = 0; c < src.m_nChannel; ++c) {
                auto at = [&](int i, int j) {
                    return Sample(src, std::clamp(x - hx + i, 0, W - 1), std::clamp(y - hy + j, 0, H - 1), c);
                };
                double v;
                if constexpr (std::is_same_v<K, int>) {
                    long long sum = 0;
                    for (int j = 0; j < cy; ++j)
                        for (int i = 0; i < cx; ++i) {
                            const int w = kernel[j * cx + i];
                            if (isFloat)
                                sum = static_cast<int>(static_cast<float>(w) * static_cast<float>(at(i, j)) +
                                                       static_cast<float>(sum));
                            else
                                sum += static_cast<long long>(w) * static_cast<long long>(at(i, j));
                        }
                    const int q = static_cast<int>(static_cast<std::uint32_t>(sum)) / divisor;
                    auto wrap = [](long long x) { return static_cast<long long>(static_cast<int>(static_cast<std::uint32_t>(x))); };
                    long long iv = wrap(static_cast<long long>(offset) + q);
                    if (abs && iv < 0) iv = wrap(static_cast<long long>(offset) - q);
                    v = static_cast<double>(std::clamp<long long>(iv, 0, isFloat ? 2147483647LL : (long long)max));
                } else {
                    float sum = 0.0f;
                    for (int j = 0; j < cy; ++j)
                        for (int i = 0; i < cx; ++i) sum = sum + kernel[j * cx + i] * static_cast<float>(at(i, j));
                    const float q = sum / divisor;
                    float fv = offset + q;
                    if (abs && fv < 0.0f) fv = offset - q;
                    fv = std::clamp(fv, 0.0f, static_cast<float>(max));
                    v = std::trunc(static_cast<double>(fv));
                }
                SetSample(out, x, y, c, v);
            }
        }
}

class ConvolutionLayouts : public testing::TestWithParam<Layout> {};

TEST_P(ConvolutionLayouts, MatchesPlainReference) {
    const Layout layout = GetParam();
    std::mt19937 rng(1234 + layout.channels * 37 + layout.bits);
    struct Shape { int w, h, cx, cy; bool wide; };
    const Shape shapes[] = {{9, 7, 3, 3, false}, {9, 7, 1, 1, false}, {9, 7, 3, 3, true}, {8, 6, 2, 2, false}, {10, 5, 4, 3, true},
                            {11, 8, 5, 5, true}, {7, 6, 1, 4, false}, {6, 5, 7, 9, false}, {1, 1, 3, 3, false}};
    const int divisorsI[] = {1, 3, -2, -1};
    const float divisorsF[] = {1.0f, 0.7f, -2.5f};
    for (const Shape& s : shapes) {
        CVxImage src = MakeImage(layout, s.w, s.h);
        FillRandom(src, rng());
        CVxImage mask(CM_GRAY, 8, s.w, s.h);
        FillRandom(mask, rng(), 1.0);
        const Kernel k = RandomKernel(s.cx, s.cy, rng, s.wide);
        for (int variant = 0; variant < 4; ++variant)
            for (int flag : {0, 1, 2, 7})
                for (bool useMask : {false, true}) {
                    const bool isFloatKernel = variant & 1, abs = variant & 2;
                    CVxConvolution conv(&src);
                    if (useMask) conv.SetAOIImage(&mask);
                    CVxImage dest, expected(src);
                    const int di = divisorsI[rng() % 4] * (s.wide ? 9973 : 1);
                    const float df = divisorsF[rng() % 3] * (s.wide ? 1000.0f : 1.0f);
                    const int oi = static_cast<int>(rng() % 21) - 10;
                    const float of = static_cast<float>(oi) * 1.25f;
                    auto f = static_cast<CONVOLUTION_FLAG>(flag);
                    int ok;
                    std::vector<int> ki = k.ints;
                    std::vector<float> kf = k.floats;
                    if (isFloatKernel) {
                        ok = abs ? conv.ConvolveABS(kf.data(), CSize(s.cx, s.cy), dest, df, of, f)
                                 : conv.Convolve(kf.data(), CSize(s.cx, s.cy), dest, df, of, f);
                        Reference<float>(src, expected, kf.data(), s.cx, s.cy, df, of, abs, flag,
                                         useMask ? &mask : nullptr);
                    } else {
                        ok = abs ? conv.ConvolveABS(ki.data(), CSize(s.cx, s.cy), dest, di, oi, f)
                                 : conv.Convolve(ki.data(), CSize(s.cx, s.cy), dest, di, oi, f);
                        Reference<int>(src, expected, ki.data(), s.cx, s.cy, di, oi, abs, flag,
                                       useMask ? &mask : nullptr);
                    }
                    SCOPED_TRACE(testing::Message() << s.w << "x" << s.h << " kernel " << s.cx << "x" << s.cy
                                                    << " float " << isFloatKernel << " abs " << abs << " flag "
                                                    << flag << " mask " << useMask);
                    EXPECT_EQ(ok, TRUE);
                    EXPECT_TRUE(SamePixels(dest, expected));
                }
    }
}

TEST_P(ConvolutionLayouts, RefusesBadArgumentsAfterTheCopy) {
    CVxImage src = MakeImage(GetParam(), 6, 5);
    FillRandom(src, 5);
    int ki[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    float kf[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    CVxConvolution conv(&src);
    CVxImage dest;
    EXPECT_EQ(conv.Convolve(ki, CSize(3, 3), dest, 0, 0, CONVOLUTION_EXTEND), FALSE);
    EXPECT_TRUE(SamePixels(dest, src));
    CVxImage dest2;
    EXPECT_EQ(conv.ConvolveABS(kf, CSize(3, 3), dest2, 0.0f, 0.0f, CONVOLUTION_EXTEND), FALSE);
    EXPECT_TRUE(SamePixels(dest2, src));
    EXPECT_EQ(conv.Convolve(static_cast<int*>(nullptr), CSize(3, 3), dest, 1, 0, CONVOLUTION_EXTEND), FALSE);
    EXPECT_EQ(conv.Convolve(ki, CSize(0, 3), dest, 1, 0, CONVOLUTION_EXTEND), FALSE);
    EXPECT_EQ(conv.Convolve(kf, CSize(3, -1), dest, 1.0f, 0.0f, CONVOLUTION_EXTEND), FALSE);
    CVxImage smallMask(CM_GRAY, 8, 5, 5), wideMask(CM_GRAY, 16, 6, 5);
    for (CVxImage* mask : {&smallMask, &wideMask}) {
        conv.SetAOIImage(mask);
        CVxImage d;
        EXPECT_EQ(conv.Convolve(ki, CSize(3, 3), d, 1, 0, CONVOLUTION_EXTEND), FALSE);
        EXPECT_TRUE(SamePixels(d, src));
    }
}

INSTANTIATE_TEST_SUITE_P(All, ConvolutionLayouts, testing::ValuesIn(AllLayouts()), LayoutName);

// One 1 x 1 kernel on a one-pixel image: the result rules in isolation.
double Single(int bits, double sample, int weight, int divisor, int offset, bool abs) {
    CVxImage src(CM_GRAY, bits, 1, 1), dest;
    SetSample(src, 0, 0, 0, sample);
    CVxConvolution conv(&src);
    int k[1] = {weight};
    const int ok = abs ? conv.ConvolveABS(k, CSize(1, 1), dest, divisor, offset, CONVOLUTION_INNER)
                       : conv.Convolve(k, CSize(1, 1), dest, divisor, offset, CONVOLUTION_INNER);
    EXPECT_EQ(ok, TRUE);
    return Sample(dest, 0, 0, 0);
}

TEST(ConvolutionResult, ClampsAndAbsRule) {
    struct Case { int bits; double sample; int weight, divisor, offset; bool abs; double expected; };
    const Case cases[] = {
        {8, 4, -1, 1, 10, true, 6},        // offset + q stays positive: q lowers it
        {8, 4, -1, 1, 0, true, 4},         // offset + q negative: offset - q
        {8, 4, -1, 1, 0, false, 0},        // negative clamps to 0
        {8, 100, 3, 1, 0, false, 255},     // 300 clamps to 255
        {16, 35000, 2, 1, 0, false, 65535},
        {16, 7, 1, 2, 0, false, 3},        // truncating division
        {16, 7, -1, 2, 0, true, 3},        // -3.5 truncates to -3, then offset - q
        {16, 65535, 40000, 1, 0, false, 0},  // the 32-bit sum wraps negative
        {32, 7.9, 1, 1, 0, false, 7},      // float samples: whole numbers
        {32, 3.0e9, 1, 1, 0, false, 0},    // out of the int32 range: no fault
    };
    for (const Case& c : cases)
        EXPECT_EQ(Single(c.bits, c.sample, c.weight, c.divisor, c.offset, c.abs), c.expected)
            << c.bits << "-bit sample " << c.sample << " weight " << c.weight;
}

TEST(ConvolutionResult, FloatKernelOnFloatSamplesOnlyClampsAtZero) {
    CVxImage src(CM_GRAY, 32, 2, 1), dest;
    SetSample(src, 0, 0, 0, 3.0e9);
    SetSample(src, 1, 0, 0, 1234.75);
    float k[1] = {1.0f};
    CVxConvolution conv(&src);
    ASSERT_EQ(conv.Convolve(k, CSize(1, 1), dest, 1.0f, 0.0f, CONVOLUTION_INNER), TRUE);
    EXPECT_EQ(Sample(dest, 0, 0, 0), 2147483648.0);
    EXPECT_EQ(Sample(dest, 1, 0, 0), 1234.0);
}

TEST(ConvolutionFrame, CreateFlagRemakesTheDestination) {
    CVxImage src(CM_RGB, 16, 5, 4), dest(CM_GRAY, 8, 2, 2);
    FillRandom(src, 3);
    int k[1] = {1};
    CVxConvolution conv(&src);
    ASSERT_EQ(conv.Convolve(k, CSize(1, 1), dest, 1, 0, CONVOLUTION_CREATE), TRUE);
    EXPECT_TRUE(SamePixels(dest, src));
    EXPECT_EQ(dest.m_ColorModel, CM_RGB);
}

TEST(ConvolutionFrame, NoTargetLeavesDestinationAlone) {
    CVxImage dest(CM_GRAY, 8, 2, 2);
    FillRandom(dest, 1);
    CVxImage before(dest);
    int k[1] = {1};
    CVxConvolution conv;
    EXPECT_EQ(conv.Convolve(k, CSize(1, 1), dest, 1, 0, CONVOLUTION_CREATE), FALSE);
    EXPECT_TRUE(SamePixels(dest, before));
}

TEST(ConvolutionFrame, TargetAsDestinationReadsTheSource) {
    CVxImage image(CM_RGB, 8, 12, 9);
    FillRandom(image, 8);
    CVxImage separate;
    CVxFilter(&image).Blur(separate);
    CVxFilter filter(&image);
    ASSERT_EQ(filter.Blur(image), TRUE);
    EXPECT_TRUE(SamePixels(image, separate));
}

TEST(ConvolutionFrame, UnsupportedLayoutsAreRefused) {
    CVxImage wide(CM_GRAY, 64, 3, 3), dest;
    int k[1] = {1};
    EXPECT_EQ(CVxConvolution(&wide).Convolve(k, CSize(1, 1), dest, 1, 0, CONVOLUTION_INNER), FALSE);
    CVxImage five(CM_RGBA, 8, 3, 3);
    five.m_nChannel = 5;
    EXPECT_EQ(CVxConvolution(&five).Convolve(k, CSize(1, 1), dest, 1, 0, CONVOLUTION_INNER), FALSE);
}

TEST(Filter, BlurAndSharpenAreTheirFloatKernels) {
    CVxImage src(CM_RGBA, 16, 10, 7), mask(CM_GRAY, 8, 10, 7);
    FillRandom(src, 21);
    FillRandom(mask, 22, 1.0);
    float blur[9] = {0.03125f, 0.03125f, 0.03125f, 0.03125f, 0.75f, 0.03125f, 0.03125f, 0.03125f, 0.03125f};
    float sharpen[9] = {-0.1f, -0.1f, -0.1f, -0.1f, 1.8f, -0.1f, -0.1f, -0.1f, -0.1f};
    CVxFilter filter(&src);
    filter.SetAOIImage(&mask);
    CVxImage blurred, sharpened, expectBlur, expectSharpen;
    ASSERT_EQ(filter.Blur(blurred), TRUE);
    ASSERT_EQ(filter.Sharpen(sharpened), TRUE);
    CVxConvolution plain(&src);
    plain.Convolve(sharpen, CSize(3, 3), expectSharpen, 1.0f, 0.0f, CONVOLUTION_EXTEND);
    plain.SetAOIImage(&mask);
    plain.Convolve(blur, CSize(3, 3), expectBlur, 1.0f, 0.0f, CONVOLUTION_EXTEND);
    EXPECT_TRUE(SamePixels(blurred, expectBlur));
    EXPECT_TRUE(SamePixels(sharpened, expectSharpen));
}

TEST(Filter, SharpenIgnoresTheMaskBlurHonoursIt) {
    CVxImage src(CM_GRAY, 8, 8, 8), zeros(CM_GRAY, 8, 8, 8);
    FillRandom(src, 4);
    std::memset(zeros.GetBuffer(), 0, static_cast<size_t>(zeros.m_nImageSize));
    CVxFilter filter(&src);
    filter.SetAOIImage(&zeros);
    CVxImage blurred, sharpened;
    ASSERT_EQ(filter.Blur(blurred), TRUE);
    ASSERT_EQ(filter.Sharpen(sharpened), TRUE);
    EXPECT_TRUE(SamePixels(blurred, src));
    EXPECT_FALSE(SamePixels(sharpened, src));
}

}  // namespace
}  // namespace lumora::test
