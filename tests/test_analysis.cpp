// Histograms, their peak analysis and Hough line detection.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <utility>
#include <vector>

#include "tests/reference_analysis.h"
#include "tests/test_support.h"

namespace lumora::test {
namespace {

// A histogram joining (position, value) points by straight segments, already
// "smoothed" (buffer 1 = buffer 0, marker set) so the extrema are the shape's own.
struct Shape {
    CVxHistogram hist;
    CVxHistogramProcessing proc{&hist};
    Shape(int bins, std::vector<std::pair<int, int>> points, bool circular = false) : hist(bins) {
        for (size_t k = 0; k + 1 < points.size(); ++k)
            for (int i = points[k].first; i <= points[k + 1].first; ++i)
                hist.SetValue(i, static_cast<int>(std::floor(points[k].second +
                                                             (points[k + 1].second - points[k].second) *
                                                                 double(i - points[k].first) /
                                                                 (points[k + 1].first - points[k].first))),
                              HIST_RAW);
        hist.SetCircularModel(circular);
        proc.Smooth(0, HIST_SMOOTHED, 0, -1, -1);
        proc.FindMaximaMinima();
    }
    std::vector<int> Positions(CPtrArray& array) {
        std::vector<int> out;
        for (int k = 0; k < array.GetSize(); ++k) out.push_back(static_cast<CVxHistogramDensity*>(array[k])->m_nPos);
        return out;
    }
    CVxHistogramDensity& Valid(int k) { return *static_cast<CVxHistogramDensity*>(proc.GetValidMaximaArray()[k]); }
};

using Positions = std::vector<int>;

TEST(Histogram, DeliberateAnswers) {
    CVxHistogram h(4);
    int values[] = {3, 7, 7, 1};
    h.SetBuffer(values, HIST_RAW);
    int pos = -1;
    EXPECT_EQ(h.GetMaxValue(&pos, 0, 4, HIST_RAW), 7);
    EXPECT_EQ(pos, 1);
    EXPECT_EQ(h.GetMinValue(&pos, 1, 4, HIST_RAW), 2147483647);
    EXPECT_EQ(pos, 1);
    EXPECT_DOUBLE_EQ(h.GetMeanValue(0, 2, HIST_RAW), 10.0 / 4);  // over all four bins
    h.SetValue(0, 10, HIST_RAW);
    h.SubValue(0, 3, HIST_RAW);
    h.SubValue(3, 2, HIST_RAW);
    EXPECT_EQ(h.GetValue(0, HIST_RAW), 0);
    EXPECT_EQ(h.GetValue(3, HIST_RAW), -1);
    EXPECT_EQ(h.GetValue(4, HIST_RAW), 0);  // off the bins
    EXPECT_EQ(h.GetValue(0, static_cast<HIST_FLAG>(7)), -1);

    CVxHistogram zero(8);
    EXPECT_EQ(zero.GetHighValidPosition(HIST_RAW), -1);
    EXPECT_EQ(zero.GetLowValidPosition(HIST_RAW), -1);
    EXPECT_EQ(zero.GetMaxValue(&pos, 3, -1, HIST_RAW), 0);
    EXPECT_EQ(pos, 3);
}

TEST(Histogram, BuffersAndAssignment) {
    CVxHistogram h(4), empty;
    h.CreateBuffer(HIST_DIFF3);  // looks at buffer 0, which exists
    h.CreateBuffer(HIST_DIFF2);
    EXPECT_EQ(h.GetBuffer(HIST_DIFF3), nullptr);
    EXPECT_NE(h.GetBuffer(HIST_DIFF2), nullptr);
    empty.CreateBuffer(HIST_DIFF3);
    EXPECT_NE(empty.GetBuffer(HIST_DIFF3), nullptr);

    h.SetValue(2, 5, HIST_RAW);
    CVxHistogram copy(h);
    EXPECT_EQ(copy.GetValue(2, HIST_RAW), 5);
    EXPECT_EQ(copy.GetBuffer(HIST_DIFF2), nullptr);
    CVxHistogram none;
    copy = none;
    EXPECT_FALSE(copy.IsCreated());
}

class HistogramLayouts : public testing::TestWithParam<Layout> {};

TEST_P(HistogramLayouts, CountsOneChannelAndAccumulates) {
    CVxImage image = MakeImage(GetParam(), 33, 7);
    FillRandom(image, 5, GetParam().bits == 16 ? 5000 : -1);
    const int channel = GetParam().channels - 1;
    CVxHistogram h;
    if (GetParam().bits == 32) {
        EXPECT_FALSE(h.Create(image, channel));
        return;
    }
    if (GetParam().bits == 16) {
        int bits[4] = {12, 12, 12, 12};  // samples of 4096 and above are not counted
        image.SetBitsPerSampleEx(bits);
    }
    ASSERT_TRUE(h.Create(image, channel));
    ASSERT_TRUE(h.SetHistogram(image, channel));
    std::vector<int> want(h.GetSize(), 0);
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 33; ++x)
            if (const int v = static_cast<int>(Sample(image, x, y, channel)); v < h.GetSize()) want[v] += 2;
    EXPECT_EQ(std::vector<int>(h.GetBuffer(HIST_RAW), h.GetBuffer(HIST_RAW) + h.GetSize()), want);
    EXPECT_FALSE(h.Create(image, GetParam().channels));
}

INSTANTIATE_TEST_SUITE_P(All, HistogramLayouts, testing::ValuesIn(AllLayouts()), LayoutName);

TEST(HistogramProcessing, SmoothingMatchesReference) {
    std::vector<int> raw(40), earlier(40);
    for (int i = 0; i < 40; ++i) raw[i] = (i * 37 + 11) % 50, earlier[i] = -i;
    const struct {
        int passes, radius, start, end;
    } cases[] = {{1, 2, -1, -1}, {3, 1, 5, 30}, {2, 4, 10, 100}, {1, 0, 0, 39}, {10, 2, -1, -1}};
    for (const auto& c : cases) {
        CVxHistogram h(40);
        h.SetBuffer(raw.data(), HIST_RAW);
        h.CreateBuffer(HIST_SMOOTHED);
        h.SetBuffer(earlier.data(), HIST_SMOOTHED);
        CVxHistogramProcessing proc(&h);
        ASSERT_TRUE(proc.Smooth(c.passes, HIST_SMOOTHED, c.radius, c.start, c.end));
        EXPECT_EQ(std::vector<int>(h.GetBuffer(HIST_SMOOTHED), h.GetBuffer(HIST_SMOOTHED) + 40),
                  ReferenceSmooth(raw, earlier, c.passes, c.radius, c.start, c.end))
            << c.passes << " passes, radius " << c.radius << ", " << c.start << ".." << c.end;
    }
}

TEST(HistogramProcessing, PlateauTopWithoutMinima) {
    Shape s(32, {{0, 0}, {9, 0}, {10, 5}, {13, 5}, {14, 0}, {31, 0}});
    EXPECT_EQ(s.Positions(s.proc.GetMaximaArray()), Positions{11});
    EXPECT_EQ(s.Valid(0).m_nPrevPos, -1);
    EXPECT_EQ(s.Valid(0).m_nNextPos, -1);
}

TEST(HistogramProcessing, CircularPeakAcrossTheEnd) {
    Shape s(256, {{0, 9}, {1, 9}, {2, 1}, {253, 1}, {254, 9}, {255, 9}}, true);
    EXPECT_EQ(s.Positions(s.proc.GetMaximaArray()), Positions{255});
    EXPECT_EQ(s.Positions(s.proc.GetMinimaArray()), Positions{127});
    EXPECT_EQ(s.Valid(0).m_nPrevPos, 127);
    EXPECT_EQ(s.Valid(0).m_nNextPos, 127);
}

TEST(HistogramProcessing, TwoModesStayValid) {
    Shape s(256, {{0, 10}, {50, 100}, {120, 10}, {200, 90}, {255, 10}});
    EXPECT_EQ(s.Positions(s.proc.GetValidMaximaArray()), (Positions{50, 200}));
}

TEST(HistogramProcessing, NearMaximaMergeByDistance) {
    Shape s(256, {{0, 0}, {50, 100}, {60, 40}, {70, 95}, {130, 10}, {200, 60}, {255, 0}});
    EXPECT_EQ(s.Positions(s.proc.GetValidMaximaArray()), (Positions{50, 200}));
    EXPECT_EQ(s.Valid(0).m_nNextPos, 130);  // taken from the merged maximum at 70
}

TEST(HistogramProcessing, ShallowValleysMergeByDepth) {
    Shape s(256, {{0, 0}, {40, 100}, {70, 10}, {100, 90}, {130, 78}, {160, 80}, {190, 10}, {220, 70}, {255, 0}});
    EXPECT_EQ(s.Positions(s.proc.GetValidMaximaArray()), (Positions{40, 100}));
    EXPECT_EQ(s.Positions(s.proc.GetMaximaArray()), (Positions{40, 100, 160, 220}));  // sorted by density
}

TEST(HistogramProcessing, SaveHistogramWritesOneLinePerBin) {
    CVxHistogram h(4);
    int values[] = {1, 0, 25, 3};
    h.SetBuffer(values, HIST_RAW);
    CVxHistogramProcessing proc(&h);
    const std::string path = testing::TempDir() + "lumora_hist.txt";
    proc.SaveHistogram(path.c_str(), HIST_RAW);
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_EQ(text.str(), "1\n0\n25\n3\n");
    proc.SaveHistogram("/nonexistent-folder/h.txt", HIST_RAW);  // no result, no crash
}

// Hough voting compared with the slow reference. At 200x200 a few votes move
// to the next bin when the scale is folded into the tables, and a few hundred
// when the angles are multiplied out instead of accumulated.
TEST(Hough, DirectCountsEveryVoteExactly) {
    const struct {
        int width, height;
        bool sparse;
    } sizes[] = {{1, 1, false}, {97, 61, true}, {300, 3, true}, {200, 200, false}};
    for (const auto& size : sizes) {
        CVxImage image(CM_GRAY, 8, size.width, size.height);
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x)
                SetSample(image, x, y, 0, size.sparse && (x * 7 + y * 3) % 5 != 0 ? 0 : 1 + (x * 31 + y * 17) % 255);
        CVxHoughTransform hough(&image);
        ASSERT_TRUE(hough.Direct());
        int rhoCount = 0;
        const std::vector<DWORD> want = ReferenceVotes(image, rhoCount);
        CVxHoughImage& votes = hough.GetHoughImage();
        ASSERT_EQ(votes.GetRhoCount(), rhoCount);
        ASSERT_EQ(votes.GetThetaCount(), 360);
        for (int t = 0; t < 360; ++t)
            ASSERT_TRUE(std::equal(want.begin() + t * rhoCount, want.begin() + (t + 1) * rhoCount,
                                   votes.GetThetaBuffer(t)))
                << size.width << "x" << size.height << " theta " << t;
    }
}

