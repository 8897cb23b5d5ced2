// Shared pieces of the benchmarks: deterministic test images and, with
// OpenCV, zero-copy views of them as cv::Mat.
//
// Pair names so that they sort side by side: BM_<Op>_Lumora/<case> and
// BM_<Op>_OpenCV/<case>; BM_<Op>_memcpy/<case> or BM_Point_memcpy/<layout>
// gives the memory floor (bench/table.py pairs them). OpenCV runs on as many
// threads as Lumora (set in bench_main.cpp).
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

#include <lumora/lumora.h>

#ifdef LUMORA_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace lumora::bench {

inline constexpr int kWidth = 1920;
inline constexpr int kHeight = 1080;

// Smooth gradients per channel plus noise from a fixed LCG: every sample
// value occurs, the content is the same every run, and runs of equal values
// are short, as in a photograph.
inline CVxImage MakeImage(COLOR_MODEL model, int bits, int width = kWidth, int height = kHeight) {
    CVxImage image(model, bits, width, height);
    const int channels = image.m_nChannel;
    std::uint32_t state = 2024;
    for (int y = 0; y < height; ++y) {
        void* row = image.Get2DBuffer()[y];
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) {
                state = state * 1664525u + 1013904223u;
                const double ramp = (x * (c + 1) + y * (channels - c)) / double(width + height) / (channels + 1);
                const double noise = ((state >> 24) / 255.0 - 0.5) * 0.1;
                double v = ramp + noise;
                v = v < 0 ? 0 : v > 1 ? 1 : v;
                const size_t i = static_cast<size_t>(x) * channels + c;
                if (bits <= 8)
                    static_cast<std::uint8_t*>(row)[i] = static_cast<std::uint8_t>(v * 255);
                else if (bits <= 16)
                    static_cast<std::uint16_t*>(row)[i] = static_cast<std::uint16_t>(v * 65535);
                else
                    static_cast<float*>(row)[i] = static_cast<float>(v * 255);
            }
    }
    return image;
}

// The standard scenes, built once per process.
inline CVxImage& Grey8() {
    static CVxImage image = MakeImage(CM_GRAY, 8);
    return image;
}
inline CVxImage& Rgb8() {
    static CVxImage image = MakeImage(CM_RGB, 8);
    return image;
}

inline void SetBytesProcessed(benchmark::State& state, const CVxImage& image) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * image.m_nWidth * image.m_nHeight *
                            image.m_nChannel * CVxImageInfo::GetSampleBytes(image.m_nBitsPerSample));
}

#ifdef LUMORA_HAVE_OPENCV
// A cv::Mat header over the image's pixels (no copy). Rows are padded to four
// bytes, so the stride is m_nBytesPerLine, not width x pixel size.
inline cv::Mat AsMat(CVxImage& image) {
    const int depth = image.m_nBitsPerSample <= 8 ? CV_8U : image.m_nBitsPerSample <= 16 ? CV_16U : CV_32F;
    return cv::Mat(image.m_nHeight, image.m_nWidth, CV_MAKETYPE(depth, image.m_nChannel), image.GetBuffer(),
                   static_cast<size_t>(image.m_nBytesPerLine));
}
#endif

}  // namespace lumora::bench
