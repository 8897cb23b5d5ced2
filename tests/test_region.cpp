// The one reader of rectangles, the layout dispatcher and the AOI mask binding.
#include "core/layout.h"
#include "core/pixels.h"
#include "core/region.h"
#include "test_support.h"

using lumora::detail::ReadIntersectedRegion;
using lumora::detail::ReadRegion;

namespace {

std::string Text(const lumora::detail::Region& r) {
    return std::to_string(r.left) + "," + std::to_string(r.top) + "," + std::to_string(r.right) + "," + std::to_string(r.bottom);
}

}  // namespace

TEST(RegionReader, ReadsRectanglesOfA10x8Image) {
    const struct { CRect rect; const char* region; } cases[] = {
        {{-1, -1, -1, -1}, "0,0,9,7"},   // whole image, last row and column included
        {{5, 5, 2, 2}, "2,2,5,5"},       // normalised
        {{-10, -10, 3, 3}, "0,0,3,3"},   // clipped
        {{4, 0, 4, 7}, "4,0,4,7"},       // zero width: one column
        {{8, 6, 30, 30}, "8,6,9,7"},
        {{10, 0, 12, 3}, ""},            // left equal to the width
        {{-5, 0, -1, 3}, ""},            // wholly left
        {{0, 8, 3, 9}, ""},              // wholly below
        {{-1, -1, -1, 0}, ""},           // only all four -1 mean the whole image
    };
    for (const auto& c : cases) {
        const auto region = ReadRegion(c.rect, 10, 8);
        EXPECT_EQ(region ? Text(*region) : "", c.region) << c.rect.left << "," << c.rect.top;
    }
    EXPECT_TRUE(ReadRegion({-1, -1, -1, -1}, 0, 0)->Empty());
}

TEST(RegionReader, IntersectedRegionsUseTheWindowsRuleAndAnchorTheOperand) {
    const auto whole = ReadIntersectedRegion({-1, -1, -1, -1}, 10, 8);
    ASSERT_TRUE(whole);
    EXPECT_EQ(Text(whole->region), "0,0,9,7");
    const auto shifted = ReadIntersectedRegion({-3, 2, 4, 20}, 10, 8);
    ASSERT_TRUE(shifted);
    EXPECT_EQ(Text(shifted->region), "0,2,4,7");
    EXPECT_EQ(shifted->originX, -3);
    EXPECT_EQ(shifted->originY, 2);
    EXPECT_FALSE(ReadIntersectedRegion({3, 0, 3, 5}, 10, 8));     // one column is empty there
    EXPECT_FALSE(ReadIntersectedRegion({-1, -1, -1, -1}, 1, 8));  // a one-pixel-wide image too
    EXPECT_FALSE(ReadIntersectedRegion({5, 5, 2, 2}, 10, 8));     // not normalised
}

TEST(LayoutDispatcher, ReachesEveryLayoutAndRefusesTheRest) {
    using namespace lumora::test;
    for (const Layout& layout : AllLayouts()) {
        CVxImage image = MakeImage(layout, 3, 2);
        int channels = 0;
        size_t sampleSize = 0;
        EXPECT_TRUE(lumora::detail::DispatchLayout(image, layout.channels, [&]<class T, int C>() {
            channels = C;
            sampleSize = sizeof(T);
        }));
        EXPECT_EQ(channels * 100 + sampleSize, layout.channels * 100 + layout.bits / 8u);
    }
    CVxImage image(CM_GRAY, 8, 3, 2), uncreated;
    auto never = []<class T, int C>() { FAIL(); };
    for (int channels : {5, 0, 4})  // four: rows too short for four channels
        EXPECT_FALSE(lumora::detail::DispatchLayout(image, channels, never)) << channels;
    image.m_nBitsPerSample = 33;
    EXPECT_FALSE(lumora::detail::DispatchLayout(image, 1, never));
    uncreated.m_nBitsPerSample = 8;
    EXPECT_FALSE(lumora::detail::DispatchLayout(uncreated, 1, never));
}

TEST(AoiMask, BindsOnlyMasksThatCoverTheTarget) {
    CVxImage target(CM_RGB, 8, 6, 4), good(CM_GRAY, 8, 6, 4), small(CM_GRAY, 8, 5, 4), wide(CM_GRAY, 16, 6, 4);
    CVxLumoraBase base(&target);
    lumora::detail::AoiMask mask;
    EXPECT_TRUE(lumora::detail::BindAoiMask(base, target, mask));
    EXPECT_FALSE(mask.Active());
    EXPECT_TRUE(mask.Selected(5, 3));
    base.SetAOIImage(&good);
    unsigned char zero = 0, one = 1;
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 6; ++x) good.SetPixel(x, y, (x + y) % 2 ? one : zero);
    ASSERT_TRUE(lumora::detail::BindAoiMask(base, target, mask));
    EXPECT_FALSE(mask.Selected(0, 0));
    EXPECT_TRUE(mask.Selected(1, 0));
    for (CVxImage* bad : {&small, &wide}) {
        base.SetAOIImage(bad);
        EXPECT_FALSE(lumora::detail::BindAoiMask(base, target, mask));
    }
}
