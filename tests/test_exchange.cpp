#include <memory>

#include "reference_exchange.h"
#include "test_support.h"

using namespace lumora::test;

namespace {

struct Freed {
    void operator()(BITMAPINFOHEADER* b) const { CVxDIBConvert::DeleteBitmapInfoHeaderMem(b); }
};
using Block = std::unique_ptr<BITMAPINFOHEADER, Freed>;

Block Export(CVxImage& image, int expect = TRUE) {
    BITMAPINFOHEADER* raw = reinterpret_cast<BITMAPINFOHEADER*>(&image);  // must be overwritten
    CVxDIBConvert dib(&image);
    EXPECT_EQ(dib.ConvertTo(&raw), expect);
    return Block(raw);
}

const std::uint8_t* Bytes(const Block& b) { return reinterpret_cast<const std::uint8_t*>(b.get()); }

CVxImage Random(COLOR_MODEL model, int bits, int width, int height, unsigned seed, int maxValue = 255) {
    CVxImage image(model, bits, width, height, 0, nullptr, 255);
    FillRandom(image, seed, maxValue);
    return image;
}

// Rows of `image` in reverse order, as ConvertFrom gives back a ConvertTo block.
CVxImage Flipped(CVxImage& image) {
    CVxImage out(image);
    for (int y = 0; y < image.m_nHeight; ++y)
        std::memcpy(out.Get2DBuffer()[y], image.Get2DBuffer()[image.m_nHeight - 1 - y], image.m_nBytesPerLine);
    return out;
}

}  // namespace

TEST(DibExport, HeaderTableAndBottomUpRowsPerModel) {
    CVxImage index = Random(CM_INDEX, 8, 4, 3, 1, 15);
    index.GetPalette().SetPaletteNum(16);
    for (int i = 0; i < 16; ++i) index.GetPalette().GetPalette()[i] = {BYTE(i), BYTE(2 * i), BYTE(3 * i), BYTE(255)};
    struct Case {
        CVxImage image;
        int bits;
        std::uint32_t sizeImage, clrUsed;
        int lastGrey;  // last entry of a grey table, or -1
    } cases[] = {
        {Random(CM_RGB, 8, 3, 2, 2), 24, 24, 0, -1},
        {Random(CM_RGBA, 8, 5, 1, 3), 32, 20, 0, -1},
        {index, 8, 12, 16, -1},
        {Random(CM_GRAY, 8, 5, 2, 4), 8, 16, 256, 255},
        {Random(CM_GRAY, 4, 3, 2, 5, 15), 8, 8, 16, 255},
        {Random(CM_BITMAP, 1, 9, 2, 6, 1), 8, 24, 2, 255},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "model " << c.image.m_ColorModel << ", " << c.image.m_nBitsPerSample);
        const Block block = Export(c.image);
        ASSERT_NE(block, nullptr);
        const BITMAPINFOHEADER& h = *block;
        EXPECT_EQ(h.biSize, 40u);
        EXPECT_EQ(h.biWidth, c.image.m_nWidth);
        EXPECT_EQ(h.biHeight, c.image.m_nHeight);
        EXPECT_EQ(h.biPlanes, 1);
        EXPECT_EQ(h.biBitCount, c.bits);
        EXPECT_EQ(h.biCompression, 0u);
        EXPECT_EQ(h.biSizeImage, c.sizeImage);
        EXPECT_EQ(h.biClrUsed, c.clrUsed);
        const std::uint8_t* table = Bytes(block) + 40;
        if (c.image.m_ColorModel == CM_INDEX) EXPECT_EQ(std::memcmp(table, index.GetPalette().GetPalette(), 64), 0);
        if (c.lastGrey >= 0) EXPECT_EQ(table[4 * (c.clrUsed - 1) + 1], c.lastGrey);
        const std::uint8_t* rows = table + 4 * c.clrUsed;
        const int rowLength = c.image.m_nBytesPerLine;
        for (int y = 0; y < c.image.m_nHeight; ++y)
            EXPECT_EQ(std::memcmp(rows + y * rowLength, c.image.Get2DBuffer()[c.image.m_nHeight - 1 - y], rowLength), 0);
    }
}

