// Helpers shared by the point operations: the processor's truncating
// conversion and the walk over the samples of a region.
#pragma once

#include <cstdint>

#include "../core/cpu_dispatch.h"
#include "../core/parallel.h"
#include "../core/pixels.h"
#include "../core/region.h"

namespace lumora::detail {

// Double to 32-bit integer the way the x86 truncating conversion does it:
// toward zero, and the "integer indefinite" value INT32_MIN for NaN and for
// anything outside the 32-bit range. The legacy results of out-of-range
// values depend on that answer, and a plain cast would be undefined there.
inline std::int32_t TruncToInt32(double value) {
    if (value > -2147483649.0 && value < 2147483648.0) return static_cast<std::int32_t>(value);
    return INT32_MIN;
}

// Calls fn(row, count) for every row of the region, with `row` at the
// region's first sample and `count` = region width x C samples. Keeping the
// per-sample loop inside fn lets the compiler vectorise it as one flat run.
template <class T, int C, class Fn>
void ForEachRegionRow(CVxImage& image, const Region& region, Fn&& fn) {
    const int count = region.Width() * C;
    for (int y = region.top; y <= region.bottom; ++y) fn(RowOf<T>(image, y) + static_cast<std::ptrdiff_t>(region.left) * C, count);
}

// The same with the rows split across threads: fn must touch its row only.
template <class T, int C, class Fn>
void ForEachRegionRowInParallel(CVxImage& image, const Region& region, Fn&& fn) {
    const int count = region.Width() * C;
    ParallelRows(region.top, region.bottom + 1, count, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) fn(RowOf<T>(image, y) + static_cast<std::ptrdiff_t>(region.left) * C, count);
    });
}

// The per-sample loop of MapRegion. Its operands are plain parameters: a loop
// reading them from a closure would have to re-read them after every store
// through the row (a byte pointer may alias the closure) and would not
// vectorise without a run-time overlap check.
template <class T, class Op>
LUMORA_INLINE void MapRow(T* row, int count, Op op) {
    for (int i = 0; i < count; ++i) row[i] = op(row[i]);
}

// Applies op to every sample of the region in place, with the row loop
// compiled for the widest vectors the processor has.
template <class T, int C, class Op>
void MapRegion(CVxImage& image, const Region& region, Op op) {
    ForEachRegionRowInParallel<T, C>(image, region, [op](T* row, int count) {
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { MapRow(row, count, op); });
    });
}

// Replaces every byte of a run by its entry in a 256-entry table: byte
// shuffles with AVX2, else a scalar loop (point_support.cpp).
void LookUpBytes(std::uint8_t* run, int count, const std::uint8_t* table);

// The same over every row of a region of 8-bit samples.
template <class T, int C>
void LookUpRegion(CVxImage& image, const Region& region, const std::uint8_t* table) {
    static_assert(sizeof(T) == 1);
    ForEachRegionRowInParallel<T, C>(image, region, [table](T* row, int count) { LookUpBytes(row, count, table); });
}

}  // namespace lumora::detail
