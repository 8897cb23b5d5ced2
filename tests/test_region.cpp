#include <gtest/gtest.h>

#include "core/layout.h"
#include "core/pixels.h"
#include "core/region.h"
#include "test_support.h"

using lumora::detail::ReadIntersectedRegion;
using lumora::detail::ReadRegion;
using lumora::detail::Region;

TEST(RegionReader, ReadsRectanglesByTheFiveRules) {
    struct Case {
        CRect rect;
        bool accepted;
        Region region;
    };
    // A 10 x 8 image.
    const Case cases[] = {
        {{-1, -1, -1, -1}, true, {0, 0, 9, 7}},   // whole image, last row and column included
        {{5, 5, 2, 2}, true, {2, 2, 5, 5}},       // normalised
        {{-10, -10, 3, 3}, true, {0, 0, 3, 3}},   // clipped
        {{10, 0, 12, 3}, false, {}},              // left equal to the width
        {{-5, 0, -1, 3}, false, {}},              // wholly left
        {{0, 8, 3, 9}, false, {}},                // wholly below
        {{4, 0, 4, 7}, true, {4, 0, 4, 7}},       // zero width: one column
        {{8, 6, 30, 30}, true, {8, 6, 9, 7}},
        {{-1, -1, -1, 0}, false, {}},             // only all four -1 mean the whole image
    };
    for (const Case& c : cases) {
        const auto region = ReadRegion(c.rect, 10, 8);
        ASSERT_EQ(region.has_value(), c.accepted) << c.rect.left << "," << c.rect.top;
        if (!region) continue;
        EXPECT_EQ(region->left, c.region.left);
        EXPECT_EQ(region->top, c.region.top);
        EXPECT_EQ(region->right, c.region.right);
        EXPECT_EQ(region->bottom, c.region.bottom);
    }
    EXPECT_TRUE(ReadRegion({-1, -1, -1, -1}, 0, 0)->Empty());
}

TEST(RegionReader, IntersectedRegionsUseTheWindowsRuleAndAnchorTheOperand) {
    // A 10 x 8 image.
    auto whole = ReadIntersectedRegion({-1, -1, -1, -1}, 10, 8);
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->region.right, 9);
    EXPECT_EQ(whole->region.bottom, 7);
    EXPECT_EQ(whole->originX, 0);

    auto shifted = ReadIntersectedRegion({-3, 2, 4, 20}, 10, 8);
    ASSERT_TRUE(shifted);
    EXPECT_EQ(shifted->region.left, 0);
    EXPECT_EQ(shifted->region.top, 2);
    EXPECT_EQ(shifted->region.right, 4);
    EXPECT_EQ(shifted->region.bottom, 7);
    EXPECT_EQ(shifted->originX, -3);
    EXPECT_EQ(shifted->originY, 2);

    EXPECT_FALSE(ReadIntersectedRegion({3, 0, 3, 5}, 10, 8));        // one column is empty there
    EXPECT_FALSE(ReadIntersectedRegion({-1, -1, -1, -1}, 1, 8));     // a one-pixel-wide image too
    EXPECT_FALSE(ReadIntersectedRegion({5, 5, 2, 2}, 10, 8));        // not normalised
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
        EXPECT_EQ(channels, layout.channels);
        EXPECT_EQ(sampleSize, layout.bits / 8u);
    }
    CVxImage image(CM_GRAY, 8, 3, 2);
    auto never = []<class T, int C>() { FAIL(); };
    EXPECT_FALSE(lumora::detail::DispatchLayout(image, 5, never));
    EXPECT_FALSE(lumora::detail::DispatchLayout(image, 0, never));
    EXPECT_FALSE(lumora::detail::DispatchLayout(image, 4, never));  // rows too short for four channels
    image.m_nBitsPerSample = 33;
    EXPECT_FALSE(lumora::detail::DispatchLayout(image, 1, never));
    CVxImage uncreated;
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
    EXPECT_EQ(mask.rows, std::as_const(base).GetAOIImage());
    EXPECT_FALSE(mask.Selected(0, 0));
    EXPECT_TRUE(mask.Selected(1, 0));

    base.SetAOIImage(&small);
    EXPECT_FALSE(lumora::detail::BindAoiMask(base, target, mask));
    base.SetAOIImage(&wide);
    EXPECT_FALSE(lumora::detail::BindAoiMask(base, target, mask));
}