TEST(DibExport, ModelsWithoutABlockAnswerTrueAndLeaveItNull) {
    CVxImage cases[] = {CVxImage(CM_GRAY, 32, 2, 2), CVxImage(CM_RGB, 32, 2, 2), CVxImage(CM_RGBA, 32, 2, 2),
                        CVxImage(CM_LOGL, 8, 2, 2), CVxImage(CM_RGB, 8, 2, 2), CVxImage(CM_RGB, 8, 2, 2)};
    cases[4].m_ColorModel = static_cast<COLOR_MODEL>(7);
    cases[5].m_ColorModel = static_cast<COLOR_MODEL>(23);
    for (CVxImage& image : cases) EXPECT_EQ(Export(image), nullptr) << image.m_ColorModel;
    CVxImage notCreated;
    EXPECT_EQ(Export(notCreated, FALSE), nullptr);
}

TEST(DibExchange, BlocksComeBackUpsideDown) {
    for (COLOR_MODEL model : {CM_RGB, CM_RGBA, CM_INDEX})
        for (int width = 1; width <= 5; ++width) {
            CVxImage image = Random(model, 8, width, 3, width);
            image.GetPalette().SetPaletteNum(model == CM_INDEX ? 256 : 0);
            const Block block = Export(image);
            const size_t bytes = 40 + 4 * block->biClrUsed + block->biSizeImage;
            std::vector<std::uint8_t> exact(Bytes(block), Bytes(block) + bytes);
            CVxImage back;
            CVxDIBConvert dib(&back);
            ASSERT_EQ(dib.ConvertFrom(AsBlock(exact), bytes), TRUE);
            // Again into the image it made, which keeps its pixel block.
            std::memset(back.GetBuffer(), 0xEE, back.m_nImageSize);
            back.GetPalette().SetPaletteNum(3);
            ASSERT_EQ(dib.ConvertFrom(AsBlock(exact), bytes), TRUE);
            EXPECT_EQ(back.GetPalette().GetPaletteNum(), model == CM_INDEX ? 256 : 0);
            CVxImage want = Flipped(image);
            EXPECT_TRUE(SamePixels(back, want)) << model << " width " << width;
            EXPECT_EQ(back.m_ColorModel, model);
        }
}

