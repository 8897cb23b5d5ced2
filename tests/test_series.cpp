// Frame averaging and shading correction against the plain reference, and
// their fixed answers and refusals.
#include "reference_series.h"

namespace lumora::test {
namespace {

// Random images of one layout, kept alive for the array that points at them.
struct Frames {
    std::vector<CVxImage> images;
    CVxImageArray array;
    Frames(Layout layout, int count, int width = 9, int height = 7)
        : images(static_cast<size_t>(count), MakeImage(layout, width, height)) {
        for (CVxImage& image : images) FillRandom(image, static_cast<unsigned>(array.Add(&image) + 1));
    }
};

class SeriesLayout : public testing::TestWithParam<Layout> {};

// Two large frames are summed in several bands of rows; 300 full-range
// 16-bit frames round their float sums, so the order of the additions counts.
TEST_P(SeriesLayout, AverageMatchesTheReference) {
    for (int count : {2, 300}) {
        Frames frames(GetParam(), count, count == 2 ? 1000 : 9, count == 2 ? 400 : 7);
        CVxAveraging averaging(&frames.array);
        CVxImage dest;
        ASSERT_TRUE(averaging.Averaging(dest, 0));
        CVxImage want = ReferenceAverage(frames.array);
        EXPECT_TRUE(SamePixels(dest, want)) << count << " frames";
    }
}

// A blank of 40960 pixels at the maximum wraps 16-bit channel sums to a
// negative mean. The corrections run on copies of the object made before its
// own blank changed: they share its target and own their blank and means.
TEST_P(SeriesLayout, ShadingMatchesTheReference) {
    for (bool saturated : {false, true}) {
        Frames images(GetParam(), 2, saturated ? 256 : 23, saturated ? 160 : 5);
        CVxImage& blank = images.images[1];
        if (saturated) std::memset(blank.GetBuffer(), 0xFF, static_cast<size_t>(blank.m_nImageSize));
        CLMRShadingCorrect original(&images.images[0]), assigned;
        original.SetBlankImage(&blank);
        CLMRShadingCorrect copy(original);
        assigned = original;
        FillRandom(*original.GetBlankImage(), 99);
        CVxImage want = images.images[0];
        ReferenceShading(want, blank);
        ASSERT_TRUE((saturated ? assigned : copy).ShadingCorrect());
        EXPECT_TRUE(SamePixels(images.images[0], want)) << (saturated ? "saturated blank" : "random blank");
    }
}

const Layout kIntegerLayouts[] = {{1, 8}, {3, 8}, {4, 8}, {1, 16}, {3, 16}, {4, 16}};
INSTANTIATE_TEST_SUITE_P(Integer, SeriesLayout, testing::ValuesIn(kIntegerLayouts), LayoutName);

TEST(Shading, TableOfCases) {
    const struct Case { int bits; std::vector<double> blank, target, want; } cases[] = {
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
        for (int x = 0; x < n; ++x) SetSample(blank, x, 0, 0, c.blank[static_cast<size_t>(x)]);
        for (int x = 0; x < n; ++x) SetSample(target, x, 0, 0, c.target[static_cast<size_t>(x)]);
        CLMRShadingCorrect shading(&target);
        shading.SetBlankImage(&blank);
        ASSERT_TRUE(shading.ShadingCorrect());
        for (int x = 0; x < n; ++x) EXPECT_EQ(Sample(target, x, 0, 0), c.want[static_cast<size_t>(x)]) << x;
    }
}

TEST(Averaging, FixedAnswersAndRefusals) {
    Frames grey({1, 8}, 2), floats({3, 32}, 2), greyAlpha({2, 8}, 2), one({1, 32}, 1), fewerRows({1, 8}, 2),
        narrower({1, 8}, 2);
    fewerRows.images[1] = MakeImage({1, 8}, 9, 6);
    narrower.images[1] = MakeImage({1, 8}, 3, 7);
    CVxImageArray empty;
    const struct {
        CVxImageArray* array;
        int mode, want;
        CVxImage* copyLeft;  // dest afterwards, or null for untouched
    } cases[] = {
        {&grey.array, 1, FALSE, nullptr}, {&empty, 0, FALSE, nullptr}, {nullptr, 0, FALSE, nullptr},
        {&floats.array, 0, FALSE, &floats.images[0]}, {&one.array, 0, TRUE, &one.images[0]},
        {&greyAlpha.array, 0, FALSE, &greyAlpha.images[0]}, {&fewerRows.array, 0, FALSE, &fewerRows.images[0]},
        {&narrower.array, 0, FALSE, &narrower.images[0]},
    };
    for (const auto& c : cases) {
        CVxImage dest(CM_RGB, 16, 2, 2), before(dest);
        CVxAveraging averaging(c.array);
        EXPECT_EQ(averaging.Averaging(dest, c.mode), c.want);
        EXPECT_TRUE(SamePixels(dest, c.copyLeft ? *c.copyLeft : before));
        EXPECT_FALSE(averaging.AveragingAccumulation(dest) || averaging.AveragingMinMax(dest));
    }
}

TEST(Shading, RefusalsAndUnchangedLayouts) {
    Frames grey8({1, 8}, 1, 4, 3), grey16({1, 16}, 1, 4, 3), rgb8({3, 8}, 1, 4, 3), wide({1, 8}, 1, 5, 3),
        floats({3, 32}, 1, 4, 3), greyA({2, 8}, 1, 4, 3);
    const struct { Frames *target, *blank; int want; } cases[] = {
        {nullptr, &grey8, FALSE}, {&grey8, nullptr, FALSE}, {&grey8, &wide, FALSE},   {&grey8, &grey16, FALSE},
        {&grey8, &rgb8, FALSE},   {&floats, &floats, TRUE}, {&greyA, &greyA, TRUE},
    };
    for (const auto& c : cases) {
        CVxImage* target = c.target ? &c.target->images[0] : nullptr;
        CVxImage before = target ? *target : CVxImage();
        CLMRShadingCorrect shading(target);
        if (c.blank) shading.SetBlankImage(&c.blank->images[0]);
        EXPECT_EQ(shading.GetMean(nullptr), c.blank ? TRUE : FALSE);
        EXPECT_EQ(shading.ShadingCorrect(), c.want);
        EXPECT_TRUE(SamePixels(target ? *target : before, before));
    }
}

}  // namespace
}  // namespace lumora::test