TEST(Hough, RefusalsAndEmptyAnswers) {
    CVxImage colour(CM_RGB, 8, 4, 4), black(CM_GRAY, 8, 5, 4);
    CVxHoughTransform refused(&colour);
    EXPECT_FALSE(refused.Direct());
    CVxImage lines;
    EXPECT_FALSE(refused.DetectLine(lines));

    std::memset(black.GetBuffer(), 0, black.m_nImageSize);
    CVxHoughTransform hough(&black);
    ASSERT_TRUE(hough.Direct());
    CVxImage picture;
    ASSERT_TRUE(hough.GetDisplayImage(picture));
    EXPECT_EQ(picture.m_nWidth, 12);
    EXPECT_EQ(picture.m_nHeight, 360);
    CVxHistogram counts;
    ASSERT_TRUE(counts.Create(picture, 0));
    EXPECT_EQ(counts.GetValue(0, HIST_RAW), 12 * 360);

    CVxHoughImage& votes = hough.GetHoughImage();
    EXPECT_EQ(votes.GetMin(), 0u);
    votes.SetAt(12, 0, 5);  // off the rows: ignored
    votes.SetAt(3, 1, 9);
    EXPECT_EQ(votes.GetAt(3, 1), 9u);
    EXPECT_EQ(votes.GetAt(-1, 1), 0u);
    EXPECT_EQ(votes.GetRhoMax(3), 9u);
    EXPECT_EQ(votes.GetRhoMax(200), 0u);  // past the row reads 0
    EXPECT_EQ(votes.GetThetaBuffer(360), nullptr);
    EXPECT_EQ(CVxHoughImage().GetMin(), 2147483647u);
}