TEST(DibImport, HandBuiltBlocksOfEveryReadBitCount) {
    const std::vector<std::uint8_t> table2 = {0, 0, 0, 0, 255, 255, 255, 0};
    const std::vector<std::uint8_t> masks565 = {0, 0xF8, 0, 0, 0xE0, 0x07, 0, 0, 0x1F, 0, 0, 0};
    struct Case {
        const char* what;
        BlockSpec spec;
        COLOR_MODEL model;
        int bits;
        std::vector<std::uint8_t> row0, row1;  // image rows, padding included
    } cases[] = {
        {"1-bit", {1, 10, 2, 2, 0, table2, {0b10110000, 0b01000000, 0, 0, 0b01000000, 0, 0, 0}},
         CM_INDEX, 1, {1, 0, 1, 1, 0, 0, 0, 0, 0, 1, 0, 0}, {0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"4-bit, 2^4 colours", {4, 3, 2, 0, 0, std::vector<std::uint8_t>(64, 9), {0x1F, 0xA0, 0, 0, 0x23, 0x40, 0, 0}},
         CM_INDEX, 4, {1, 15, 10, 0}, {2, 3, 4, 0}},
        // 5-5-5: red 31, green 16, blue 1 -> 255, 132, 8.
        {"16-bit BI_RGB", {16, 1, 2, 0, 0, {}, {0x01, 0x7E, 0, 0, 0xFF, 0xFF, 0, 0}},
         CM_RGB, 8, {8, 132, 255, 0}, {255, 255, 255, 0}},
        // 5-6-5: red 31, green 1, blue 2 -> 248, 4, 16 (shifted to the top, no replication).
        {"16-bit 5-6-5", {16, 1, 2, 0, 3, masks565, {0x22, 0xF8, 0, 0, 0, 0, 0, 0}},
         CM_RGB, 8, {16, 4, 248, 0}, {0, 0, 0, 0}},
        // 32 bits: read at offset 40 whatever biClrUsed and the masks say.
        {"32-bit at 40", {32, 1, 2, 5, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, {}},
         CM_RGBA, 8, {1, 2, 3, 4}, {5, 6, 7, 8}},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<std::uint8_t> block = MakeBlock(c.spec);
        CVxImage image;
        CVxDIBConvert dib(&image);
        ASSERT_EQ(dib.ConvertFrom(AsBlock(block), block.size()), TRUE);
        EXPECT_EQ(image.m_ColorModel, c.model);
        EXPECT_EQ(image.m_nBitsPerSample, c.bits);
        ASSERT_EQ(image.m_nHeight, 2);
        ASSERT_EQ(static_cast<size_t>(image.m_nBytesPerLine), c.row0.size());
        EXPECT_EQ(std::memcmp(image.Get2DBuffer()[0], c.row0.data(), c.row0.size()), 0);
        EXPECT_EQ(std::memcmp(image.Get2DBuffer()[1], c.row1.data(), c.row1.size()), 0);
    }
}

TEST(DibImport, OtherBitCountsAndEmptyImages) {
    for (int bits : {0, 2, 3, 12, 33}) {
        std::vector<std::uint8_t> block = MakeBlock({bits, 4, 4, 0, 0, {}, std::vector<std::uint8_t>(64)});
        CVxImage image = Random(CM_RGB, 8, 2, 2, 7);
        const CVxImage before(image);
        CVxDIBConvert dib(&image);
        EXPECT_EQ(dib.ConvertFrom(AsBlock(block)), TRUE) << bits;
        EXPECT_EQ(dib.ConvertFrom(AsBlock(block), block.size()), TRUE) << bits;
        EXPECT_TRUE(SamePixels(image, const_cast<CVxImage&>(before)));
    }
    std::vector<std::uint8_t> empty = MakeBlock({24, 0, 3, 0, 0, {}, {}});
    CVxImage image;
    CVxDIBConvert dib(&image);
    EXPECT_EQ(dib.ConvertFrom(AsBlock(empty), empty.size()), TRUE);
    EXPECT_TRUE(image.IsCreated());
    EXPECT_EQ(image.m_nWidth, 0);
    EXPECT_EQ(image.m_nHeight, 3);
}

namespace {
struct Shown {
    int calls = 0;
    std::string text, caption;
    UINT style = 0;
} g_shown;
int Record(const char* text, const char* caption, UINT style) {
    g_shown = {g_shown.calls + 1, text, caption, style};
    return 1;
}
}  // namespace

// The block that triggers the halftone message: 16 bits, BI_BITFIELDS, with
// a blue mask of 0 (any mask that is empty, not one run of bits, above bit 15
// or shared with another does the same).
TEST(DibImport, StrangeMasksShowTheMessageAndDrawWithTheHalftoneCube) {
    const LUMORA_MESSAGE_HANDLER previous = GetLumoraManager().SetMessageHandler(Record);
    g_shown = Shown();
    const std::vector<std::uint8_t> masks = {0, 0xF8, 0, 0, 0xE0, 0x07, 0, 0, 0, 0, 0, 0};
    // 5-5-5 red 31, green 16, blue 1 -> 255, 132, 8 -> cube levels 255, 153, 0.
    std::vector<std::uint8_t> block = MakeBlock({16, 1, 1, 0, 3, masks, {0x01, 0x7E, 0, 0}});
    CVxImage image;
    CVxDIBConvert dib(&image);
    EXPECT_EQ(dib.ConvertFrom(AsBlock(block), block.size()), TRUE);
    GetLumoraManager().SetMessageHandler(previous);
    EXPECT_EQ(g_shown.calls, 1);
    EXPECT_EQ(g_shown.text, "These DWORD masks look strange!\n\nI'm going to substitute a halftone palette.");
    EXPECT_EQ(g_shown.caption, "Problem?");
    EXPECT_EQ(g_shown.style, static_cast<UINT>(MB_OK | MB_ICONINFORMATION));
    EXPECT_EQ(ColourAt(image, 0, 0), 0u | 153u << 8 | 255u << 16);
}

TEST(DibImport, SizedFormRefusesBlocksThatDoNotFitAndLeavesTheTarget) {
    const BlockSpec good{8, 3, 2, 2, 0, std::vector<std::uint8_t>(8, 1), std::vector<std::uint8_t>(8, 1)};
    struct Case {
        const char* what;
        BlockSpec spec;
    } cases[] = {
        {"header size below 40", [&] { BlockSpec s = good; s.size = 36; return s; }()},
        {"colours past the end", [&] { BlockSpec s = good; s.clrUsed = 5; return s; }()},
        {"2^bits colours past the end", [&] { BlockSpec s = good; s.clrUsed = 0; return s; }()},
        {"rows past the end", [&] { BlockSpec s = good; s.height = 3; return s; }()},
        {"top-down", [&] { BlockSpec s = good; s.height = -2; return s; }()},
        {"negative width", [&] { BlockSpec s = good; s.width = -3; return s; }()},
        {"width overflowing the row size", [&] { BlockSpec s = good; s.bits = 32; s.width = 0x7FFFFFFF; return s; }()},
        {"16 bits compressed", [&] { BlockSpec s = good; s.bits = 16; s.compression = 1; return s; }()},
    };
    for (Case& c : cases) {
        std::vector<std::uint8_t> block = MakeBlock(c.spec);
        CVxImage image = Random(CM_RGB, 8, 2, 2, 9);
        const CVxImage before(image);
        CVxDIBConvert dib(&image);
        EXPECT_EQ(dib.ConvertFrom(AsBlock(block), block.size()), FALSE) << c.what;
        EXPECT_TRUE(SamePixels(image, const_cast<CVxImage&>(before))) << c.what;
    }
    // Every cut of a good block, and a header longer than the block, are
    // refused without a read past the end.
    std::vector<std::uint8_t> whole = MakeBlock(good);
    CVxImage image;
    CVxDIBConvert dib(&image);
    for (size_t n = 0; n < whole.size(); ++n) {
        std::vector<std::uint8_t> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
        EXPECT_EQ(dib.ConvertFrom(n ? AsBlock(cut) : AsBlock(whole), n), FALSE) << n;
    }
    whole[0] = static_cast<std::uint8_t>(whole.size() + 1);
    EXPECT_EQ(dib.ConvertFrom(AsBlock(whole), whole.size()), FALSE);
    EXPECT_FALSE(image.IsCreated());
}

TEST(DibExport, OtherLayoutsGoThroughTheColourConversions) {
    struct Case {
        COLOR_MODEL model;
        int bits;
        std::vector<double> samples;
        std::vector<std::uint8_t> pixel;  // first pixel of the block
    } cases[] = {
        {CM_GRAY, 12, {0xABC}, {0xAB}},
        {CM_GRAYA, 8, {100, 7}, {100, 100, 100, 0}},  // GrayA alpha is not carried
        {CM_RGB, 16, {0x1234, 0x5678, 0x9ABC}, {0x12, 0x56, 0x9A}},
        {CM_RGBA, 5, {31, 16, 0, 16}, {255, 131, 0, 131}},
    };
    for (Case& c : cases) {
        CVxImage image(c.model, c.bits, 1, 1);
        for (size_t i = 0; i < c.samples.size(); ++i) SetSample(image, 0, 0, static_cast<int>(i), c.samples[i]);
        const Block block = Export(image);
        ASSERT_NE(block, nullptr) << c.model;
        EXPECT_EQ(block->biBitCount, 8 * (c.pixel.size() == 1 ? 1 : c.pixel.size()));
        const std::uint8_t* rows = Bytes(block) + 40 + 4 * block->biClrUsed;
        EXPECT_EQ(std::vector<std::uint8_t>(rows, rows + c.pixel.size()), c.pixel) << c.model << ", " << c.bits;
    }
}
