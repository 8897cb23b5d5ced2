// The C++ side of the Python call-overhead comparison (bench/bench_python.py):
// Blur of an RGB 8-bit image into a fresh destination each call, as
// lumora.blur(a) makes one, at a small size where the call's fixed cost shows
// and at 1920x1080 where the work dominates.
#include "bench/bench_support.h"

namespace lumora::bench {
namespace {

void BM_BindingBlur_Cpp(benchmark::State& state) {
    CVxImage image = MakeImage(CM_RGB, 8, static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state) {
        CVxImage dest;
        CVxFilter filter(&image);
        if (!filter.Blur(dest)) state.SkipWithError("Blur refused the image");
        benchmark::DoNotOptimize(dest.GetBuffer());
    }
}
BENCHMARK(BM_BindingBlur_Cpp)->Args({64, 64})->Args({kWidth, kHeight})->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace lumora::bench
