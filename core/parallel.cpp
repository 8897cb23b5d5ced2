#include "parallel.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <thread>

#include <lumora/threading.h>

#ifdef _OPENMP
#include <omp.h>
#endif

namespace {

constexpr int kMaxThreads = 256;

int AllCores() {
#ifdef _OPENMP
    return std::clamp(omp_get_num_procs(), 1, kMaxThreads);
#else
    return std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMaxThreads);
#endif
}

int Resolve(long count) { return count <= 0 ? AllCores() : static_cast<int>(std::min<long>(count, kMaxThreads)); }

// 0 until the count is first asked for or set.
std::atomic<int> g_threads{0};

int FromEnvironment() {
    const char* text = std::getenv("LUMORA_NUM_THREADS");
    if (text == nullptr) return AllCores();
    char* end = nullptr;
    const long count = std::strtol(text, &end, 10);
    return end == text ? AllCores() : Resolve(count);
}

}  // namespace

void SetLumoraThreadCount(int count) { g_threads.store(Resolve(count)); }

int GetLumoraThreadCount() {
    int threads = g_threads.load();
    if (threads == 0) {
        int unset = 0;
        threads = FromEnvironment();
        if (!g_threads.compare_exchange_strong(unset, threads)) threads = unset;
    }
    return threads;
}

namespace lumora::detail {

void RunBands(int first, int end, std::int64_t workPerRow, void (*band)(void*, int, int), void* context) {
    const int rows = end - first;
    if (rows <= 0) return;
    const std::int64_t work = std::max<std::int64_t>(workPerRow, 1) * rows;
    const int bands = static_cast<int>(
        std::min<std::int64_t>({GetLumoraThreadCount(), rows, std::max<std::int64_t>(work / kWorkPerThread, 1)}));
#ifdef _OPENMP
    if (bands > 1 && !omp_in_parallel()) {
        // An exception may not leave a thread of the team: the first one is
        // kept and thrown again on the caller's thread.
        std::exception_ptr failure;
#pragma omp parallel for num_threads(bands) schedule(static, 1)
        for (int b = 0; b < bands; ++b) {
            const int y0 = first + static_cast<int>(static_cast<std::int64_t>(rows) * b / bands);
            const int y1 = first + static_cast<int>(static_cast<std::int64_t>(rows) * (b + 1) / bands);
            try {
                band(context, y0, y1);
            } catch (...) {
#pragma omp critical(lumora_band_failure)
                if (!failure) failure = std::current_exception();
            }
        }
        if (failure) std::rethrow_exception(failure);
        return;
    }
#endif
    band(context, first, end);
}

}  // namespace lumora::detail
