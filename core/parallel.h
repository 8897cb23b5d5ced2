// Splitting an operation's rows across threads.
//
//     ParallelRows(first, end, samplesPerRow * costPerSample, [&](int y0, int y1) { ... rows y0..y1-1 ... });
//
// The rows [first, end) are cut into contiguous bands, at most one per
// thread, and each band is handed to fn on its own thread; fn returns when
// every band is done. A band must only write its own rows and must keep any
// state (row caches, scratch lines) of its own, so that each output row is
// computed exactly as on one thread: the results do not depend on the
// thread count. Work below a size where threads pay (the per-row cost
// summed over the rows) stays on the caller's thread as one band.
#pragma once

#include <cstdint>
#include <type_traits>

namespace lumora::detail {

// The smallest amount of work worth a thread of its own, in units of about
// one simple operation on one sample: starting and joining a team costs a
// few microseconds, which such a share outweighs many times.
inline constexpr std::int64_t kWorkPerThread = std::int64_t{1} << 17;

void RunBands(int first, int end, std::int64_t workPerRow, void (*band)(void*, int, int), void* context);

template <class Fn>
void ParallelRows(int first, int end, std::int64_t workPerRow, Fn&& fn) {
    using F = std::remove_reference_t<Fn>;
    RunBands(first, end, workPerRow, [](void* f, int y0, int y1) { (*static_cast<F*>(f))(y0, y1); },
             static_cast<void*>(&fn));
}

}  // namespace lumora::detail
