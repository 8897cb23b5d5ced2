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

}  // namespace

TEST(DibExport, HeaderAndColourTablePerModel) {
    CVxImage index = Random(CM_INDEX, 8, 4, 3, 1, 15);
    index.GetPalette().SetPaletteNum(16);
    for (int i = 0; i < 16; ++i) index.GetPalette().GetPalette()[i] = {BYTE(i), BYTE(2 * i), BYTE(3 * i), BYTE(255)};
    struct Case {
        CVxImage image;
        int bits;
        std::uint32_t sizeImage, clrUsed;
    } cases[] = {
        {Random(CM_RGB, 8, 3, 2, 2), 24, 24, 0},  {Random(CM_RGBA, 8, 5, 1, 3), 32, 20, 0},
        {index, 8, 12, 16},                       {Random(CM_GRAY, 8, 5, 2, 4), 8, 16, 256},
        {Random(CM_GRAY, 4, 3, 2, 5, 15), 8, 8, 16}, {Random(CM_BITMAP, 1, 9, 2, 6, 1), 8, 24, 2},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "model " << c.image.m_ColorModel << ", " << c.image.m_nBitsPerSample);
        const Block block = Export(c.image);
        ASSERT_NE(block, nullptr);
        const std::vector<std::uint8_t> want = MakeBlock(
            {c.bits, c.image.m_nWidth, c.image.m_nHeight, c.clrUsed, 0, {}, std::vector<std::uint8_t>(c.sizeImage)});
        EXPECT_EQ(std::memcmp(Bytes(block), want.data(), 40), 0);
        const std::uint8_t* table = Bytes(block) + 40;
        if (c.image.m_ColorModel == CM_INDEX) EXPECT_EQ(std::memcmp(table, index.GetPalette().GetPalette(), 64), 0);
        else if (c.bits == 8) EXPECT_EQ(table[4 * (c.clrUsed - 1) + 1], 255);  // the grey ramp's last entry
    }
}

