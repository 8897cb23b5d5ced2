// Colour conversions against OpenCV on the 1920x1080 8-bit RGB scene, one
// thread: RGBtoGray vs cv::cvtColor(BGR2GRAY); RGBtoHLS and RGBtoYCbCr vs
// cv::cvtColor to HLS and YCrCb on float input (OpenCV has no 8-bit-to-float
// form, so it is given the scene as floats in 0..1, converted once outside
// the timed loop); RGBtoCMYK, which OpenCV lacks, against a memcpy of the
// CMYK bytes it writes. Destinations are created once; only the conversion
// is timed.
#include <cstring>
#include <vector>

#include "bench/bench_support.h"

namespace {

using namespace lumora::bench;

template <class Convert>
void RunLumora(benchmark::State& state, COLOR_MODEL model, int bits, Convert convert) {
    CVxImage& src = Rgb8();
    CVxImage dest(model, bits, kWidth, kHeight);
    for (auto _ : state) {
        if (!convert(&src, &dest)) state.SkipWithError("the conversion refused the images");
        benchmark::DoNotOptimize(dest.GetBuffer());
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, src);
}

void BM_RGBtoGray_Lumora(benchmark::State& state) {
    RunLumora(state, CM_GRAY, 8, [](CVxImage* s, CVxImage* d) { return CVxColorProcessing::RGBtoGray(s, d, 0.299f, 0.587f, 0.114f); });
}
BENCHMARK(BM_RGBtoGray_Lumora)->Name("BM_RGBtoGray_Lumora/rgb")->Unit(benchmark::kMicrosecond);

void BM_RGBtoHLS_Lumora(benchmark::State& state) {
    RunLumora(state, CM_HLS, 32, [](CVxImage* s, CVxImage* d) { return CVxColorProcessing::RGBtoHLS(s, d); });
}
BENCHMARK(BM_RGBtoHLS_Lumora)->Name("BM_RGBtoHLS_Lumora/rgb")->Unit(benchmark::kMicrosecond);

void BM_RGBtoYCbCr_Lumora(benchmark::State& state) {
    RunLumora(state, CM_YCbCr, 32, [](CVxImage* s, CVxImage* d) { return CVxColorProcessing::RGBtoYCbCr(s, d); });
}
BENCHMARK(BM_RGBtoYCbCr_Lumora)->Name("BM_RGBtoYCbCr_Lumora/rgb")->Unit(benchmark::kMicrosecond);

void BM_RGBtoCMYK_Lumora(benchmark::State& state) {
    RunLumora(state, CM_CMYK, 8, [](CVxImage* s, CVxImage* d) { return CVxColorProcessing::RGBtoCMYK(s, d); });
}
BENCHMARK(BM_RGBtoCMYK_Lumora)->Name("BM_RGBtoCMYK_Lumora/rgb")->Unit(benchmark::kMicrosecond);

// The floor for RGBtoCMYK: writing its 4 bytes per pixel once.
void BM_RGBtoCMYK_memcpy(benchmark::State& state) {
    std::vector<std::uint8_t> src(size_t{kWidth} * kHeight * 4, 1), dst(src.size());
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), src.size());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, Rgb8());
}
BENCHMARK(BM_RGBtoCMYK_memcpy)->Name("BM_RGBtoCMYK_memcpy/rgb")->Unit(benchmark::kMicrosecond);

#ifdef LUMORA_HAVE_OPENCV
template <class Convert>
void RunOpenCV(benchmark::State& state, bool floatInput, Convert convert) {
    cv::Mat src = AsMat(Rgb8());
    if (floatInput) src.convertTo(src, CV_32F, 1.0 / 255);
    cv::Mat dest;
    convert(src, dest);
    for (auto _ : state) {
        convert(src, dest);
        benchmark::DoNotOptimize(dest.data);
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, Rgb8());
}

void BM_RGBtoGray_OpenCV(benchmark::State& state) {
    RunOpenCV(state, false, [](const cv::Mat& s, cv::Mat& d) { cv::cvtColor(s, d, cv::COLOR_BGR2GRAY); });
}
BENCHMARK(BM_RGBtoGray_OpenCV)->Name("BM_RGBtoGray_OpenCV/rgb")->Unit(benchmark::kMicrosecond);

void BM_RGBtoHLS_OpenCV(benchmark::State& state) {
    RunOpenCV(state, true, [](const cv::Mat& s, cv::Mat& d) { cv::cvtColor(s, d, cv::COLOR_BGR2HLS); });
}
BENCHMARK(BM_RGBtoHLS_OpenCV)->Name("BM_RGBtoHLS_OpenCV/rgb")->Unit(benchmark::kMicrosecond);

void BM_RGBtoYCbCr_OpenCV(benchmark::State& state) {
    RunOpenCV(state, true, [](const cv::Mat& s, cv::Mat& d) { cv::cvtColor(s, d, cv::COLOR_BGR2YCrCb); });
}
BENCHMARK(BM_RGBtoYCbCr_OpenCV)->Name("BM_RGBtoYCbCr_OpenCV/rgb")->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
