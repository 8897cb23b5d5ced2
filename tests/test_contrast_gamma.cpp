// Contrast and gamma: the table each builds, and its lookup over a region.
#include <string>

#include "module/resources.h"
#include "test_support.h"

using namespace lumora::test;

namespace {

// Reads the table the classes keep.
struct ContrastProbe : CVxContrastProcessing {
    using CVxContrastProcessing::CVxContrastProcessing;
    int Entry(int i) const { return m_pVectorTable[i]; }
};

struct GammaProbe : CVxGammaProcessing {
    using CVxGammaProcessing::CVxGammaProcessing;
    int Entry(int i) const { return m_pVectorTable[i]; }
};

std::string g_shown;  // every message shown: style, then text

int Record(const char* text, const char*, UINT style) {
    g_shown += std::to_string(style) + ":" + text + "\n";
    return 1;
}

}  // namespace

TEST(VectorTables, EntriesFollowTheirFormulaRoundingAndClamp) {
    const struct {
        bool gamma;
        float k;
        int size, index, entry;
    } cases[] = {
        {false, 1.5f, 256, 1, 2},     {false, 1.5f, 256, 100, 150}, {false, 1.5f, 256, 171, 255},
        {false, 0.7f, 16, 5, 4},      // 5 x 0.7f rounds to 3.5 in single precision first
        {false, -2.0f, 8, 3, 0},      // negative entries become 0
        {false, 1.5f, 512, 200, 300},  // clamped to the table, not to 255
        {true, 1.5f, 256, 2, 2},      {true, 1.5f, 256, 40, 252}, {true, 1.5f, 256, 41, 255},
        {true, 1.5f, 1024, 100, 1000}, {true, 0.5f, 256, 255, 15},  // not normalised to the table range
        {true, 1.58496249f, 8, 2, 3},  // 2.99999997 rounds to 3 in single precision
    };
    for (const auto& c : cases) {
        ContrastProbe contrast;
        GammaProbe gamma;
        contrast.SetCoefficient(c.k);
        gamma.SetCoefficient(c.k);
        ASSERT_TRUE(c.gamma ? gamma.CreateVectorTable(c.size) : contrast.CreateVectorTable(c.size));
        EXPECT_EQ(c.gamma ? gamma.Entry(c.index) : contrast.Entry(c.index), c.entry)
            << (c.gamma ? "gamma " : "contrast ") << c.k << " entry " << c.index;
    }
    EXPECT_EQ(ContrastProbe().GetCoefficient(), 1.5f);
}

TEST(VectorTables, MissingTableWarnsAndRefuses) {
    const LUMORA_MESSAGE_HANDLER previous = GetLumoraManager().SetMessageHandler(Record);
    g_shown.clear();
    CVxImage image(CM_GRAY, 8, 4, 4);
    FillRandom(image, 2);
    const CVxImage before(image);
    ContrastProbe fresh(&image);
    EXPECT_FALSE(fresh.Contrast());
    fresh.SetCoefficient(2.0f);  // builds an empty table only
    EXPECT_FALSE(fresh.Contrast());
    EXPECT_FALSE(GammaProbe(&image).Gamma());
    ContrastProbe unbound;
    unbound.CreateVectorTable(256);
    EXPECT_FALSE(unbound.Contrast());
    EXPECT_FALSE(fresh.AutoContrast());
    EXPECT_TRUE(SamePixels(image, before));
    // A region wholly outside is refused without a warning.
    ContrastProbe built(&image);
    built.CreateVectorTable(256);
    EXPECT_FALSE(built.Contrast(CRect(4, 0, 8, 3)));
    // One exclamation box (48) per refusal, in the current language.
    const std::string box = "48:" + lumora::detail::LoadResourceString(lumora::detail::kIdsCallSetCoefficientFirst).str() + "\n";
    EXPECT_EQ(g_shown, box + box + box + box);
    GetLumoraManager().SetMessageHandler(previous);
}

TEST(VectorTables, NewCoefficientNeedsARebuild) {
    CVxImage image(CM_GRAY, 8, 1, 1);
    SetSample(image, 0, 0, 0, 10);
    ContrastProbe contrast(&image);
    contrast.SetCoefficient(2.0f);
    contrast.CreateVectorTable(256);
    contrast.SetCoefficient(3.0f);
    ASSERT_TRUE(contrast.Contrast());
    EXPECT_EQ(Sample(image, 0, 0, 0), 20);
    contrast.CreateVectorTable(256);
    ASSERT_TRUE(contrast.Contrast());
    EXPECT_EQ(Sample(image, 0, 0, 0), 60);
}

class VectorTableApply : public testing::TestWithParam<Layout> {};

TEST_P(VectorTableApply, EverySampleOfTheRegionIsLookedUp) {
    const Layout layout = GetParam();
    const bool processed = layout.bits != 32 && layout.channels != 2;
    CVxImage image = MakeImage(layout, 30, 6);  // rows long enough for grouped lookups and a tail
    FillRandom(image, 21);
    CVxImage before(image);
    ContrastProbe contrast(&image);
    contrast.SetCoefficient(1.25f);
    ASSERT_TRUE(contrast.CreateVectorTable(layout.bits == 16 ? 65536 : 256));
    ASSERT_TRUE(contrast.Contrast(CRect(1, 1, 27, 4)));
    ForEachSample(image, [&](int x, int y, int c) {
        const double s = Sample(before, x, y, c);
        const bool inside = processed && x >= 1 && x <= 27 && y >= 1 && y <= 4;
        ASSERT_EQ(Sample(image, x, y, c), inside ? contrast.Entry(static_cast<int>(s)) : s) << x << "," << y;
    });
}

TEST_P(VectorTableApply, SamplesBeyondTheTableAreRefusedBeforeAnyWrite) {
    const Layout layout = GetParam();
    const int refused = layout.bits != 32 && layout.channels != 2 ? FALSE : TRUE;
    CVxImage image = MakeImage(layout, 5, 5);
    FillRandom(image, 6, 99);
    GammaProbe gamma(&image);
    gamma.CreateVectorTable(100);
    EXPECT_TRUE(gamma.Gamma());  // every sample below 100 has an entry
    SetSample(image, 4, 4, layout.channels - 1, 100);
    const CVxImage before(image);
    EXPECT_EQ(gamma.Gamma(), refused);
    EXPECT_TRUE(SamePixels(image, before));
    EXPECT_TRUE(gamma.Gamma(CRect(0, 0, 3, 4)));  // the region avoids the sample
    gamma.CreateVectorTable(-3);  // a negative size keeps no entries at all
    EXPECT_EQ(gamma.Gamma(), refused);
}

LUMORA_ALL_LAYOUTS(VectorTableApply);
