// Morphology and the 3 x 3 median on 1920x1080 8-bit grey and RGB: Erode and
// Dilate vs cv::erode / cv::dilate with a (2r+1) square and replicated
// borders, Median vs cv::medianBlur(3). The radii go past the small ones the
// comparison asks for to show that the cost levels off.
#include "bench/bench_support.h"

namespace {

using namespace lumora::bench;

CVxImage& SceneFor(bool colour) { return colour ? Rgb8() : Grey8(); }

constexpr int kRadii[] = {1, 3, 7, 15, 50};

template <bool kDilate>
void BM_Rank_Lumora(benchmark::State& state) {
    CVxImage& image = SceneFor(state.range(0) != 0);
    const int radius = static_cast<int>(state.range(1));
    CVxMorphologicProcessing morph(&image);
    CVxImage dest;
    for (auto _ : state) {
        const int ok = kDilate ? morph.Dilate(dest, radius) : morph.Erode(dest, radius);
        if (!ok) state.SkipWithError("the morphology call refused the image");
        benchmark::DoNotOptimize(dest.GetBuffer());
    }
    SetBytesProcessed(state, image);
}

void RankArgs(benchmark::internal::Benchmark* b) {
    b->ArgNames({"rgb", "r"});
    for (int colour : {0, 1})
        for (int r : kRadii) b->Args({colour, r});
    b->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_Rank_Lumora<false>)->Name("BM_Erode_Lumora")->Apply(RankArgs);
BENCHMARK(BM_Rank_Lumora<true>)->Name("BM_Dilate_Lumora")->Apply(RankArgs);

void BM_Median_Lumora(benchmark::State& state, bool colour) {
    CVxImage& image = SceneFor(colour);
    CVxFilter filter(&image);
    CVxImage dest;
    for (auto _ : state) {
        if (!filter.Median(dest)) state.SkipWithError("Median refused the image");
        benchmark::DoNotOptimize(dest.GetBuffer());
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Median_Lumora, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Median_Lumora, rgb, true)->Unit(benchmark::kMicrosecond);

void BM_RemoveRandomNoise_Lumora(benchmark::State& state, bool colour) {
    CVxImage& image = SceneFor(colour);
    CVxFilter filter(&image);
    CVxImage dest;
    for (auto _ : state) {
        if (!filter.RemoveRandomNoise(dest, 100)) state.SkipWithError("RemoveRandomNoise refused the image");
        benchmark::DoNotOptimize(dest.GetBuffer());
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_RemoveRandomNoise_Lumora, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_RemoveRandomNoise_Lumora, rgb, true)->Unit(benchmark::kMicrosecond);

#ifdef LUMORA_HAVE_OPENCV
template <bool kDilate>
void BM_Rank_OpenCV(benchmark::State& state) {
    CVxImage& image = SceneFor(state.range(0) != 0);
    const int side = 2 * static_cast<int>(state.range(1)) + 1;
    const cv::Mat mat = AsMat(image);
    const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(side, side));
    cv::Mat dest;
    for (auto _ : state) {
        if (kDilate)
            cv::dilate(mat, dest, element, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
        else
            cv::erode(mat, dest, element, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
        benchmark::DoNotOptimize(dest.data);
    }
    SetBytesProcessed(state, image);
}
BENCHMARK(BM_Rank_OpenCV<false>)->Name("BM_Erode_OpenCV")->Apply(RankArgs);
BENCHMARK(BM_Rank_OpenCV<true>)->Name("BM_Dilate_OpenCV")->Apply(RankArgs);

void BM_Median_OpenCV(benchmark::State& state, bool colour) {
    CVxImage& image = SceneFor(colour);
    const cv::Mat mat = AsMat(image);
    cv::Mat dest;
    for (auto _ : state) {
        cv::medianBlur(mat, dest, 3);
        benchmark::DoNotOptimize(dest.data);
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Median_OpenCV, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Median_OpenCV, rgb, true)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
