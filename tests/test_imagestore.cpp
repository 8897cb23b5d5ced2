// The image store: layout of the block, copies, predicates and bounded access.
#include "test_support.h"

using namespace lumora::test;

TEST(ImageStore, CreateLaysOutPaddedRowsTopToBottom) {
    const struct { COLOR_MODEL model; int bits, width, channels, rowBytes; } cases[] = {
        {CM_GRAY, 8, 5, 1, 8},  {CM_GRAY, 16, 5, 1, 12}, {CM_GRAY, 32, 3, 1, 12}, {CM_RGB, 8, 5, 3, 16},
        {CM_RGBA, 8, 3, 4, 12}, {CM_GRAYA, 16, 3, 2, 12}, {CM_BITMAP, 1, 7, 1, 8}, {CM_INDEX, 4, 2, 1, 4},
        {CM_CMYK, 8, 1, 4, 4},  {CM_LOGL, 8, 2, 1, 4},   {CM_Lab, 32, 1, 3, 12},  {CM_HSI, 32, 2, 3, 24},
    };
    for (const auto& c : cases) {
        CVxImage image(c.model, c.bits, c.width, 3);
        ASSERT_TRUE(image.IsCreated());
        EXPECT_EQ(image.m_nChannel, c.channels) << c.model;
        EXPECT_EQ(image.m_nBytesPerLine, c.rowBytes) << c.model;
        EXPECT_EQ(image.m_nImageSize, 3 * c.rowBytes);
        EXPECT_EQ(image.m_pBitsPerSampleEx[3], c.bits);
        auto** rows = reinterpret_cast<unsigned char**>(image.Get2DBuffer());
        EXPECT_EQ(rows[0], image.GetBuffer());
        EXPECT_EQ(rows[2] - rows[0], 2 * c.rowBytes);
    }
    const struct { COLOR_MODEL model; int bits, width, height; } refused[] = {
        {CM_GRAY, 8, -1, 4}, {CM_GRAY, 8, 4, -1}, {CM_GRAY, 0, 4, 4}, {static_cast<COLOR_MODEL>(7), 8, 4, 4},
        {CM_RGBA, 32, 1 << 20, 1 << 12}};
    for (const auto& r : refused) EXPECT_FALSE(CVxImage(r.model, r.bits, r.width, r.height).IsCreated());
    EXPECT_TRUE(CVxImage(CM_GRAY, 8, 10, 0).IsCreated());
}

TEST(ImageStore, CopiesAreDeepAndExact) {
    CVxImage a(CM_INDEX, 8, 7, 5, 16);
    FillRandom(a, 1);
    a.GetPalette().GetPaletteItem(3)->red = 200;
    CVxImage b(a), c(CM_RGB, 16, 2, 2), none;
    EXPECT_TRUE(SamePixels(a, b));
    EXPECT_NE(a.GetBuffer(), b.GetBuffer());
    EXPECT_EQ(b.GetPalette().GetPaletteItem(3)->red, 200);
    c = a;  // a different shape is replaced
    EXPECT_EQ(c.m_ColorModel, CM_INDEX);
    EXPECT_TRUE(SamePixels(a, c));
    c = none;
    EXPECT_FALSE(c.IsCreated());
    CVxImage moved(std::move(b));
    EXPECT_TRUE(SamePixels(a, moved));
    EXPECT_FALSE(b.IsCreated());
}

TEST(ImageStore, PredicatesAnswerModelAndSampleWidth) {
    CVxImage rgb8(CM_RGB, 8, 2, 2), rgb16(CM_RGB, 16, 2, 2), gray16(CM_GRAY, 12, 2, 2), gray8(CM_GRAY, 8, 3, 2);
    EXPECT_TRUE(VXISRGB(&rgb16) && VXISRGB16(&rgb16) && VXISGRAY16(&gray16) && VXCOMPARE_SIZE(&rgb8, &gray16));
    EXPECT_FALSE(VXISRGB16(&rgb8) || VXISGRAY(&rgb8) || VXISRGB(nullptr));
    EXPECT_FALSE(VXCOMPARE_SIZE(&rgb8, &gray8) || VXCOMPARE_SIZE(&rgb8, nullptr));
}

TEST(ImageStore, ArrayPixelAndPaletteAccessAreBounded) {
    CVxImage a(CM_GRAY, 8, 4, 4), b;
    CVxImageArray array;
    array.Add(&a);
    EXPECT_EQ(array.Add(&b), 1);
    EXPECT_EQ(array.GetAt(1), &b);
    EXPECT_EQ(array.GetAt(2), nullptr);
    unsigned char v = 77;
    a.SetPixel(3, 3, v);
    a.SetPixel(4, 0, v);  // outside: ignored
    EXPECT_EQ(Sample(a, 3, 3, 0), 77);
    CVxPalette palette(256);
    palette.SetGrayPalette();
    EXPECT_EQ(palette.GetPaletteItem(255)->green, 255);
    EXPECT_EQ(palette.GetPaletteItem(256), nullptr);
    tagRGBA entry{10, 20, 30, 40};
    EXPECT_EQ(reinterpret_cast<unsigned char*>(&entry)[0], 10);  // blue first
}
