// Series operations against OpenCV on 1920x1080 8-bit images: the mean of 16
// grey frames vs cv::accumulate into a float image and a scaled conversion,
// and shading correction of an RGB image vs cv::multiply by the blank's
// channel means and cv::divide by the blank.
//
// Shading correction works in place, so every iteration corrects the
// previous one's result; neither side branches on sample values, and the
// OpenCV side works in place as well.
#include <vector>

#include "bench/bench_support.h"

namespace {

using namespace lumora::bench;

constexpr int kFrames = 16;

// Sixteen separate copies of the grey scene, so every frame is read from memory.
std::vector<CVxImage>& GreyFrames() {
    static std::vector<CVxImage> frames(kFrames, Grey8());
    return frames;
}

// A blank with light falling off to one side, no zero samples.
CVxImage& RgbBlank() {
    static CVxImage blank = [] {
        CVxImage image(CM_RGB, 8, kWidth, kHeight);
        for (int y = 0; y < kHeight; ++y) {
            auto* row = static_cast<std::uint8_t*>(image.Get2DBuffer()[y]);
            for (int i = 0; i < kWidth * 3; ++i) row[i] = static_cast<std::uint8_t>(230 - 120 * i / (kWidth * 3));
        }
        return image;
    }();
    return blank;
}

void BM_Average_Lumora(benchmark::State& state) {
    CVxImageArray array;
    for (CVxImage& frame : GreyFrames()) array.Add(&frame);
    CVxAveraging averaging(&array);
    CVxImage dest;
    for (auto _ : state) {
        if (!averaging.Averaging(dest, 0)) state.SkipWithError("Averaging refused the frames");
        benchmark::DoNotOptimize(dest.GetBuffer());
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, Grey8());
}
BENCHMARK(BM_Average_Lumora)->Name("BM_Average_Lumora/grey16frames")->Unit(benchmark::kMicrosecond);

void BM_Shading_Lumora(benchmark::State& state) {
    CVxImage image = Rgb8();
    CLMRShadingCorrect shading(&image);
    shading.SetBlankImage(&RgbBlank());
    for (auto _ : state) {
        if (!shading.ShadingCorrect()) state.SkipWithError("ShadingCorrect refused the image");
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, image);
}
BENCHMARK(BM_Shading_Lumora)->Name("BM_Shading_Lumora/rgb")->Unit(benchmark::kMicrosecond);

#ifdef LUMORA_HAVE_OPENCV
void BM_Average_OpenCV(benchmark::State& state) {
    std::vector<cv::Mat> frames;
    for (CVxImage& frame : GreyFrames()) frames.push_back(AsMat(frame));
    cv::Mat sum(kHeight, kWidth, CV_32F), dest;
    for (auto _ : state) {
        sum.setTo(0);
        for (const cv::Mat& frame : frames) cv::accumulate(frame, sum);
        sum.convertTo(dest, CV_8U, 1.0 / kFrames);
        benchmark::DoNotOptimize(dest.data);
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, Grey8());
}
BENCHMARK(BM_Average_OpenCV)->Name("BM_Average_OpenCV/grey16frames")->Unit(benchmark::kMicrosecond);

void BM_Shading_OpenCV(benchmark::State& state) {
    CVxImage image = Rgb8();
    cv::Mat mat = AsMat(image), blank = AsMat(RgbBlank()), product;
    const cv::Scalar means = cv::mean(blank);
    for (auto _ : state) {
        cv::multiply(mat, means, product, 1.0, CV_16U);
        cv::divide(product, blank, mat, 1.0, CV_8U);
        benchmark::ClobberMemory();
    }
    SetBytesProcessed(state, image);
}
BENCHMARK(BM_Shading_OpenCV)->Name("BM_Shading_OpenCV/rgb")->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
