// Frame averaging and shading correction against the plain reference, and
// their fixed answers and refusals.
#include "reference_series.h"

namespace lumora::test {
namespace {

std::vector<Layout> SeriesLayouts() {
    std::vector<Layout> out;
    for (int bits : {8, 16})
        for (int c : {1, 3, 4}) out.push_back({c, bits});
    return out;
}

// Random images of one layout, kept alive for the array that points at them.
struct Frames {
    std::vector<CVxImage> images;
    std::vector<CVxImage*> pointers;
    CVxImageArray array;
    Frames(Layout layout, int count, int width = 9, int height = 7) : images(static_cast<size_t>(count)) {
        for (int k = 0; k < count; ++k) {
            images[static_cast<size_t>(k)] = MakeImage(layout, width, height);
            FillRandom(images[static_cast<size_t>(k)], static_cast<unsigned>(k + 1));
            pointers.push_back(&images[static_cast<size_t>(k)]);
            array.Add(pointers.back());
        }
    }
};

class SeriesLayout : public testing::TestWithParam<Layout> {};

// 300 full-range 16-bit frames round their float sums: the order counts.
TEST_P(SeriesLayout, AverageMatchesTheReference) {
    for (int count : {1, 2, 300}) {
        Frames frames(GetParam(), count);
        CVxAveraging averaging(&frames.array);
        CVxImage dest;
        ASSERT_TRUE(averaging.Averaging(dest, 0));
        CVxImage want = count == 1 ? frames.images[0] : ReferenceAverage(frames.pointers);
        EXPECT_TRUE(SamePixels(dest, want)) << count << " frames";
    }
}

TEST_P(SeriesLayout, ShadingMatchesTheReference) {
    Frames images(GetParam(), 2, 23, 5);
    CLMRShadingCorrect shading(&images.images[0]);
    shading.SetBlankImage(&images.images[1]);
    CVxImage want = images.images[0];
    ReferenceShading(want, images.images[1]);
    ASSERT_TRUE(shading.ShadingCorrect());
    EXPECT_TRUE(SamePixels(images.images[0], want));
}

INSTANTIATE_TEST_SUITE_P(Integer, SeriesLayout, testing::ValuesIn(SeriesLayouts()), LayoutName);

TEST(Shading, TableOfCases) {
    struct Case {
        int bits;
        std::vector<double> blank, target, want;
    };
    const Case cases[] = {
        {8, {100, 100, 100, 100, 102}, {100, 0, 100, 100, 102}, {100, 0, 100, 100, 100}},  // mean 100.4
        {8, {100, 101}, {100, 101}, {101, 101}},                                          // mean 100.5 rounds up
        {8, {100, 255, 245}, {200, 0, 245}, {255, 0, 200}},                               // 400 limited to 255
        {16, {100, 500}, {100, 1000}, {44, 88}},                                          // 300, 600: low byte
        {8, {0, 200}, {7, 100}, {7, 50}},                                                 // blank 0: unchanged
        {16, {65535, 65535}, {65535, 2}, {254, 2}},  // 65535^2 wraps to -131071: v = -2
    };
    for (const Case& c : cases) {
        const int n = static_cast<int>(c.blank.size());
        CVxImage blank(CM_GRAY, c.bits, n, 1), target(CM_GRAY, c.bits, n, 1);
        for (int x = 0; x < n; ++x) {
            SetSample(blank, x, 0, 0, c.blank[static_cast<size_t>(x)]);
            SetSample(target, x, 0, 0, c.target[static_cast<size_t>(x)]);
        }
        CLMRShadingCorrect shading(&target);
        shading.SetBlankImage(&blank);
        ASSERT_TRUE(shading.ShadingCorrect());
        for (int x = 0; x < n; ++x) EXPECT_EQ(Sample(target, x, 0, 0), c.want[static_cast<size_t>(x)]) << x;
    }
}

// 40960 pixels of 65535 wrap the 32-bit channel sums to a negative mean.
TEST(Shading, WrappedMeanOfABright16BitBlank) {
    Frames images({3, 16}, 2, 256, 160);
    std::fill_n(static_cast<std::uint16_t*>(images.images[1].GetBuffer()), images.images[1].m_nImageSize / 2, 65535);
    CLMRShadingCorrect shading(&images.images[0]);
    shading.SetBlankImage(&images.images[1]);
    CVxImage want = images.images[0];
    ReferenceShading(want, images.images[1]);
    ASSERT_TRUE(shading.ShadingCorrect());
    EXPECT_TRUE(SamePixels(images.images[0], want));
}

TEST(Averaging, FixedAnswersAndRefusals) {
    Frames grey({1, 8}, 2), floats({3, 32}, 2), greyAlpha({2, 8}, 2), one({1, 32}, 1);
    CVxImageArray empty, shortFrame, narrowFrame;
    CVxImage smaller = MakeImage({1, 8}, 9, 6), narrower = MakeImage({1, 8}, 3, 7);
    for (auto [array, later] : {std::pair{&shortFrame, &smaller}, std::pair{&narrowFrame, &narrower}}) {
        array->Add(&grey.images[0]);
        array->Add(later);
    }
    const struct {
        CVxImageArray* array;
        int mode;
        int want;
        CVxImage* copyLeft;  // dest afterwards, or null for untouched
    } cases[] = {
        {&grey.array, 1, FALSE, nullptr},       {&empty, 0, FALSE, nullptr},
        {nullptr, 0, FALSE, nullptr},           {&floats.array, 0, FALSE, &floats.images[0]},
        {&one.array, 0, TRUE, &one.images[0]},  {&greyAlpha.array, 0, FALSE, &greyAlpha.images[0]},
        {&shortFrame, 0, FALSE, &grey.images[0]}, {&narrowFrame, 0, FALSE, &grey.images[0]},
    };
    for (const auto& c : cases) {
        CVxImage dest(CM_RGB, 16, 2, 2), before(dest);
        CVxAveraging averaging(c.array);
        EXPECT_EQ(averaging.Averaging(dest, c.mode), c.want);
        EXPECT_TRUE(SamePixels(dest, c.copyLeft ? *c.copyLeft : before));
        EXPECT_FALSE(averaging.AveragingAccumulation(dest));
        EXPECT_FALSE(averaging.AveragingMinMax(dest));
    }
}

TEST(Shading, RefusalsAndUnchangedLayouts) {
    CVxImage grey8 = MakeImage({1, 8}, 4, 3), grey16 = MakeImage({1, 16}, 4, 3), rgb8 = MakeImage({3, 8}, 4, 3);
    CVxImage wide = MakeImage({1, 8}, 5, 3), floats = MakeImage({3, 32}, 4, 3), greyA = MakeImage({2, 8}, 4, 3);
    for (CVxImage* image : {&grey8, &grey16, &rgb8, &wide, &floats, &greyA}) FillRandom(*image, 5);
    const struct {
        CVxImage* target;
        CVxImage* blank;
        int want;
    } cases[] = {
        {nullptr, &grey8, FALSE}, {&grey8, nullptr, FALSE}, {&grey8, &wide, FALSE},   {&grey8, &grey16, FALSE},
        {&grey8, &rgb8, FALSE},   {&floats, &floats, TRUE}, {&greyA, &greyA, TRUE},
    };
    for (const auto& c : cases) {
        CLMRShadingCorrect shading(c.target);
        CVxImage before = c.target ? *c.target : CVxImage();
        if (c.blank) shading.SetBlankImage(c.blank);
        EXPECT_EQ(shading.GetMean(nullptr), c.blank ? TRUE : FALSE);
        EXPECT_EQ(shading.ShadingCorrect(), c.want);
        if (c.target) {
            EXPECT_TRUE(SamePixels(*c.target, before));
        }
    }
}

// Float blanks add to the means' previous values; a grey float blank has mean 0.
TEST(Shading, FloatMeansAccumulateAcrossCalls) {
    struct Probe : CLMRShadingCorrect {
        using CLMRShadingCorrect::m_fMean;
    } probe;
    CVxImage rgb(CM_RGB, 32, 2, 1), grey(CM_GRAY, 32, 2, 1);
    const float samples[] = {1.5f, 2, 3, 0.5f, 4, 7};
    std::copy(samples, samples + 6, static_cast<float*>(rgb.GetBuffer()));
    std::copy(samples, samples + 2, static_cast<float*>(grey.GetBuffer()));
    probe.SetBlankImage(&rgb);
    EXPECT_TRUE(probe.GetMean(nullptr));
    EXPECT_EQ(probe.m_fMean[0], (1.0f + 2.0f) / 2);  // (previous 1 + sum 2) / 2
    EXPECT_EQ(probe.m_fMean[2], (5.0f + 10.0f) / 2);
    probe.SetBlankImage(&grey);
    EXPECT_EQ(probe.m_fMean[0], 0.0f);
}

TEST(Shading, CopiesShareTheTargetAndOwnTheirBlank) {
    Frames images({3, 8}, 2);
    CLMRShadingCorrect original(&images.images[0]), assigned;
    original.SetBlankImage(&images.images[1]);
    CLMRShadingCorrect copy(original);
    assigned = original;
    CVxImage want = images.images[0];
    ReferenceShading(want, images.images[1]);
    FillRandom(*original.GetBlankImage(), 99);
    for (CLMRShadingCorrect* s : {&copy, &assigned}) {
        EXPECT_EQ(s->GetImage(), &images.images[0]);
        EXPECT_TRUE(SamePixels(*s->GetBlankImage(), images.images[1]));
    }
    ASSERT_TRUE(copy.ShadingCorrect());
    EXPECT_TRUE(SamePixels(images.images[0], want));
}

}  // namespace
}  // namespace lumora::test
