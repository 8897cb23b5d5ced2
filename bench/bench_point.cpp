// Point operations against OpenCV on 1920x1080 8-bit grey and RGB: ADD(int)
// vs cv::add, MUL(float) vs cv::multiply, Contrast vs cv::LUT, Threshold vs
// cv::threshold, with a copy of the same bytes as the floor.
//
// ADD, MUL and Contrast work in place, so every iteration runs on the previous
// one's result and the samples drift to 255 within a few dozen iterations.
// None of the routines branches on sample values, so the timing is that of any
// content; the OpenCV side works in place on the same kind of image too. Each
// case has its own copy of the scene, so the shared scenes stay untouched.
#include <algorithm>
#include <cstring>
#include <vector>

#include "bench/bench_support.h"

namespace {

using namespace lumora::bench;

CVxImage SceneCopy(bool colour) { return colour ? Rgb8() : Grey8(); }

size_t SceneBytes(bool colour) { return size_t{kWidth} * kHeight * (colour ? 3 : 1); }

void BM_Add_Lumora(benchmark::State& state, bool colour) {
    CVxImage image = SceneCopy(colour);
    CVxArithmeticProcessing arithmetic(&image);
    for (auto _ : state) {
        if (!arithmetic.ADD(10)) state.SkipWithError("ADD refused the image");
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Add_Lumora, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Add_Lumora, rgb, true)->Unit(benchmark::kMicrosecond);

void BM_Mul_Lumora(benchmark::State& state, bool colour) {
    CVxImage image = SceneCopy(colour);
    CVxArithmeticProcessing arithmetic(&image);
    for (auto _ : state) {
        if (!arithmetic.MUL(1.5f)) state.SkipWithError("MUL refused the image");
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Mul_Lumora, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Mul_Lumora, rgb, true)->Unit(benchmark::kMicrosecond);

// The table is built once, outside the timed loop: only the lookup is measured.
void BM_Contrast_Lumora(benchmark::State& state, bool colour) {
    CVxImage image = SceneCopy(colour);
    CVxContrastProcessing contrast(&image);
    contrast.SetCoefficient(1.2f);
    contrast.CreateVectorTable(256);
    for (auto _ : state) {
        if (!contrast.Contrast()) state.SkipWithError("Contrast refused the image");
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Contrast_Lumora, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Contrast_Lumora, rgb, true)->Unit(benchmark::kMicrosecond);

// Threshold takes one-channel images only (a colour target is refused), so
// there is no RGB case. The call includes the target copy it makes into dest.
void BM_Threshold_Lumora(benchmark::State& state) {
    CVxImage image = SceneCopy(false);
    CVxThresholdProcessing threshold(&image);
    CVxImage dest;
    for (auto _ : state) {
        if (!threshold.Threshold(dest, 128)) state.SkipWithError("Threshold refused the image");
        benchmark::DoNotOptimize(dest.GetBuffer());
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, image);
}
BENCHMARK(BM_Threshold_Lumora)->Name("BM_Threshold_Lumora/grey")->Unit(benchmark::kMicrosecond);

// The floor: reading and writing the image's bytes once.
void BM_Point_memcpy(benchmark::State& state, size_t bytes) {
    std::vector<std::uint8_t> src(bytes, 1), dst(src.size());
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), src.size());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(src.size()));
}
BENCHMARK_CAPTURE(BM_Point_memcpy, grey, SceneBytes(false))->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Point_memcpy, rgb, SceneBytes(true))->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Point_memcpy, grey16, 2 * SceneBytes(false))->Unit(benchmark::kMicrosecond);

#ifdef LUMORA_HAVE_OPENCV
void BM_Add_OpenCV(benchmark::State& state, bool colour) {
    CVxImage image = SceneCopy(colour);
    cv::Mat mat = AsMat(image);
    for (auto _ : state) {
        cv::add(mat, cv::Scalar::all(10), mat);
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Add_OpenCV, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Add_OpenCV, rgb, true)->Unit(benchmark::kMicrosecond);

void BM_Mul_OpenCV(benchmark::State& state, bool colour) {
    CVxImage image = SceneCopy(colour);
    cv::Mat mat = AsMat(image);
    for (auto _ : state) {
        cv::multiply(mat, cv::Scalar::all(1.5), mat);
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Mul_OpenCV, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Mul_OpenCV, rgb, true)->Unit(benchmark::kMicrosecond);

void BM_Contrast_OpenCV(benchmark::State& state, bool colour) {
    CVxImage image = SceneCopy(colour);
    cv::Mat mat = AsMat(image);
    cv::Mat lut(1, 256, CV_8U);
    // The entries of Lumora's table: trunc((float)(i x 1.2) + 0.5), capped at 255.
    for (int i = 0; i < 256; ++i)
        lut.at<std::uint8_t>(i) = static_cast<std::uint8_t>(
            std::min(255, static_cast<int>(static_cast<double>(static_cast<float>(i * double{1.2f})) + 0.5)));
    for (auto _ : state) {
        cv::LUT(mat, lut, mat);
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Contrast_OpenCV, grey, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Contrast_OpenCV, rgb, true)->Unit(benchmark::kMicrosecond);

// Lumora's "at least 128" is OpenCV's "greater than 127".
void BM_Threshold_OpenCV(benchmark::State& state) {
    CVxImage image = SceneCopy(false);
    const cv::Mat mat = AsMat(image);
    cv::Mat dest;
    for (auto _ : state) {
        cv::threshold(mat, dest, 127, 255, cv::THRESH_BINARY);
        benchmark::DoNotOptimize(dest.data);
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, image);
}
BENCHMARK(BM_Threshold_OpenCV)->Name("BM_Threshold_OpenCV/grey")->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
