#include <string>
#include <vector>

#include "module/resources.h"
#include "test_support.h"

using namespace lumora::test;

namespace {

// Reads the table the classes keep.
struct ContrastProbe : CVxContrastProcessing {
    using CVxContrastProcessing::CVxContrastProcessing;
    int Entry(int i) const { return m_pVectorTable[i]; }
    int Size() const { return m_nVectorTableSize; }
};

struct GammaProbe : CVxGammaProcessing {
    using CVxGammaProcessing::CVxGammaProcessing;
    int Entry(int i) const { return m_pVectorTable[i]; }
};

struct Shown {
    int calls = 0;
    std::string text, caption;
    UINT style = 0;
};
Shown g_shown;

int Record(const char* text, const char* caption, UINT style) {
    ++g_shown.calls;
    g_shown.text = text;
    g_shown.caption = caption;
    g_shown.style = style;
    return 1;
}

// Routes the library's messages to Record for one test.
class RecordMessages {
public:
    RecordMessages() : m_previous(GetLumoraManager().SetMessageHandler(Record)) { g_shown = Shown(); }
    ~RecordMessages() { GetLumoraManager().SetMessageHandler(m_previous); }

private:
    LUMORA_MESSAGE_HANDLER m_previous;
};

// Points the host's UI folder at the build's language libraries for one test
// and leaves the process in English from there, with the folder as it was.
class BuildLanguages {
public:
    BuildLanguages() {
        char folder[MAX_PATH] = "";
        GetHostInfoKeeper().GetUIPath(folder);
        m_folder = folder;
        GetHostInfoKeeper().SetUIPath(LUMORA_TEST_LANGUAGE_DIR);
    }
    ~BuildLanguages() {
        GetLumoraManager().UpdateLanguage(9);
        GetHostInfoKeeper().SetUIPath(m_folder.c_str());
    }

private:
    std::string m_folder;
};

}  // namespace

TEST(VectorTables, ContrastEntriesRoundTheSingleProductUp) {
    ContrastProbe contrast;
    EXPECT_EQ(contrast.GetCoefficient(), 1.5f);
    ASSERT_TRUE(contrast.CreateVectorTable(256));
    const std::pair<int, int> cases[] = {{0, 0}, {1, 2}, {100, 150}, {170, 255}, {171, 255}, {255, 255}};
    for (auto [i, entry] : cases) EXPECT_EQ(contrast.Entry(i), entry) << i;

    // 5 x 0.7f is 3.49999994, which single precision rounds to 3.5: entry 4.
    contrast.SetCoefficient(0.7f);
    ASSERT_TRUE(contrast.CreateVectorTable(16));
    EXPECT_EQ(contrast.Entry(5), 4);
    EXPECT_EQ(contrast.Entry(15), 11);

    contrast.SetCoefficient(-2.0f);
    contrast.CreateVectorTable(8);
    EXPECT_EQ(contrast.Entry(3), 0);  // negative entries become 0
}

TEST(VectorTables, GammaEntriesAreTheUnnormalisedPowerTruncated) {
    GammaProbe gamma;
    ASSERT_TRUE(gamma.CreateVectorTable(256));
    const std::pair<int, int> cases[] = {{0, 0}, {1, 1}, {2, 2}, {40, 252}, {41, 255}, {255, 255}};
    for (auto [i, entry] : cases) EXPECT_EQ(gamma.Entry(i), entry) << i;

    ASSERT_TRUE(gamma.CreateVectorTable(1024));
    EXPECT_EQ(gamma.Entry(100), 1000);

    gamma.SetCoefficient(0.5f);  // the table exists: kept until rebuilt
    EXPECT_EQ(gamma.Entry(100), 1000);
    gamma.CreateVectorTable(256);
    EXPECT_EQ(gamma.Entry(255), 15);  // darkens: the power is not normalised

    // 2^1.58496249 is 2.99999997, which single precision rounds to 3.
    gamma.SetCoefficient(1.58496249f);
    gamma.CreateVectorTable(8);
    EXPECT_EQ(gamma.Entry(2), 3);
}

TEST(VectorTables, MissingTableWarnsAndRefuses) {
    RecordMessages record;
    CVxImage image(CM_GRAY, 8, 4, 4);
    FillRandom(image, 2);
    const CVxImage before(image);
    ContrastProbe fresh(&image);
    EXPECT_FALSE(fresh.Contrast());
    fresh.SetCoefficient(2.0f);  // builds an empty table only
    EXPECT_EQ(fresh.Size(), 0);
    EXPECT_FALSE(fresh.Contrast());
    GammaProbe gamma(&image);
    EXPECT_FALSE(gamma.Gamma());
    EXPECT_TRUE(SamePixels(image, const_cast<CVxImage&>(before)));

    ContrastProbe unbound;
    unbound.CreateVectorTable(256);
    EXPECT_FALSE(unbound.Contrast());
    EXPECT_FALSE(fresh.AutoContrast());

    // One exclamation box per refusal, with the current language's text.
    EXPECT_EQ(g_shown.calls, 4);
    EXPECT_EQ(g_shown.text, std::string(lumora::detail::LoadResourceString(lumora::detail::kIdsCallSetCoefficientFirst)));
    EXPECT_EQ(g_shown.style, 0x30u);

    // A region wholly outside is refused without a warning.
    ContrastProbe built(&image);
    built.CreateVectorTable(256);
    EXPECT_FALSE(built.Contrast(CRect(4, 0, 8, 3)));
    EXPECT_EQ(g_shown.calls, 4);
}

