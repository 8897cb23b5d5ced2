// Histograms and Hough voting against OpenCV.
//
// SetHistogram counts one channel of 1920x1080 8-bit grey and RGB, like
// cv::calcHist with 256 bins. Direct votes a 1024x1024 8-bit edge image at
// 360 half-degree angles; cv::HoughLines with the same angle step and a rho
// step of one pixel does the same amount of voting but counts pixels rather
// than summing grey values and then looks for peaks itself, so both report
// votes per second (non-zero pixels x 360). DetectLine is timed as a whole.
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include "bench/bench_support.h"

namespace {

using namespace lumora::bench;

// Thin segments and circles of 255 on black, about 2% of the pixels set.
CVxImage& EdgeImage() {
    static CVxImage image = [] {
        const int side = 1024;
        CVxImage edges(CM_GRAY, 8, side, side);
        std::memset(edges.GetBuffer(), 0, static_cast<size_t>(edges.m_nImageSize));
        auto set = [&](double x, double y) {
            const int c = static_cast<int>(x), r = static_cast<int>(y);
            if (c >= 0 && r >= 0 && c < side && r < side) static_cast<std::uint8_t*>(edges.Get2DBuffer()[r])[c] = 255;
        };
        std::uint32_t state = 99;
        auto next = [&] { return (state = state * 1664525u + 1013904223u) >> 8; };
        for (int k = 0; k < 24; ++k) {
            const double x0 = next() % side, y0 = next() % side, x1 = next() % side, y1 = next() % side;
            for (int i = 0; i <= 2000; ++i) set(x0 + (x1 - x0) * i / 2000, y0 + (y1 - y0) * i / 2000);
        }
        for (int k = 0; k < 12; ++k) {
            const double cx = next() % side, cy = next() % side, radius = 20 + next() % 150;
            for (int i = 0; i < 2000; ++i)
                set(cx + radius * std::cos(i * std::numbers::pi / 1000), cy + radius * std::sin(i * std::numbers::pi / 1000));
        }
        return edges;
    }();
    return image;
}

double VotesPerPass(CVxImage& image) {
    double pixels = 0;
    for (int y = 0; y < image.m_nHeight; ++y)
        for (int x = 0; x < image.m_nWidth; ++x) pixels += static_cast<std::uint8_t*>(image.Get2DBuffer()[y])[x] != 0;
    return pixels * 360;
}

void BM_Histogram_Lumora(benchmark::State& state, bool colour) {
    CVxImage& image = colour ? Rgb8() : Grey8();
    CVxHistogram hist(256);
    for (auto _ : state) {
        if (!hist.SetHistogram(image, 1)) state.SkipWithError("SetHistogram refused the image");
        benchmark::DoNotOptimize(hist.GetBuffer(HIST_RAW));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * image.m_nWidth * image.m_nHeight);
}
BENCHMARK_CAPTURE(BM_Histogram_Lumora, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Histogram_Lumora, rgb, true)->Unit(benchmark::kMicrosecond);

void BM_HoughDirect_Lumora(benchmark::State& state) {
    CVxImage& image = EdgeImage();
    CVxHoughTransform hough(&image);
    for (auto _ : state)
        if (!hough.Direct()) state.SkipWithError("Direct refused the image");
    state.counters["votes"] = benchmark::Counter(VotesPerPass(image), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_HoughDirect_Lumora)->Unit(benchmark::kMillisecond);

void BM_HoughDetectLine_Lumora(benchmark::State& state) {
    CVxImage& image = EdgeImage();
    CVxHoughTransform hough(&image);
    CVxImage lines;
    for (auto _ : state)
        if (!hough.Direct() || !hough.DetectLine(lines)) state.SkipWithError("the Hough transform refused the image");
}
BENCHMARK(BM_HoughDetectLine_Lumora)->Unit(benchmark::kMillisecond);

#ifdef LUMORA_HAVE_OPENCV
void BM_Histogram_OpenCV(benchmark::State& state, bool colour) {
    CVxImage& image = colour ? Rgb8() : Grey8();
    const cv::Mat mat = AsMat(image);
    const int channels[] = {colour ? 1 : 0}, size[] = {256};
    const float range[] = {0, 256};
    const float* ranges[] = {range};
    cv::Mat hist;
    for (auto _ : state) {
        cv::calcHist(&mat, 1, channels, cv::noArray(), hist, 1, size, ranges);
        benchmark::DoNotOptimize(hist.data);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * image.m_nWidth * image.m_nHeight);
}
BENCHMARK_CAPTURE(BM_Histogram_OpenCV, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Histogram_OpenCV, rgb, true)->Unit(benchmark::kMicrosecond);

void BM_HoughDirect_OpenCV(benchmark::State& state) {
    CVxImage& image = EdgeImage();
    const cv::Mat mat = AsMat(image);
    std::vector<cv::Vec2f> lines;
    for (auto _ : state) {
        cv::HoughLines(mat, lines, 1, CV_PI / 360, 150);
        benchmark::DoNotOptimize(lines.data());
    }
    state.counters["votes"] = benchmark::Counter(VotesPerPass(image), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_HoughDirect_OpenCV)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
