#include "bench/bench_support.h"

int main(int argc, char** argv) {
#ifdef LUMORA_HAVE_OPENCV
    // Lumora runs on the caller's thread; compare like with like.
    cv::setNumThreads(1);
#endif
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