// From the operation to the host's handler: one exclamation box with the
// host's caption, in the language selected at the time of the call.
TEST(VectorTables, MissingTableWarningReachesTheHandlerInTheSelectedLanguage) {
    BuildLanguages languages;
    GetLumoraManager().UpdateLanguage(9);
    ASSERT_EQ(GetLumoraManager().GetLanguage(), 9);
    RecordMessages record;
    CVxImage image(CM_GRAY, 8, 3, 2);
    {
        CVxContrastProcessing fresh(&image);
        EXPECT_FALSE(fresh.Contrast());
    }
    EXPECT_EQ(g_shown.calls, 1);
    EXPECT_EQ(g_shown.text, "You should call a SetCoefficient and CreateVectorTable function first.");
    EXPECT_EQ(g_shown.caption, GetHostInfoKeeper().GetCaption().str());
    EXPECT_FALSE(g_shown.caption.empty());
    EXPECT_EQ(g_shown.style, 0x30u);  // MB_OK | MB_ICONEXCLAMATION

    GetLumoraManager().UpdateLanguage(18);
    ASSERT_EQ(GetLumoraManager().GetLanguage(), 18);
    {
        CVxContrastProcessing fresh(&image);
        EXPECT_FALSE(fresh.Contrast());
    }
    EXPECT_EQ(g_shown.calls, 2);
#if defined(_WIN32)
    // There the text arrives in the ANSI code page (checked with the module).
    EXPECT_NE(g_shown.text, "You should call a SetCoefficient and CreateVectorTable function first.");
#else
    EXPECT_EQ(g_shown.text, "먼저 SetCoefficient 함수와 CreateVectorTable 함수를 호출해야 합니다.");
#endif
    EXPECT_EQ(g_shown.caption, GetHostInfoKeeper().GetCaption().str());
    EXPECT_EQ(g_shown.style, 0x30u);
}

class VectorTableApply : public testing::TestWithParam<Layout> {};

TEST_P(VectorTableApply, EverySampleOfTheRegionIsLookedUp) {
    const Layout layout = GetParam();
    // Rows of the region long enough for the grouped lookups and a tail.
    CVxImage image = MakeImage(layout, 30, 6);
    FillRandom(image, 21);
    const CVxImage before(image);
    CVxImage& old = const_cast<CVxImage&>(before);
    ContrastProbe contrast(&image);
    contrast.SetCoefficient(1.25f);
    ASSERT_TRUE(contrast.CreateVectorTable(layout.bits == 16 ? 65536 : 256));
    ASSERT_TRUE(contrast.Contrast(CRect(1, 1, 27, 4)));
    const bool processed = layout.bits != 32 && layout.channels != 2;
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 30; ++x)
            for (int c = 0; c < layout.channels; ++c) {
                const double s = Sample(old, x, y, c);
                const bool inside = processed && x >= 1 && x <= 27 && y >= 1 && y <= 4;
                ASSERT_EQ(Sample(image, x, y, c), inside ? contrast.Entry(static_cast<int>(s)) : s) << x << "," << y;
            }
}

TEST_P(VectorTableApply, SamplesBeyondTheTableAreRefusedBeforeAnyWrite) {
    const Layout layout = GetParam();
    CVxImage image = MakeImage(layout, 5, 5);
    FillRandom(image, 6, 99);
    GammaProbe gamma(&image);
    gamma.CreateVectorTable(100);
    const bool processed = layout.bits != 32 && layout.channels != 2;
    EXPECT_TRUE(gamma.Gamma());  // every sample below 100 has an entry

    SetSample(image, 4, 4, layout.channels - 1, 100);
    const CVxImage before(image);
    EXPECT_EQ(gamma.Gamma(), processed ? FALSE : TRUE);
    EXPECT_TRUE(SamePixels(image, const_cast<CVxImage&>(before)));
    EXPECT_TRUE(gamma.Gamma(CRect(0, 0, 3, 4)));  // the region avoids the sample
    EXPECT_FALSE(gamma.Gamma(CRect(5, 0, 9, 4)));  // wholly outside: no warning, FALSE

    gamma.CreateVectorTable(-3);  // a negative size keeps no entries at all
    EXPECT_EQ(gamma.Gamma(), processed ? FALSE : TRUE);
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, VectorTableApply, testing::ValuesIn(AllLayouts()), LayoutName);

TEST(VectorTables, EntriesAreStoredInTheSampleWidth) {
    CVxImage image(CM_GRAY, 8, 2, 1);
    SetSample(image, 0, 0, 0, 200);
    SetSample(image, 1, 0, 0, 100);
    ContrastProbe contrast(&image);
    contrast.CreateVectorTable(512);
    ASSERT_TRUE(contrast.Contrast());
    EXPECT_EQ(Sample(image, 0, 0, 0), 300 & 0xFF);
    EXPECT_EQ(Sample(image, 1, 0, 0), 150);
}

TEST(VectorTables, NewCoefficientNeedsARebuild) {
    CVxImage image(CM_GRAY, 8, 1, 1);
    SetSample(image, 0, 0, 0, 10);
    ContrastProbe contrast(&image);
    contrast.SetCoefficient(2.0f);
    contrast.CreateVectorTable(256);
    contrast.SetCoefficient(3.0f);
    EXPECT_EQ(contrast.GetCoefficient(), 3.0f);
    ASSERT_TRUE(contrast.Contrast());
    EXPECT_EQ(Sample(image, 0, 0, 0), 20);
    contrast.CreateVectorTable(256);
    ASSERT_TRUE(contrast.Contrast());
    EXPECT_EQ(Sample(image, 0, 0, 0), 60);
}
