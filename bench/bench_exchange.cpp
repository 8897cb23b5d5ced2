// Exchange: ConvertTo and ConvertFrom of a 1920x1080 RGB image against a
// memcpy of the same bytes (the floor for a block copy), and BMP files
// written and read by the io library against cv::imwrite / cv::imread.
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/bench_support.h"

#ifdef LUMORA_HAVE_IO
#include "io/image_file.h"
#endif
#ifdef LUMORA_HAVE_OPENCV_IMGCODECS
#include <opencv2/imgcodecs.hpp>
#endif

namespace {

using namespace lumora::bench;

void BM_DibConvertTo_Lumora(benchmark::State& state) {
    CVxImage& image = Rgb8();
    CVxDIBConvert dib(&image);
    for (auto _ : state) {
        BITMAPINFOHEADER* block = nullptr;
        dib.ConvertTo(&block);
        benchmark::DoNotOptimize(block);
        CVxDIBConvert::DeleteBitmapInfoHeaderMem(block);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * image.m_nImageSize);
}
BENCHMARK(BM_DibConvertTo_Lumora)->Name("BM_DibConvertTo_Lumora/rgb")->Unit(benchmark::kMicrosecond);

void BM_DibConvertFrom_Lumora(benchmark::State& state) {
    CVxImage& image = Rgb8();
    CVxDIBConvert exporter(&image);
    BITMAPINFOHEADER* block = nullptr;
    exporter.ConvertTo(&block);
    const size_t bytes = sizeof(BITMAPINFOHEADER) + block->biSizeImage;
    CVxImage target;
    CVxDIBConvert dib(&target);
    for (auto _ : state) {
        if (!dib.ConvertFrom(block, bytes)) state.SkipWithError("ConvertFrom refused the block");
        benchmark::DoNotOptimize(target.GetBuffer());
    }
    CVxDIBConvert::DeleteBitmapInfoHeaderMem(block);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * image.m_nImageSize);
}
BENCHMARK(BM_DibConvertFrom_Lumora)->Name("BM_DibConvertFrom_Lumora/rgb")->Unit(benchmark::kMicrosecond);

// The same bytes moved once into a buffer that already exists.
void BM_DibCopy_memcpy(benchmark::State& state) {
    CVxImage& image = Rgb8();
    std::vector<std::uint8_t> dst(static_cast<size_t>(image.m_nImageSize) + sizeof(BITMAPINFOHEADER));
    for (auto _ : state) {
        std::memcpy(dst.data() + sizeof(BITMAPINFOHEADER), image.GetBuffer(), static_cast<size_t>(image.m_nImageSize));
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * image.m_nImageSize);
}
BENCHMARK(BM_DibCopy_memcpy)->Name("BM_DibCopy_memcpy/rgb")->Unit(benchmark::kMicrosecond);

std::string BenchFile(const char* name) { return (std::filesystem::temp_directory_path() / name).string(); }

#ifdef LUMORA_HAVE_IO
void BM_BmpWrite_Lumora(benchmark::State& state) {
    const std::string path = BenchFile("lumora_bench_lumora.bmp");
    for (auto _ : state) lumora::io::WriteImage(path, Rgb8());
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * Rgb8().m_nImageSize);
}
BENCHMARK(BM_BmpWrite_Lumora)->Name("BM_BmpWrite_Lumora/rgb")->Unit(benchmark::kMicrosecond);

void BM_BmpRead_Lumora(benchmark::State& state) {
    const std::string path = BenchFile("lumora_bench_lumora.bmp");
    lumora::io::WriteImage(path, Rgb8());
    CVxImage image;
    for (auto _ : state) {
        lumora::io::ReadImage(path, image);
        benchmark::DoNotOptimize(image.GetBuffer());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * Rgb8().m_nImageSize);
}
BENCHMARK(BM_BmpRead_Lumora)->Name("BM_BmpRead_Lumora/rgb")->Unit(benchmark::kMicrosecond);
#endif

#ifdef LUMORA_HAVE_OPENCV_IMGCODECS
void BM_BmpWrite_OpenCV(benchmark::State& state) {
    const std::string path = BenchFile("lumora_bench_opencv.bmp");
    const cv::Mat mat = AsMat(Rgb8());
    for (auto _ : state) cv::imwrite(path, mat);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * Rgb8().m_nImageSize);
}
BENCHMARK(BM_BmpWrite_OpenCV)->Name("BM_BmpWrite_OpenCV/rgb")->Unit(benchmark::kMicrosecond);

void BM_BmpRead_OpenCV(benchmark::State& state) {
    const std::string path = BenchFile("lumora_bench_opencv.bmp");
    cv::imwrite(path, AsMat(Rgb8()));
    for (auto _ : state) {
        cv::Mat mat = cv::imread(path, cv::IMREAD_UNCHANGED);
        benchmark::DoNotOptimize(mat.data);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * Rgb8().m_nImageSize);
}
BENCHMARK(BM_BmpRead_OpenCV)->Name("BM_BmpRead_OpenCV/rgb")->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
