// Rectangle and masked fills: which pixels receive the value, byte for byte.
#include "test_support.h"

namespace lumora::test {
namespace {

// Calls fn(value) with a value of the type whose size is one pixel of the layout.
template <class Fn>
void WithPixelValue(Layout layout, unsigned seed, Fn&& fn) {
    auto make = [&]<class V>() {
        V v;
        std::mt19937 rng(seed);
        auto* b = reinterpret_cast<unsigned char*>(&v);
        for (size_t i = 0; i < sizeof v; ++i) b[i] = static_cast<unsigned char>(rng() % 250 + 1);
        if constexpr (std::is_same_v<V, float>) v = 0.5f + static_cast<float>(seed % 100);
        fn(v);
    };
    const int key = layout.bits * 10 + layout.channels;
    switch (key) {
        case 81: make.template operator()<unsigned char>(); break;
        case 82: make.template operator()<tagVXG2>(); break;
        case 83: make.template operator()<tagVXG3>(); break;
        case 84: make.template operator()<tagVXG4>(); break;
        case 161: make.template operator()<unsigned short>(); break;
        case 162: make.template operator()<tagVXGW2>(); break;
        case 163: make.template operator()<tagVXGW3>(); break;
        case 164: make.template operator()<tagVXGW4>(); break;
        case 321: make.template operator()<float>(); break;
        case 322: make.template operator()<tagVXGF2>(); break;
        case 323: make.template operator()<tagVXGF3>(); break;
        default: make.template operator()<tagVXGF4>(); break;
    }
}

// Pixel (x, y) holds exactly `bytes`.
bool PixelIs(CVxImage& image, int x, int y, const void* bytes, size_t size) {
    return std::memcmp(static_cast<unsigned char*>(image.Get2DBuffer()[y]) + x * size, bytes, size) == 0;
}

class FillLayouts : public testing::TestWithParam<Layout> {};

TEST_P(FillLayouts, RectangleFillsExactlyItsClippedInclusiveArea) {
    struct Case { CRect rect; int l, t, r, b; int result; };
    const Case cases[] = {
        {CRect(5, 5, 2, 2), 2, 2, 5, 5, TRUE},      // normalised
        {CRect(-3, -3, 0, 0), 0, 0, 0, 0, TRUE},    // clipped to one pixel
        {CRect(0, 0, 9, 7), 0, 0, 9, 7, TRUE},      // whole image
        {CRect(7, 6, 40, 40), 7, 6, 9, 7, TRUE},
        {CRect(10, 0, 12, 3), 0, 0, -1, -1, FALSE}, // right of the image
        {CRect(0, -5, 3, -1), 0, 0, -1, -1, FALSE}, // above it
        {CRect(-1, -1, -1, -1), 0, 0, -1, -1, FALSE},
    };
    for (const Case& c : cases) {
        CVxImage image = MakeImage(GetParam(), 10, 8);
        FillRandom(image, 9);
        CVxImage before(image);
        WithPixelValue(GetParam(), 77, [&](auto value) {
            CVxDrawing drawing(&image);
            EXPECT_EQ(drawing.SetFill(value, c.rect), c.result);
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 10; ++x) {
                    const bool inside = x >= c.l && x <= c.r && y >= c.t && y <= c.b;
                    const void* want = inside ? static_cast<const void*>(&value)
                                              : static_cast<unsigned char*>(before.Get2DBuffer()[y]) + x * sizeof value;
                    EXPECT_TRUE(PixelIs(image, x, y, want, sizeof value)) << "(" << x << ", " << y << ")";
                }
        });
    }
}

TEST_P(FillLayouts, MaskFillsWhereTheMaskIsSet) {
    CVxImage image = MakeImage(GetParam(), 9, 6), mask(CM_GRAY, 8, 9, 6);
    FillRandom(image, 2);
    FillRandom(mask, 3, 1.0);
    CVxImage before(image);
    WithPixelValue(GetParam(), 5, [&](auto value) {
        EXPECT_EQ(CVxDrawing(&image).SetFill(value, mask), TRUE);
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 9; ++x) {
                const void* want = Sample(mask, x, y, 0) != 0
                                       ? static_cast<const void*>(&value)
                                       : static_cast<unsigned char*>(before.Get2DBuffer()[y]) + x * sizeof value;
                EXPECT_TRUE(PixelIs(image, x, y, want, sizeof value));
            }
    });
}

INSTANTIATE_TEST_SUITE_P(All, FillLayouts, testing::ValuesIn(AllLayouts()), LayoutName);

TEST(Fill, RecordsOfEqualSizeWriteTheSameBytes) {
    CVxImage a(CM_RGBA, 8, 5, 3), b(CM_RGBA, 8, 5, 3);
    tagVXGW2 w{{0x1234, 0xABCD}};
    tagVXG4 g;
    std::memcpy(&g, &w, 4);
    EXPECT_EQ(CVxDrawing(&a).SetFill(w, CRect(0, 0, 4, 2)), TRUE);
    EXPECT_EQ(CVxDrawing(&b).SetFill(g, CRect(0, 0, 4, 2)), TRUE);
    EXPECT_TRUE(SamePixels(a, b));
}

TEST(Fill, RefusesWhatCannotBeFilledSafely) {
    CVxImage image(CM_GRAY, 8, 10, 4), small(CM_GRAY, 8, 9, 4), none;
    FillRandom(image, 1);
    CVxImage before(image);
    CVxDrawing drawing(&image);
    EXPECT_EQ(drawing.SetFill(static_cast<unsigned char>(1), small), FALSE);
    EXPECT_EQ(drawing.SetFill(static_cast<unsigned char>(1), none), FALSE);
    // Sixteen bytes a pixel do not fit rows of ten one-byte pixels.
    EXPECT_EQ(drawing.SetFill(tagVXGF4{}, CRect(0, 0, 1, 1)), FALSE);
    EXPECT_EQ(CVxDrawing().SetFill(1.0f, CRect(0, 0, 1, 1)), FALSE);
    EXPECT_TRUE(SamePixels(image, before));

    CVxImage zeros(CM_GRAY, 8, 10, 4);
    std::memset(zeros.GetBuffer(), 0, static_cast<size_t>(zeros.m_nImageSize));
    EXPECT_EQ(drawing.SetFill(static_cast<unsigned char>(9), zeros), TRUE);
    EXPECT_TRUE(SamePixels(image, before));
}

}  // namespace
}  // namespace lumora::test
