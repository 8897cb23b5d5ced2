// Operations split their rows across threads; every thread count must give
// the one-thread result, which the operations' own suites compare with their
// references. The images are large enough to be cut into several bands.
#include <cstring>
#include <functional>

#include <lumora/threading.h>

#include "test_support.h"

namespace lumora::test {
namespace {

// Restores the thread count the process had.
struct ThreadCountGuard {
    int saved = GetLumoraThreadCount();
    ~ThreadCountGuard() { SetLumoraThreadCount(saved); }
};

TEST(Threading, CountIsClampedToOneThroughTwoHundredFiftySix) {
    ThreadCountGuard guard;
    SetLumoraThreadCount(0);
    const int allCores = GetLumoraThreadCount();
    EXPECT_GE(allCores, 1);
    const struct {
        int set, want;
    } cases[] = {{3, 3}, {1, 1}, {-4, allCores}, {256, 256}, {100000, 256}};
    for (const auto& c : cases) {
        SetLumoraThreadCount(c.set);
        EXPECT_EQ(GetLumoraThreadCount(), c.want) << "set " << c.set;
    }
}

// An image whose block is all zero, padding included.
CVxImage Cleared(COLOR_MODEL model, int bits, int width, int height) {
    CVxImage image(model, bits, width, height);
    std::memset(image.GetBuffer(), 0, static_cast<size_t>(image.m_nImageSize));
    return image;
}

// The resize into dest, its rows in a cleared block so that whole blocks
// compare; TRUE however it answers (bilinear answers FALSE, and leaves float
// images as created, that is cleared).
int Resized(CVxImage& t, CVxImage& d, int width, int height, CVxGeometryProcessing::INTERPOLATION how) {
    CVxImage r;
    CVxGeometryProcessing(&t).Resize(width, height, r, how);
    CVxImage out = Cleared(r.m_ColorModel, r.m_nBitsPerSample, width, height);
    const size_t rowBytes = static_cast<size_t>(width) * r.m_nChannel * CVxImageInfo::GetSampleBytes(r.m_nBitsPerSample);
    const bool written = how == CVxGeometryProcessing::INTERPOLATION_NEAREST || t.m_nBitsPerSample <= 16;
    for (int y = 0; y < height && written; ++y) std::memcpy(out.Get2DBuffer()[y], r.Get2DBuffer()[y], rowBytes);
    d = out;
    return TRUE;
}

// An operation from the target into a destination (which may be the target).
using Operation = std::function<int(CVxImage& target, CVxImage& dest)>;

const struct {
    const char* name;
    Operation run;
} kOperations[] = {
    {"Erode r=1", [](CVxImage& t, CVxImage& d) { return CVxMorphologicProcessing(&t).Erode(d, 1); }},
    {"Erode r=4", [](CVxImage& t, CVxImage& d) { return CVxMorphologicProcessing(&t).Erode(d, 4); }},
    {"Dilate r=21", [](CVxImage& t, CVxImage& d) { return CVxMorphologicProcessing(&t).Dilate(d, 21); }},
    {"Median", [](CVxImage& t, CVxImage& d) { return CVxFilter(&t).Median(d); }},
    {"RemoveRandomNoise", [](CVxImage& t, CVxImage& d) { return CVxFilter(&t).RemoveRandomNoise(d, 40); }},
    {"Blur", [](CVxImage& t, CVxImage& d) { return CVxFilter(&t).Blur(d); }},
    {"Sobel3", [](CVxImage& t, CVxImage& d) { return CVxEdgeDetection(&t).Sobel3(d, SOBEL_HORIZONTAL); }},
    {"Laplacian3", [](CVxImage& t, CVxImage& d) { return CVxEdgeDetection(&t).Laplacian3(d); }},
    {"Convolve 5x5 float inner",
     [](CVxImage& t, CVxImage& d) {
         float kernel[25];
         for (int i = 0; i < 25; ++i) kernel[i] = 0.01f * static_cast<float>(i % 7) - 0.02f;
         return CVxConvolution(&t).Convolve(kernel, CSize(5, 5), d, 0.7f, 3.0f, CONVOLUTION_INNER);
     }},
    {"ADD", [](CVxImage& t, CVxImage& d) { d = t; return CVxArithmeticProcessing(&d).ADD(37); }},
    {"CalLookupTable counts",
     [](CVxImage& t, CVxImage& d) {
         // The counts, written as the samples of a 1 x (channels x range) image.
         CVxPointProcessing counter(&t);
         if (!counter.CalLookupTable()) {  // float samples have no counts
             d = t;
             return t.m_nBitsPerSample > 16 ? TRUE : FALSE;
         }
         const int range = counter.GetLookupTable(0).nSize;
         CVxImage counts(CM_GRAY, 32, range, counter.GetLookupTableCount());
         for (int c = 0; c < counter.GetLookupTableCount(); ++c)
             for (int v = 0; v < range; ++v)
                 SetSample(counts, v, c, 0, static_cast<double>(counter.GetLookupTable(c).pTable[v]));
         d = counts;
         return TRUE;
     }},
    {"MUL", [](CVxImage& t, CVxImage& d) { d = t; return CVxArithmeticProcessing(&d).MUL(1.37f); }},
    {"Resize nearest", [](CVxImage& t, CVxImage& d) { return Resized(t, d, 1283, 803, CVxGeometryProcessing::INTERPOLATION_NEAREST); }},
    {"Resize bilinear", [](CVxImage& t, CVxImage& d) { return Resized(t, d, 977, 803, CVxGeometryProcessing::INTERPOLATION_BILINEAR); }},
    {"Averaging", [](CVxImage& t, CVxImage& d) {
         CVxImage a = t, b = t;
         CVxArithmeticProcessing(&b).ADD(37);
         CVxImageArray frames;
         for (CVxImage* frame : {&a, &b, &a}) frames.Add(frame);
         CVxAveraging(&frames).Averaging(d, 0);  // a copy of the first frame where not averaged
         return TRUE;
     }},
    {"ShadingCorrect", [](CVxImage& t, CVxImage& d) {
         CVxImage blank = t;
         CVxArithmeticProcessing(&blank).ADD(9);
         d = t;
         CLMRShadingCorrect shading(&d);
         shading.SetBlankImage(&blank);
         return shading.ShadingCorrect();
     }},
    // The colour conversions share one row loop; HLS works on chunks of a row.
    {"RGBtoHLS", [](CVxImage& t, CVxImage& d) {
         CVxImage hls = Cleared(CM_HLS, 32, t.m_nWidth, t.m_nHeight);
         const int done = VXISRGB(&t) ? CVxColorProcessing::RGBtoHLS(&t, &hls) : TRUE;
         d = hls;
         return done;
     }},
};

struct GammaProbe : CVxGammaProcessing {
    using CVxGammaProcessing::CVxGammaProcessing;
    int Entry(int i) const { return m_pVectorTable[i]; }
};

// The vector lookups of 8-bit tables against the table itself, for every
// byte value at every offset within a vector, with a scalar tail.
TEST(VectorLookups, EveryByteValueTakesItsEntry) {
    for (int channels : {1, 3, 4}) {
        CVxImage image = MakeImage({channels, 8}, 301, 3);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 301; ++x)
                for (int c = 0; c < channels; ++c) SetSample(image, x, y, c, (x * channels + c + 37 * y) % 256);
        const CVxImage before(image);
        GammaProbe gamma(&image);
        gamma.SetCoefficient(0.45f);
        ASSERT_TRUE(gamma.CreateVectorTable(256));
        ASSERT_TRUE(gamma.Gamma());
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 301; ++x)
                for (int c = 0; c < channels; ++c) {
                    const int s = static_cast<int>(Sample(const_cast<CVxImage&>(before), x, y, c));
                    ASSERT_EQ(Sample(image, x, y, c), gamma.Entry(s) & 0xFF) << channels << " channels, " << s;
                }
    }
}

