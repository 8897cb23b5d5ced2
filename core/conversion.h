// Layouts of a conversion between two images, and its pixel loop.
//
// A conversion reads its source with one sample type and a base channel
// count, plus one when the source carries alpha, and writes its destination
// likewise (RGB 3 / RGBA 4, Gray 1 / GrayA 2, ...). Its per-pixel rule is
// written once, templated on both channel counts,
//     [&]<int CS, int CD>() { ConvertPixels<TS, CS, TD, CD>(src, dst, rule); }
// with the alpha differences in `if constexpr`, and DispatchConversion picks
// the instance from the images.
#pragma once

#include <cstddef>
#include <cstdint>
#include "cpu_dispatch.h"
#include "layout.h"
#include "parallel.h"
#include "pixels.h"

namespace lumora::detail {

// Calls fn.template operator()<CS, CD>() with CS = kSrcBase (+1 with
// srcAlpha) and CD = kDstBase (+1 with dstAlpha). A height below 1 has
// nothing to convert and calls nothing; otherwise returns false without
// calling fn when either image's block cannot hold its layout.
template <class TS, int kSrcBase, class TD, int kDstBase, class Fn>
bool DispatchConversion(CVxImage& src, bool srcAlpha, CVxImage& dst, bool dstAlpha, Fn&& fn) {
    if (dst.m_nHeight < 1) return true;
    const int cs = kSrcBase + (srcAlpha ? 1 : 0), cd = kDstBase + (dstAlpha ? 1 : 0);
    if (!HasPixelBlockFor(src, cs, static_cast<int>(sizeof(TS))) ||
        !HasPixelBlockFor(dst, cd, static_cast<int>(sizeof(TD))))
        return false;
    // A layout with alpha exists only up to four channels.
    auto withDst = [&]<int CS>() {
        if constexpr (kDstBase < 4)
            if (dstAlpha) return fn.template operator()<CS, kDstBase + 1>();
        fn.template operator()<CS, kDstBase>();
    };
    if constexpr (kSrcBase < 4)
        if (srcAlpha) {
            withDst.template operator()<kSrcBase + 1>();
            return true;
        }
    withDst.template operator()<kSrcBase>();
    return true;
}

// rowRule(s, d, width) for every row: s and d point at the row's first
// pixel. Compiled also for AVX2 and run that way where the processor has it
// (the rule must be inlinable for that to pay). Rows are independent, so
// they are split across threads; a row's rule sees only its own pixels.
template <class TS, class TD, class RowRule>
void ConvertRows(CVxImage& src, CVxImage& dst, const RowRule& rowRule) {
    void** srcRows = src.Get2DBuffer();
    void** dstRows = dst.Get2DBuffer();
    const int width = dst.m_nWidth;
    // A few operations per pixel: even the byte shuffles pay a thread on a
    // quarter of a megapixel.
    ParallelRows(0, dst.m_nHeight, std::int64_t{width} * 4, [&](int y0, int y1) {
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA {
            const RowRule rule = rowRule;
            for (int y = y0; y < y1; ++y) rule(static_cast<const TS*>(srcRows[y]), static_cast<TD*>(dstRows[y]), width);
        });
    });
}

// rule(s, d) for every pixel of the destination's size: s points at the
// source pixel's CS samples, d at the destination pixel's CD samples. The
// images may be one and the same.
template <class TS, int CS, class TD, int CD, class Rule>
void ConvertPixels(CVxImage& src, CVxImage& dst, const Rule& rule) {
    ConvertRows<TS, TD>(src, dst, [rule](const TS* s, TD* d, int width) LUMORA_INLINE_LAMBDA {
        for (int x = 0; x < width; ++x) rule(s + static_cast<std::ptrdiff_t>(x) * CS, d + static_cast<std::ptrdiff_t>(x) * CD);
    });
}

}  // namespace lumora::detail
