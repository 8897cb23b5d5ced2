// Geometry on 1920x1080 8-bit grey and RGB: Flip vs cv::flip (both in
// place), Resize nearest and bilinear down to 960x540 and up to 3840x2160 vs
// cv::resize, CopyTo and Crop of a centred 960x540 rectangle vs a cv::Mat
// ROI copy. Flips and copies only move bytes, so BM_Memcpy gives the floor:
// a memcpy of the same number of bytes (whole image, or the rectangle).
#include <cstring>
#include <vector>

#include "bench/bench_support.h"

namespace {

using namespace lumora::bench;
using G = CVxGeometryProcessing;

CVxImage& SceneFor(bool colour) { return colour ? Rgb8() : Grey8(); }

const CRect kCentre(480, 270, 1439, 809);  // 960 x 540, inclusive

size_t Bytes(const CVxImage& image) { return static_cast<size_t>(image.m_nBytesPerLine) * image.m_nHeight; }

// range(0): colour, range(1): 0 whole image, 1 the centred rectangle.
void BM_Memcpy(benchmark::State& state) {
    CVxImage& image = SceneFor(state.range(0) != 0);
    const bool rect = state.range(1) != 0;
    const size_t row = rect ? static_cast<size_t>(kCentre.Width() + 1) * image.m_nChannel : 0;
    std::vector<unsigned char> out(Bytes(image));
    for (auto _ : state) {
        if (rect) {
            for (int y = 0; y <= kCentre.Height(); ++y)
                std::memcpy(out.data() + y * row,
                            static_cast<unsigned char*>(image.Get2DBuffer()[kCentre.top + y]) + kCentre.left * image.m_nChannel,
                            row);
        } else {
            std::memcpy(out.data(), image.GetBuffer(), Bytes(image));
        }
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(BM_Memcpy)->ArgNames({"rgb", "rect"})->ArgsProduct({{0, 1}, {0, 1}})->Unit(benchmark::kMicrosecond);

// range(0): colour, range(1): flag.
void BM_Flip_Lumora(benchmark::State& state) {
    CVxImage& image = SceneFor(state.range(0) != 0);
    G geometry(&image);
    const auto flag = static_cast<G::FLIP_FLAG>(state.range(1));
    for (auto _ : state) {
        if (!geometry.Flip(flag)) state.SkipWithError("Flip refused the image");
        benchmark::DoNotOptimize(image.GetBuffer());
    }
    SetBytesProcessed(state, image);
}
BENCHMARK(BM_Flip_Lumora)->ArgNames({"rgb", "flag"})->ArgsProduct({{0, 1}, {0, 1, 2}})->Unit(benchmark::kMicrosecond);

// range(0): colour, range(1): 0 nearest 1 bilinear, range(2): 0 down 1 up.
void BM_Resize_Lumora(benchmark::State& state) {
    CVxImage& image = SceneFor(state.range(0) != 0);
    const bool bilinear = state.range(1) != 0, up = state.range(2) != 0;
    G geometry(&image);
    CVxImage dest;
    for (auto _ : state) {
        geometry.Resize(up ? 3840 : 960, up ? 2160 : 540, dest,
                        bilinear ? G::INTERPOLATION_BILINEAR : G::INTERPOLATION_NEAREST);
        benchmark::DoNotOptimize(dest.GetBuffer());
    }
}
void ResizeArgs(benchmark::internal::Benchmark* b) {
    b->ArgNames({"rgb", "bilinear", "up"})->ArgsProduct({{0, 1}, {0, 1}, {0, 1}})->Unit(benchmark::kMicrosecond);
}
BENCHMARK(BM_Resize_Lumora)->Apply(ResizeArgs);

void BM_CopyTo_Lumora(benchmark::State& state) {
    CVxImage& image = SceneFor(state.range(0) != 0);
    CVxImage dest(image.m_ColorModel, 8, kCentre.Width() + 1, kCentre.Height() + 1);
    CVxMiscProcessing misc(&image);
    for (auto _ : state) {
        if (!misc.CopyTo(dest, kCentre)) state.SkipWithError("CopyTo refused the image");
        benchmark::DoNotOptimize(dest.GetBuffer());
    }
}
BENCHMARK(BM_CopyTo_Lumora)->ArgName("rgb")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// Crop replaces its image, so each run crops a fresh copy made untimed.
void BM_Crop_Lumora(benchmark::State& state) {
    CVxImage& scene = SceneFor(state.range(0) != 0);
    CVxImage image;
    for (auto _ : state) {
        state.PauseTiming();
        image = scene;
        state.ResumeTiming();
        if (!CVxMiscProcessing(&image).Crop(kCentre)) state.SkipWithError("Crop refused the image");
        benchmark::DoNotOptimize(image.GetBuffer());
    }
}
BENCHMARK(BM_Crop_Lumora)->ArgName("rgb")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

#ifdef LUMORA_HAVE_OPENCV
void BM_Flip_OpenCV(benchmark::State& state) {
    CVxImage& image = SceneFor(state.range(0) != 0);
    cv::Mat mat = AsMat(image);
    const int code = state.range(1) == 0 ? 0 : state.range(1) == 1 ? 1 : -1;
    for (auto _ : state) {
        cv::flip(mat, mat, code);
        benchmark::DoNotOptimize(mat.data);
    }
    SetBytesProcessed(state, image);
}
BENCHMARK(BM_Flip_OpenCV)->ArgNames({"rgb", "flag"})->ArgsProduct({{0, 1}, {0, 1, 2}})->Unit(benchmark::kMicrosecond);

void BM_Resize_OpenCV(benchmark::State& state) {
    CVxImage& image = SceneFor(state.range(0) != 0);
    const bool bilinear = state.range(1) != 0, up = state.range(2) != 0;
    const cv::Mat mat = AsMat(image);
    cv::Mat dest;
    for (auto _ : state) {
        cv::resize(mat, dest, up ? cv::Size(3840, 2160) : cv::Size(960, 540), 0, 0,
                   bilinear ? cv::INTER_LINEAR : cv::INTER_NEAREST);
        benchmark::DoNotOptimize(dest.data);
    }
}
BENCHMARK(BM_Resize_OpenCV)->Apply(ResizeArgs);

void BM_CopyTo_OpenCV(benchmark::State& state) {
    CVxImage& image = SceneFor(state.range(0) != 0);
    const cv::Mat mat = AsMat(image);
    const cv::Rect roi(kCentre.left, kCentre.top, kCentre.Width() + 1, kCentre.Height() + 1);
    cv::Mat dest(roi.height, roi.width, mat.type());
    for (auto _ : state) {
        mat(roi).copyTo(dest);
        benchmark::DoNotOptimize(dest.data);
    }
}
BENCHMARK(BM_CopyTo_OpenCV)->ArgName("rgb")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
