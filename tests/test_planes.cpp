// Copying one channel out to a grey image and back.
#include "test_support.h"

using namespace lumora::test;

class Planes : public testing::TestWithParam<Layout> {};

TEST_P(Planes, GetPlaneCopiesOneChannelAndSetPlaneWritesIt) {
    const Layout layout = GetParam();
    CVxImage image = MakeImage(layout, 7, 5), plane, scratch = MakeImage({1, layout.bits}, 7, 5);
    FillRandom(image, 11);
    const CVxImage original(image);
    CVxLumoraBase base(&image);
    if (layout.channels == 1) {
        EXPECT_FALSE(base.GetPlane(0, scratch));
        EXPECT_EQ(scratch.m_nWidth, 7);
        EXPECT_FALSE(base.SetPlane(0, scratch));
        return;
    }
    for (int c = 0; c < layout.channels; ++c) {
        ASSERT_TRUE(base.GetPlane(c, plane));
        EXPECT_EQ(plane.m_ColorModel, CM_GRAY);
        ForEachSample(plane, [&](int x, int y, int) { ASSERT_EQ(Sample(plane, x, y, 0), Sample(image, x, y, c)); });
        FillRandom(scratch, 99 + c);
        ASSERT_TRUE(base.SetPlane(c, scratch));
        ForEachSample(image, [&](int x, int y, int k) {
            ASSERT_EQ(Sample(image, x, y, k), Sample(k == c ? scratch : const_cast<CVxImage&>(original), x, y, k == c ? 0 : k));
        });
        ASSERT_TRUE(base.SetPlane(c, plane));
    }
    EXPECT_TRUE(SamePixels(image, original));
}

LUMORA_ALL_LAYOUTS(Planes);

TEST(Planes, BoundaryIndicesAndRefusals) {
    CVxImage rgb(CM_RGB, 8, 4, 3), plane, narrow(CM_GRAY, 8, 3, 3), same(CM_GRAY, 8, 4, 3), rgbf(CM_RGB, 32, 4, 3);
    FillRandom(rgb, 3);
    const CVxImage original(rgb);
    CVxLumoraBase base(&rgb);
    // An index equal to the channel count, or negative, passes and copies nothing.
    for (int index : {3, -1}) {
        EXPECT_TRUE(base.GetPlane(index, plane));
        EXPECT_EQ(plane.m_nWidth, 4);
        EXPECT_TRUE(base.SetPlane(index, same));
    }
    EXPECT_FALSE(base.GetPlane(4, plane));
    EXPECT_FALSE(base.SetPlane(0, narrow));
    EXPECT_TRUE(SamePixels(rgb, original));
    EXPECT_FALSE(CVxLumoraBase(&rgbf).SetPlane(1, same));  // an 8-bit plane cannot stand in for a float channel
    EXPECT_FALSE(CVxLumoraBase().GetPlane(0, plane));
}
