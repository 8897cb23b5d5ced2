#include "test_support.h"

using namespace lumora::test;

class Planes : public testing::TestWithParam<Layout> {};

TEST_P(Planes, GetPlaneCopiesOneChannelAndSetPlaneRestoresIt) {
    const Layout layout = GetParam();
    CVxImage image = MakeImage(layout, 7, 5);
    FillRandom(image, 11);
    const CVxImage original(image);
    CVxLumoraBase base(&image);
    CVxImage plane;

    if (layout.channels == 1) {
        CVxImage untouched(CM_GRAY, 8, 2, 2);
        EXPECT_FALSE(base.GetPlane(0, untouched));
        EXPECT_EQ(untouched.m_nWidth, 2);
        EXPECT_FALSE(base.SetPlane(0, untouched));
        return;
    }
    for (int c = 0; c < layout.channels; ++c) {
        ASSERT_TRUE(base.GetPlane(c, plane));
        EXPECT_EQ(plane.m_ColorModel, CM_GRAY);
        EXPECT_EQ(plane.m_nBitsPerSample, layout.bits);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 7; ++x) ASSERT_EQ(Sample(plane, x, y, 0), Sample(image, x, y, c));
        // Overwrite the channel, then put the plane back.
        CVxImage scratch = MakeImage({1, layout.bits}, 7, 5);
        FillRandom(scratch, 99 + c);
        ASSERT_TRUE(base.SetPlane(c, scratch));
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 7; ++x) ASSERT_EQ(Sample(image, x, y, c), Sample(scratch, x, y, 0));
        ASSERT_TRUE(base.SetPlane(c, plane));
    }
    EXPECT_TRUE(SamePixels(image, const_cast<CVxImage&>(original)));
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, Planes, testing::ValuesIn(AllLayouts()), LayoutName);

TEST(Planes, BoundaryIndicesAndRefusals) {
    CVxImage rgb(CM_RGB, 8, 4, 3);
    FillRandom(rgb, 3);
    const CVxImage original(rgb);
    CVxLumoraBase base(&rgb);
    CVxImage plane;

    // An index equal to the channel count, or negative, passes and copies nothing.
    for (int index : {3, -1}) {
        EXPECT_TRUE(base.GetPlane(index, plane));
        EXPECT_TRUE(plane.IsCreated());
        EXPECT_EQ(plane.m_nWidth, 4);
    }
    EXPECT_FALSE(base.GetPlane(4, plane));

    CVxImage narrow(CM_GRAY, 8, 3, 3);
    EXPECT_FALSE(base.SetPlane(0, narrow));
    CVxImage same(CM_GRAY, 8, 4, 3);
    EXPECT_TRUE(base.SetPlane(3, same));
    EXPECT_TRUE(base.SetPlane(-2, same));
    EXPECT_TRUE(SamePixels(rgb, const_cast<CVxImage&>(original)));

    // An 8-bit plane cannot stand in for a float target's channel.
    CVxImage rgbf(CM_RGB, 32, 4, 3);
    CVxLumoraBase floatBase(&rgbf);
    EXPECT_FALSE(floatBase.SetPlane(1, same));

    CVxLumoraBase unbound;
    EXPECT_FALSE(unbound.GetPlane(0, plane));
    EXPECT_FALSE(unbound.SetPlane(0, plane));
}
