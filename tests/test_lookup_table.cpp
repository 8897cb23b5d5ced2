#include <numeric>

#include "test_support.h"

using namespace lumora::test;

class LookupTables : public testing::TestWithParam<Layout> {};

TEST_P(LookupTables, CountEveryValueOfEveryChannel) {
    const Layout layout = GetParam();
    // Odd widths exercise the tail of the counting loop.
    CVxImage image = MakeImage(layout, 13, 9);
    FillRandom(image, 5, layout.bits == 16 ? 300 : 255);
    CVxPointProcessing counts(&image);

    if (layout.bits == 32) {
        EXPECT_FALSE(counts.CalLookupTable());
        EXPECT_EQ(counts.GetLookupTableCount(), 0);
        return;
    }
    ASSERT_TRUE(counts.CalLookupTable());
    ASSERT_EQ(counts.GetLookupTableCount(), layout.channels);
    for (int c = 0; c < layout.channels; ++c) {
        std::vector<DWORD> expected(size_t{1} << layout.bits, 0);
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 13; ++x) ++expected[static_cast<size_t>(Sample(image, x, y, c))];
        _PP_LOOKUP_TABLE& table = counts.GetLookupTable(c);
        ASSERT_EQ(table.nSize, 1 << layout.bits);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), table.pTable)) << "channel " << c;
    }
    // A second call replaces the tables.
    ASSERT_TRUE(counts.CalLookupTable());
    EXPECT_EQ(counts.GetLookupTableCount(), layout.channels);
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, LookupTables, testing::ValuesIn(AllLayouts()), LayoutName);

TEST(LookupTables, SmallGreyExampleAndBadIndices) {
    CVxImage image(CM_GRAY, 8, 4, 1);
    const unsigned char values[] = {0, 0, 5, 255};
    std::memcpy(image.GetBuffer(), values, 4);
    CVxPointProcessing counts(&image);
    ASSERT_TRUE(counts.CalLookupTable());
    ASSERT_EQ(counts.GetLookupTableCount(), 1);
    const _PP_LOOKUP_TABLE& t = counts.GetLookupTable(0);
    EXPECT_EQ(t.pTable[0], 2u);
    EXPECT_EQ(t.pTable[5], 1u);
    EXPECT_EQ(t.pTable[255], 1u);
    EXPECT_EQ(std::accumulate(t.pTable, t.pTable + 256, 0u), 4u);
    EXPECT_THROW(counts.GetLookupTable(-1), CInvalidArgException);
    EXPECT_THROW(counts.GetLookupTable(1), std::invalid_argument);
    counts.RemoveAll();
    EXPECT_EQ(counts.GetLookupTableCount(), 0);
}

TEST(LookupTables, RefusalsAndDegenerateImages) {
    CVxPointProcessing unbound;
    EXPECT_FALSE(unbound.CalLookupTable());

    CVxImage noRows(CM_RGB, 8, 5, 0);
    CVxPointProcessing empty(&noRows);
    ASSERT_TRUE(empty.CalLookupTable());
    ASSERT_EQ(empty.GetLookupTableCount(), 3);
    EXPECT_EQ(std::accumulate(empty.GetLookupTable(2).pTable, empty.GetLookupTable(2).pTable + 256, 0u), 0u);

    // Twelve-bit samples get 4096 counters; a sample beyond them is refused.
    CVxImage twelve(CM_GRAY, 12, 3, 1);
    auto* px = static_cast<std::uint16_t*>(twelve.GetBuffer());
    px[0] = 1, px[1] = 4095, px[2] = 4095;
    CVxPointProcessing counts(&twelve);
    ASSERT_TRUE(counts.CalLookupTable());
    EXPECT_EQ(counts.GetLookupTable(0).nSize, 4096);
    EXPECT_EQ(counts.GetLookupTable(0).pTable[4095], 2u);
    px[2] = 4096;
    EXPECT_FALSE(counts.CalLookupTable());
    EXPECT_EQ(counts.GetLookupTableCount(), 0);

    CVxImage wide(CM_GRAY, 8, 2, 2);
    wide.m_nBitsPerSample = 40;
    CVxPointProcessing tooWide(&wide);
    EXPECT_FALSE(tooWide.CalLookupTable());
}