class ParallelLayouts : public testing::TestWithParam<Layout> {};

TEST_P(ParallelLayouts, EveryThreadCountGivesTheOneThreadResult) {
    ThreadCountGuard guard;
    CVxImage source = MakeImage(GetParam(), 641, 400);  // rows padded in most layouts
    std::memset(source.GetBuffer(), 0x5A, static_cast<size_t>(source.m_nImageSize));
    FillRandom(source, 7);
    for (const auto& op : kOperations) {
        SCOPED_TRACE(op.name);
        SetLumoraThreadCount(1);
        CVxImage want;
        ASSERT_TRUE(op.run(source, want));
        for (int threads : {2, 3}) {
            SetLumoraThreadCount(threads);
            CVxImage got;
            ASSERT_TRUE(op.run(source, got));
            EXPECT_TRUE(SamePixels(got, want)) << threads << " threads";
            CVxImage inPlace = source;
            ASSERT_TRUE(op.run(inPlace, inPlace));
            EXPECT_TRUE(SamePixels(inPlace, want)) << threads << " threads, destination = target";
            // A destination of the same shape keeps its block and skips copying what it overwrites.
            CVxImage reused = MakeImage(GetParam(), 641, 400);
            std::memset(reused.GetBuffer(), 0xA5, static_cast<size_t>(reused.m_nImageSize));
            ASSERT_TRUE(op.run(source, reused));
            EXPECT_TRUE(SameBlock(reused, want)) << threads << " threads, reused destination";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, ParallelLayouts, testing::ValuesIn(AllLayouts()), LayoutName);

}  // namespace
}  // namespace lumora::test
