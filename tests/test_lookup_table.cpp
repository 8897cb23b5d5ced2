// Value counts per channel.
#include <numeric>

#include "test_support.h"

using namespace lumora::test;

class LookupTables : public testing::TestWithParam<Layout> {};

TEST_P(LookupTables, CountEveryValueOfEveryChannel) {
    const Layout layout = GetParam();
    CVxImage image = MakeImage(layout, 13, 9);  // an odd width reaches the tail of the counting loop
    FillRandom(image, 5, layout.bits == 16 ? 300 : 255);
    CVxPointProcessing counts(&image);
    if (layout.bits == 32) {
        EXPECT_FALSE(counts.CalLookupTable());
        EXPECT_EQ(counts.GetLookupTableCount(), 0);
        return;
    }
    for (int call = 0; call < 2; ++call) {  // a second call replaces the tables
        ASSERT_TRUE(counts.CalLookupTable());
        ASSERT_EQ(counts.GetLookupTableCount(), layout.channels);
    }
    for (int c = 0; c < layout.channels; ++c) {
        std::vector<DWORD> expected(size_t{1} << layout.bits, 0);
        ForEachSample(image, [&](int x, int y, int channel) {
            if (channel == c) ++expected[static_cast<size_t>(Sample(image, x, y, c))];
        });
        _PP_LOOKUP_TABLE& table = counts.GetLookupTable(c);
        ASSERT_EQ(table.nSize, 1 << layout.bits);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), table.pTable)) << "channel " << c;
    }
    EXPECT_THROW(counts.GetLookupTable(-1), CInvalidArgException);
    EXPECT_THROW(counts.GetLookupTable(layout.channels), std::invalid_argument);
}

LUMORA_ALL_LAYOUTS(LookupTables);

TEST(LookupTables, RefusalsAndDegenerateImages) {
    EXPECT_FALSE(CVxPointProcessing().CalLookupTable());
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
    counts.RemoveAll();
}