// Two thin lines on black, 37 and -57 degrees from the horizontal.
TEST(Hough, DetectLineFindsEndPointsOnBothLines) {
    const int w = 240, h = 200;
    CVxImage edges(CM_GRAY, 8, w, h);
    std::memset(edges.GetBuffer(), 0, edges.m_nImageSize);
    const double lines[2][4] = {{20, 170, 220, 20}, {60, 20, 170, 190}};
    for (const auto& l : lines)
        for (int i = 0; i <= 400; ++i) {
            const double x = l[0] + (l[2] - l[0]) * i / 400, y = l[1] + (l[3] - l[1]) * i / 400;
            SetSample(edges, static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y)), 0, 255);
        }
    CVxHoughTransform hough(&edges);
    ASSERT_TRUE(hough.Direct());
    CVxImage drawn;
    ASSERT_TRUE(hough.DetectLine(drawn));
    for (const auto& l : lines) {
        const double len = std::hypot(l[2] - l[0], l[3] - l[1]);
        auto distance = [&](CPoint p) {
            return std::fabs((l[2] - l[0]) * (l[1] - p.y) - (l[0] - p.x) * (l[3] - l[1])) / len;
        };
        bool found = false;
        CPtrArray& records = hough.GetThetaRhoArray();
        for (int k = 0; k < records.GetSize(); ++k) {
            auto* record = static_cast<ThetaRhoRecord*>(records[k]);
            for (int i = 0; i < record->arrRho.GetSize(); ++i)
                found |= distance(record->arrPoint1[i]) <= 2.5 && distance(record->arrPoint2[i]) <= 2.5;
        }
        EXPECT_TRUE(found) << "no record on the line from (" << l[0] << ", " << l[1] << ")";
    }
}

}  // namespace
}  // namespace lumora::test
