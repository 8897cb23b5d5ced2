// Core and value counts: CalLookupTable vs cv::calcHist, GetPlane vs
// cv::extractChannel, on 1920x1080 8-bit grey and RGB.
#include <cstring>
#include <vector>

#include "bench/bench_support.h"

namespace {

using namespace lumora::bench;

CVxImage& SceneFor(bool colour) { return colour ? Rgb8() : Grey8(); }

void BM_CalLookupTable_Lumora(benchmark::State& state, bool colour) {
    CVxImage& image = SceneFor(colour);
    CVxPointProcessing counts(&image);
    for (auto _ : state) {
        if (!counts.CalLookupTable()) state.SkipWithError("CalLookupTable refused the image");
        benchmark::DoNotOptimize(counts.GetLookupTable(0).pTable);
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_CalLookupTable_Lumora, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_CalLookupTable_Lumora, rgb, true)->Unit(benchmark::kMicrosecond);

void BM_GetPlane_Lumora(benchmark::State& state, int channel) {
    CVxImage& image = Rgb8();
    CVxLumoraBase base(&image);
    CVxImage plane;
    for (auto _ : state) {
        base.GetPlane(channel, plane);
        benchmark::DoNotOptimize(plane.GetBuffer());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * image.m_nWidth * image.m_nHeight);
}
BENCHMARK_CAPTURE(BM_GetPlane_Lumora, rgb, 1)->Unit(benchmark::kMicrosecond);

// The floor for any plane copy: moving the plane's bytes once.
void BM_GetPlane_memcpy(benchmark::State& state) {
    std::vector<std::uint8_t> src(size_t{kWidth} * kHeight), dst(src.size());
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), src.size());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kWidth * kHeight);
}
BENCHMARK(BM_GetPlane_memcpy)->Name("BM_GetPlane_memcpy/rgb")->Unit(benchmark::kMicrosecond);

#ifdef LUMORA_HAVE_OPENCV
void BM_CalLookupTable_OpenCV(benchmark::State& state, bool colour) {
    CVxImage& image = SceneFor(colour);
    const cv::Mat mat = AsMat(image);
    const int histSize[] = {256};
    const float range[] = {0, 256};
    const float* ranges[] = {range};
    cv::Mat hist[3];
    for (auto _ : state) {
        for (int c = 0; c < mat.channels(); ++c) {
            const int channel[] = {c};
            cv::calcHist(&mat, 1, channel, cv::Mat(), hist[c], 1, histSize, ranges);
        }
        benchmark::DoNotOptimize(hist[0].data);
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_CalLookupTable_OpenCV, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_CalLookupTable_OpenCV, rgb, true)->Unit(benchmark::kMicrosecond);

void BM_GetPlane_OpenCV(benchmark::State& state, int channel) {
    CVxImage& image = Rgb8();
    const cv::Mat mat = AsMat(image);
    cv::Mat plane;
    for (auto _ : state) {
        cv::extractChannel(mat, plane, channel);
        benchmark::DoNotOptimize(plane.data);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * image.m_nWidth * image.m_nHeight);
}
BENCHMARK_CAPTURE(BM_GetPlane_OpenCV, rgb, 1)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