// The block that triggers the halftone message is the "strange masks" case:
// 16 bits, BI_BITFIELDS, a blue mask of 0 (any mask that is empty, not one
// run of bits, above bit 15 or shared with another does the same).
TEST(DibImport, HandBuiltBlocksOfEveryReadBitCount) {
    static int messages = 0;
    const LUMORA_MESSAGE_HANDLER previous =
        GetLumoraManager().SetMessageHandler([](const char* text, const char* caption, UINT style) {
            messages += std::string(text) ==
                            "These DWORD masks look strange!\n\nI'm going to substitute a halftone palette." &&
                        std::string(caption) == "Problem?" && style == static_cast<UINT>(MB_OK | MB_ICONINFORMATION);
            return 1;
        });
    const std::vector<std::uint8_t> table2 = {0, 0, 0, 0, 255, 255, 255, 0};
    const std::vector<std::uint8_t> masks565 = {0, 0xF8, 0, 0, 0xE0, 0x07, 0, 0, 0x1F, 0, 0, 0};
    // Distinct grey levels: GDI, which draws 1- and 4-bit blocks on Windows,
    // matches colours, so only distinct entries keep their indices there.
    std::vector<std::uint8_t> table16(64, 0);
    for (int i = 0; i < 64; ++i) table16[i] = i % 4 == 3 ? 0 : static_cast<std::uint8_t>(i / 4 * 16);
    std::vector<std::uint8_t> strange = masks565;
    strange[8] = 0;
    struct Case {
        const char* what;
        BlockSpec fields;
        COLOR_MODEL model;
        int bits;
        std::vector<std::uint8_t> rows;  // the image's pixel block, padding included
    } cases[] = {
        {"1-bit", {1, 10, 2, 2, 0, table2, {0b10110000, 0b01000000, 0, 0, 0b01000000, 0, 0, 0}},
         CM_INDEX, 1, {1, 0, 1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"4-bit, 2^4 colours", {4, 3, 2, 0, 0, table16, {0x1F, 0xA0, 0, 0, 0x23, 0x40, 0, 0}},
         CM_INDEX, 4, {1, 15, 10, 0, 2, 3, 4, 0}},
        // 5-5-5: red 31, green 16, blue 1 -> 255, 132, 8.
        {"16-bit BI_RGB", {16, 1, 2, 0, 0, {}, {0x01, 0x7E, 0, 0, 0xFF, 0xFF, 0, 0}},
         CM_RGB, 8, {8, 132, 255, 0, 255, 255, 255, 0}},
        // 5-6-5: red 31, green 1, blue 2 -> 248, 4, 16 (shifted to the top, no replication).
        {"16-bit 5-6-5", {16, 1, 2, 0, 3, masks565, {0x22, 0xF8, 0, 0, 0, 0, 0, 0}},
         CM_RGB, 8, {16, 4, 248, 0, 0, 0, 0, 0}},
        // 5-5-5 255, 132, 8 drawn with the 6 x 6 x 6 cube: 255, 153, 0.
        {"16-bit strange masks", {16, 1, 2, 0, 3, strange, {0x01, 0x7E, 0, 0, 0, 0, 0, 0}},
         CM_RGB, 8, {0, 153, 255, 0, 0, 0, 0, 0}},
        // 32 bits: read at offset 40 whatever biClrUsed and the masks say.
        {"32-bit at 40", {32, 1, 2, 5, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, {}},
         CM_RGBA, 8, {1, 2, 3, 4, 5, 6, 7, 8}},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<std::uint8_t> block = MakeBlock(c.fields);
        CVxImage image;
        CVxDIBConvert dib(&image);
        // Twice: the second time into the image the first made, which keeps its block.
        for (int pass = 0; pass < 2; ++pass) {
            ASSERT_EQ(dib.ConvertFrom(AsBlock(block), block.size()), TRUE);
            EXPECT_EQ(image.m_ColorModel, c.model);
            EXPECT_EQ(image.m_nBitsPerSample, c.bits);
#if defined(_WIN32)
            // The colour count of GDI's 8-bit copy.
            EXPECT_EQ(image.GetPalette().GetPaletteNum(), c.bits < 8 ? 256 : 0);
#else
            EXPECT_EQ(image.GetPalette().GetPaletteNum(), c.bits < 8 ? (c.bits == 1 ? 2 : 16) : 0);
#endif
            ASSERT_EQ(static_cast<size_t>(image.m_nImageSize), c.rows.size());
            EXPECT_EQ(std::memcmp(image.GetBuffer(), c.rows.data(), c.rows.size()), 0);
            std::memset(image.GetBuffer(), 0xEE, c.rows.size());
            image.GetPalette().SetPaletteNum(3);
        }
    }
    GetLumoraManager().SetMessageHandler(previous);
    EXPECT_EQ(messages, 2);  // the strange-masks block, read twice
}

// Refusals of the sized form and the TRUE answers for other bit counts leave
// the target as it was; the TRUE answers are the same in both forms.
TEST(DibImport, AnswersThatLeaveTheTargetAlone) {
    const BlockSpec good{8, 3, 2, 2, 0, std::vector<std::uint8_t>(8, 1), std::vector<std::uint8_t>(8, 1)};
    auto with = [&](void (*change)(BlockSpec&)) { BlockSpec s = good; change(s); return s; };
    const struct {
        const char* what;
        BlockSpec fields;
        int want;
    } cases[] = {
        {"2 bits", with([](BlockSpec& s) { s.bits = 2; }), TRUE},
        {"0 bits", with([](BlockSpec& s) { s.bits = 0; }), TRUE},
        {"33 bits", with([](BlockSpec& s) { s.bits = 33; }), TRUE},
        {"header size below 40", with([](BlockSpec& s) { s.size = 36; }), FALSE},
        {"colours past the end", with([](BlockSpec& s) { s.clrUsed = 5; }), FALSE},
        {"2^bits colours past the end", with([](BlockSpec& s) { s.clrUsed = 0; }), FALSE},
        {"rows past the end", with([](BlockSpec& s) { s.height = 3; }), FALSE},
        {"top-down", with([](BlockSpec& s) { s.height = -2; }), FALSE},
        {"negative width", with([](BlockSpec& s) { s.width = -3; }), FALSE},
        {"row size overflow", with([](BlockSpec& s) { s.bits = 32, s.width = 0x7FFFFFFF; }), FALSE},
        {"16 bits compressed", with([](BlockSpec& s) { s.bits = 16, s.compression = 1; }), FALSE},
        // Only the header size check refuses this one: 32-bit rows are read at 40.
        {"header longer than the block",
         with([](BlockSpec& s) { s.bits = 32, s.width = 1, s.size = 60, s.clrUsed = 0, s.table = {}, s.rows = {}; }),
         FALSE},
    };
    for (const auto& c : cases) {
        std::vector<std::uint8_t> block = MakeBlock(c.fields);
        if (c.fields.size == 60) block.pop_back();
        CVxImage image = Random(CM_RGB, 8, 2, 2, 9);
        const CVxImage before(image);
        CVxDIBConvert dib(&image);
        EXPECT_EQ(dib.ConvertFrom(AsBlock(block), block.size()), c.want) << c.what;
        if (c.want) EXPECT_EQ(dib.ConvertFrom(AsBlock(block)), TRUE) << c.what;
        EXPECT_TRUE(SamePixels(image, const_cast<CVxImage&>(before))) << c.what;
    }
    std::vector<std::uint8_t> empty = MakeBlock({24, 3, 0, 0, 0, {}, {}});
    CVxImage image;
    CVxDIBConvert dib(&image);
    EXPECT_EQ(dib.ConvertFrom(AsBlock(empty), empty.size()), TRUE);
    EXPECT_TRUE(image.IsCreated() && image.m_nWidth == 3 && image.m_nHeight == 0);
    // Width 0: rows are held to 4 bytes each, so 2^30 of them do not fit.
    std::vector<std::uint8_t> tall = MakeBlock({1, 0, 1 << 30, 0, 0, std::vector<std::uint8_t>(8), {}});
    EXPECT_EQ(dib.ConvertFrom(AsBlock(tall), tall.size()), FALSE);
}

// Other layouts go through the colour conversions or have no block (TRUE,
// block null).
TEST(DibExport, OtherLayoutsConvertOrHaveNoBlock) {
    struct Case {
        COLOR_MODEL model;
        int bits;
        std::vector<double> samples;
        std::vector<std::uint8_t> pixel;  // first pixel of the block; empty: no block
    } cases[] = {
        {CM_GRAY, 12, {0xABC}, {0xAB}},
        {CM_GRAYA, 8, {100, 7}, {100, 100, 100, 0}},  // GrayA alpha is not carried
        {CM_RGB, 16, {0x1234, 0x5678, 0x9ABC}, {0x12, 0x56, 0x9A}},
        {CM_RGBA, 5, {31, 16, 0, 16}, {255, 131, 0, 131}},
        {CM_GRAY, 32, {1}, {}}, {CM_RGB, 32, {1}, {}}, {CM_RGBA, 32, {1}, {}}, {CM_LOGL, 8, {1}, {}},
        {static_cast<COLOR_MODEL>(7), 8, {1}, {}}, {static_cast<COLOR_MODEL>(23), 8, {1}, {}},
    };
    for (Case& c : cases) {
        CVxImage image(c.pixel.empty() ? CM_RGBA : c.model, c.bits, 1, 1);
        image.m_ColorModel = c.model;
        for (size_t i = 0; i < c.samples.size(); ++i) SetSample(image, 0, 0, static_cast<int>(i), c.samples[i]);
        const Block block = Export(image);
        if (c.pixel.empty()) {
            EXPECT_EQ(block, nullptr) << c.model;
            continue;
        }
        ASSERT_NE(block, nullptr) << c.model;
        EXPECT_EQ(block->biBitCount, c.pixel.size() == 1 ? 8u : 8 * c.pixel.size());
        const std::uint8_t* rows = Bytes(block) + 40 + 4 * block->biClrUsed;
        EXPECT_EQ(std::vector<std::uint8_t>(rows, rows + c.pixel.size()), c.pixel) << c.model << ", " << c.bits;
    }
    CVxImage notCreated;
    EXPECT_EQ(Export(notCreated, FALSE), nullptr);
}
