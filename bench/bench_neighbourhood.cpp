// Neighbourhood operations on 1920x1080 images: Convolve (3x3, 5x5, int and
// float kernels) and Blur against cv::filter2D with replicated borders,
// Sobel3 against cv::Sobel and Laplacian3 against cv::Laplacian.
#include "bench/bench_support.h"

namespace {

using namespace lumora::bench;

inline CVxImage& Grey16() {
    static CVxImage image = MakeImage(CM_GRAY, 16);
    return image;
}

enum Scene { kGrey8, kRgb8, kGrey16 };

CVxImage& SceneOf(int scene) { return scene == kGrey8 ? Grey8() : scene == kRgb8 ? Rgb8() : Grey16(); }

// Kernels whose sums stay in range so that neither side saturates much.
int kInt3[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};  // divisor 16
float kFloat3[9] = {0.0625f, 0.125f, 0.0625f, 0.125f, 0.25f, 0.125f, 0.0625f, 0.125f, 0.0625f};
int kInt5[25] = {1, 4, 6, 4, 1, 4, 16, 24, 16, 4, 6, 24, 36, 24, 6, 4, 16, 24, 16, 4, 1, 4, 6, 4, 1};  // 256
float kFloat5[25];
float kBlur[9] = {0.03125f, 0.03125f, 0.03125f, 0.03125f, 0.75f, 0.03125f, 0.03125f, 0.03125f, 0.03125f};

const float* Float5() {
    for (int i = 0; i < 25; ++i) kFloat5[i] = static_cast<float>(kInt5[i]) / 256.0f;
    return kFloat5;
}

void BM_Convolve_Lumora(benchmark::State& state, int scene, int size, bool floatKernel) {
    CVxImage& image = SceneOf(scene);
    CVxConvolution conv(&image);
    CVxImage dest;
    Float5();
    for (auto _ : state) {
        const int ok = floatKernel
                           ? conv.Convolve(size == 3 ? kFloat3 : kFloat5, CSize(size, size), dest, 1.0f, 0.0f,
                                           CONVOLUTION_EXTEND)
                           : conv.Convolve(size == 3 ? kInt3 : kInt5, CSize(size, size), dest, size == 3 ? 16 : 256, 0,
                                           CONVOLUTION_EXTEND);
        if (!ok) state.SkipWithError("Convolve refused the image");
        benchmark::DoNotOptimize(dest.GetBuffer());
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Convolve_Lumora, grey_3x3_int, kGrey8, 3, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_Lumora, grey_3x3_float, kGrey8, 3, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_Lumora, grey_5x5_int, kGrey8, 5, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_Lumora, grey_5x5_float, kGrey8, 5, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_Lumora, rgb_3x3_int, kRgb8, 3, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_Lumora, rgb_3x3_float, kRgb8, 3, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_Lumora, rgb_5x5_int, kRgb8, 5, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_Lumora, rgb_5x5_float, kRgb8, 5, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_Lumora, grey16_3x3_float, kGrey16, 3, true)->Unit(benchmark::kMillisecond);

void BM_Blur_Lumora(benchmark::State& state, int scene) {
    CVxImage& image = SceneOf(scene);
    CVxFilter filter(&image);
    CVxImage dest;
    for (auto _ : state) {
        if (!filter.Blur(dest)) state.SkipWithError("Blur refused the image");
        benchmark::DoNotOptimize(dest.GetBuffer());
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Blur_Lumora, grey, kGrey8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Blur_Lumora, rgb, kRgb8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Blur_Lumora, grey16, kGrey16)->Unit(benchmark::kMillisecond);

void BM_Sobel3_Lumora(benchmark::State& state, int scene) {
    CVxImage& image = SceneOf(scene);
    CVxEdgeDetection edges(&image);
    CVxImage dest;
    for (auto _ : state) {
        if (!edges.Sobel3(dest, SOBEL_VERTICAL)) state.SkipWithError("Sobel3 refused the image");
        benchmark::DoNotOptimize(dest.GetBuffer());
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Sobel3_Lumora, grey, kGrey8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Sobel3_Lumora, rgb, kRgb8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Sobel3_Lumora, grey16, kGrey16)->Unit(benchmark::kMillisecond);

void BM_Laplacian3_Lumora(benchmark::State& state, int scene) {
    CVxImage& image = SceneOf(scene);
    CVxEdgeDetection edges(&image);
    CVxImage dest;
    for (auto _ : state) {
        if (!edges.Laplacian3(dest)) state.SkipWithError("Laplacian3 refused the image");
        benchmark::DoNotOptimize(dest.GetBuffer());
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Laplacian3_Lumora, grey, kGrey8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Laplacian3_Lumora, rgb, kRgb8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Laplacian3_Lumora, grey16, kGrey16)->Unit(benchmark::kMillisecond);

#ifdef LUMORA_HAVE_OPENCV
// cv::filter2D has no integer kernels: the int cases run the same weights
// scaled by the divisor, which is the same filter.
void BM_Convolve_OpenCV(benchmark::State& state, int scene, int size, bool /*floatKernel*/) {
    CVxImage& image = SceneOf(scene);
    const cv::Mat src = AsMat(image);
    cv::Mat kernel(size, size, CV_32F, const_cast<float*>(size == 3 ? kFloat3 : Float5())), dest;
    for (auto _ : state) {
        cv::filter2D(src, dest, -1, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
        benchmark::DoNotOptimize(dest.data);
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Convolve_OpenCV, grey_3x3_int, kGrey8, 3, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_OpenCV, grey_3x3_float, kGrey8, 3, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_OpenCV, grey_5x5_int, kGrey8, 5, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_OpenCV, grey_5x5_float, kGrey8, 5, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_OpenCV, rgb_3x3_int, kRgb8, 3, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_OpenCV, rgb_3x3_float, kRgb8, 3, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_OpenCV, rgb_5x5_int, kRgb8, 5, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_OpenCV, rgb_5x5_float, kRgb8, 5, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convolve_OpenCV, grey16_3x3_float, kGrey16, 3, true)->Unit(benchmark::kMillisecond);

void BM_Blur_OpenCV(benchmark::State& state, int scene) {
    CVxImage& image = SceneOf(scene);
    const cv::Mat src = AsMat(image);
    cv::Mat kernel(3, 3, CV_32F, kBlur), dest;
    for (auto _ : state) {
        cv::filter2D(src, dest, -1, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
        benchmark::DoNotOptimize(dest.data);
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Blur_OpenCV, grey, kGrey8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Blur_OpenCV, rgb, kRgb8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Blur_OpenCV, grey16, kGrey16)->Unit(benchmark::kMillisecond);

// Same output type as the input, saturated; Lumora's is |gradient| clamped.
void BM_Sobel3_OpenCV(benchmark::State& state, int scene) {
    CVxImage& image = SceneOf(scene);
    const cv::Mat src = AsMat(image);
    cv::Mat dest;
    for (auto _ : state) {
        cv::Sobel(src, dest, -1, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
        benchmark::DoNotOptimize(dest.data);
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Sobel3_OpenCV, grey, kGrey8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Sobel3_OpenCV, rgb, kRgb8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Sobel3_OpenCV, grey16, kGrey16)->Unit(benchmark::kMillisecond);

void BM_Laplacian3_OpenCV(benchmark::State& state, int scene) {
    CVxImage& image = SceneOf(scene);
    const cv::Mat src = AsMat(image);
    cv::Mat dest;
    for (auto _ : state) {
        cv::Laplacian(src, dest, -1, 3, 1, 0, cv::BORDER_REPLICATE);
        benchmark::DoNotOptimize(dest.data);
    }
    SetBytesProcessed(state, image);
}
BENCHMARK_CAPTURE(BM_Laplacian3_OpenCV, grey, kGrey8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Laplacian3_OpenCV, rgb, kRgb8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Laplacian3_OpenCV, grey16, kGrey16)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
