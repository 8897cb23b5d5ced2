#include <lumora/threading.h>

#include <string>

#include "bench/bench_support.h"

int main(int argc, char** argv) {
    // LUMORA_NUM_THREADS sets Lumora's thread count; OpenCV gets the same
    // count so that every pair compares like with like.
    const int threads = GetLumoraThreadCount();
#ifdef LUMORA_HAVE_OPENCV
    cv::setNumThreads(threads);
#endif
    benchmark::AddCustomContext("lumora_threads", std::to_string(threads));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
