// Rectangle and masked fills: which pixels receive the value, byte for byte.
#include <tuple>
#include <utility>

#include "test_support.h"

namespace lumora::test {
namespace {

using PixelTypes = std::tuple<unsigned char, tagVXG2, tagVXG3, tagVXG4, unsigned short, tagVXGW2, tagVXGW3, tagVXGW4,
                              float, tagVXGF2, tagVXGF3, tagVXGF4>;

// Calls fn(value) with a value of the record type of one pixel of the layout, bytes 1..250.
template <class Fn>
void WithPixelValue(Layout layout, Fn&& fn) {
    const size_t index = static_cast<size_t>((layout.bits == 8 ? 0 : layout.bits == 16 ? 4 : 8) + layout.channels - 1);
    auto call = [&]<class V>(V value) {
        for (size_t i = 0; i < sizeof value; ++i) reinterpret_cast<unsigned char*>(&value)[i] = static_cast<unsigned char>(i * 37 + 11);
        fn(value);
    };
    [&]<size_t... I>(std::index_sequence<I...>) {
        ((I == index ? call(std::tuple_element_t<I, PixelTypes>{}) : void()), ...);
    }(std::make_index_sequence<12>{});
}

// Pixel (x, y) of `image` holds `value` where chosen(x, y), else the pixel of `before`.
template <class V, class Chosen>
void ExpectFilled(CVxImage& image, CVxImage& before, const V& value, Chosen chosen) {
    for (int y = 0; y < image.m_nHeight; ++y)
        for (int x = 0; x < image.m_nWidth; ++x) {
            const auto* want = chosen(x, y) ? reinterpret_cast<const unsigned char*>(&value)
                                            : static_cast<unsigned char*>(before.Get2DBuffer()[y]) + x * sizeof value;
            EXPECT_EQ(std::memcmp(static_cast<unsigned char*>(image.Get2DBuffer()[y]) + x * sizeof value, want, sizeof value), 0)
                << "(" << x << ", " << y << ")";
        }
}

class Fill : public testing::TestWithParam<Layout> {};

TEST_P(Fill, RectangleFillsItsClippedInclusiveAreaAndMaskFillsWhereSet) {
    const struct { CRect rect; int l, t, r, b; } cases[] = {
        {CRect(5, 5, 2, 2), 2, 2, 5, 5},      // normalised
        {CRect(-3, -3, 0, 0), 0, 0, 0, 0},    // clipped to one pixel
        {CRect(7, 6, 40, 40), 7, 6, 9, 7},
        {CRect(10, 0, 12, 3), 0, 0, -1, -1},  // right of the image: refused
        {CRect(0, -5, 3, -1), 0, 0, -1, -1},  // above it
        {CRect(-1, -1, -1, -1), 0, 0, -1, -1},
    };
    for (const auto& c : cases) {
        CVxImage image = MakeImage(GetParam(), 10, 8);
        FillRandom(image, 9);
        CVxImage before(image);
        WithPixelValue(GetParam(), [&](auto value) {
            EXPECT_EQ(CVxDrawing(&image).SetFill(value, c.rect), c.r >= 0 ? TRUE : FALSE);
            ExpectFilled(image, before, value, [&](int x, int y) { return x >= c.l && x <= c.r && y >= c.t && y <= c.b; });
        });
    }
    CVxImage image = MakeImage(GetParam(), 10, 8), mask(CM_GRAY, 8, 10, 8);
    FillRandom(image, 2);
    FillRandom(mask, 3, 1.0);
    CVxImage before(image);
    WithPixelValue(GetParam(), [&](auto value) {
        EXPECT_EQ(CVxDrawing(&image).SetFill(value, mask), TRUE);
        ExpectFilled(image, before, value, [&](int x, int y) { return Sample(mask, x, y, 0) != 0; });
    });
}

LUMORA_ALL_LAYOUTS(Fill);

TEST(Fill, RefusesWhatCannotBeFilledSafely) {
    CVxImage image(CM_GRAY, 8, 10, 4), small(CM_GRAY, 8, 9, 4), none;
    FillRandom(image, 1);
    const CVxImage before(image);
    CVxDrawing drawing(&image);
    EXPECT_EQ(drawing.SetFill(static_cast<unsigned char>(1), small), FALSE);
    EXPECT_EQ(drawing.SetFill(static_cast<unsigned char>(1), none), FALSE);
    // Sixteen bytes a pixel do not fit rows of ten one-byte pixels.
    EXPECT_EQ(drawing.SetFill(tagVXGF4{}, CRect(0, 0, 1, 1)), FALSE);
    EXPECT_EQ(CVxDrawing().SetFill(1.0f, CRect(0, 0, 1, 1)), FALSE);
    EXPECT_TRUE(SamePixels(image, before));
}

}  // namespace
}  // namespace lumora::test
