#include <lumora/filter.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <vector>

#include "../core/cpu_dispatch.h"
#include "../core/layout.h"
#include "../core/overwrite.h"
#include "../core/parallel.h"
#include "../core/pixels.h"
#include "order_key.h"

using namespace lumora::detail;

// The 3 x 3 median without sorting: sort every column of three (lo <= mid <=
// hi), then the median of the nine is the median of (largest of the three
// lows, median of the three mids, smallest of the three highs). The column
// sorts of one output row are shared by the three pixels that use each
// column, and everything is element-wise over a row, so it vectorises.
//
// Float samples are ranked as order keys (order_key.h) with NaN above
// +infinity: a neighbourhood with five or more NaN gives NaN, fewer are
// outvoted. -0 orders below +0.

namespace {

template <class K>
inline K Median3(K a, K b, K c) {
    return MaxOf(MinOf(a, b), MinOf(MaxOf(a, b), c));
}

// The 32-bit value of a float, truncated toward zero. Out of range values
// saturate to the nearest int limit and NaN gives 0, where a bare conversion
// would be undefined.
inline std::int32_t SaturatingTrunc(float v) {
    if (v != v) return 0;
    if (v >= 2147483648.0f) return std::numeric_limits<std::int32_t>::max();
    if (v < -2147483648.0f) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(v);
}

template <class T, int C>
class MedianRows {
public:
    using K = OrderKey<T>;

    MedianRows(CVxImage& source, CVxImage& dest)
        : source_(source),
          dest_(dest),
          width_(source.m_nWidth),
          height_(source.m_nHeight),
          n_(static_cast<std::ptrdiff_t>(source.m_nWidth) * C) {}

    // Inner rows [y0, y1), computed by one copy of the code for the widest
    // instruction set the processor offers. The source must not be the
    // destination: rows are read around the ones written.
    template <bool kSelective>
    void Run(int threshold, int y0, int y1) {
        if (height_ < 3 || width_ < 3) return;
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { RunRows<kSelective>(threshold, y0, y1); });
    }

private:
    template <bool kSelective>
    LUMORA_INLINE void RunRows(int threshold, int y0, int y1) {
        const size_t n = static_cast<size_t>(n_);
        const size_t piece = static_cast<size_t>(std::min<std::ptrdiff_t>(kPiece, n_) + 2 * C);
        lo_.resize(piece);
        mid_.resize(piece);
        hi_.resize(piece);
        median_.resize(n);
        if constexpr (kIsFloatSample<T>)
            for (auto& row : keyRows_) row.resize(n);
        for (int y = y0; y < y1; ++y) {
            const T* above = RowOf<T>(source_, y - 1);
            const T* centre = RowOf<T>(source_, y);
            const T* below = RowOf<T>(source_, y + 1);
            T* __restrict dst = RowOf<T>(dest_, y);
            if constexpr (!kSelective) {
                // The first and last pixels keep their values.
                std::copy(centre, centre + C, dst);
                std::copy(centre + n_ - C, centre + n_, dst + n_ - C);
            }
            if constexpr (!kSelective && !kIsFloatSample<T>) {
                // Integer samples are their own keys: straight into the rows,
                // two at a time where the band has two left.
                if (y + 1 < y1) {
                    T* next = RowOf<T>(dest_, y + 1);
                    std::copy(below, below + C, next);
                    std::copy(below + n_ - C, below + n_, next + n_ - C);
                    MedianPair(above, centre, below, RowOf<T>(source_, y + 2), dst + C, next + C, n_ - 2 * C);
                    ++y;
                } else {
                    Medians(above, centre, below, dst);
                }
                continue;
            }
            Medians(Keys(above, 0), Keys(centre, 1), Keys(below, 2), median_.data());
            const K* __restrict median = median_.data();
            const std::ptrdiff_t end = n_ - C;
            if constexpr (!kSelective) {
                for (std::ptrdiff_t i = C; i < end; ++i) dst[i] = FromOrderKey<T>(median[i]);
            } else if constexpr (kIsFloatSample<T>) {
                for (std::ptrdiff_t i = C; i < end; ++i)
                    if (std::llabs(FloatLaplacian(above, centre, below, i)) > threshold)
                        dst[i] = FromOrderKey<T>(median[i]);
            } else {
                for (std::ptrdiff_t i = C; i < end; ++i) {
                    const int sum = above[i - C] + above[i] + above[i + C] + centre[i - C] + centre[i + C] +
                                    below[i - C] + below[i] + below[i + C];
                    const int l = 8 * centre[i] - sum;  // exact: at most 8 x 65535
                    const bool replace = (l > threshold) | (-l > threshold);
                    const T m = median[i], kept = centre[i];
                    dst[i] = replace ? m : kept;
                }
            }
        }
    }

    LUMORA_INLINE const K* Keys(const T* row, int slot) {
        if constexpr (kIsFloatSample<T>) {
            K* keys = keyRows_[slot].data();
            for (std::ptrdiff_t i = 0; i < n_; ++i) keys[i] = ToOrderKey<T, NanPlace::Highest>(row[i]);
            return keys;
        } else {
            (void)slot;
            return row;
        }
    }

    // out[C .. n - C) = the medians of the inner samples, in pieces short
    // enough for the sorted columns to stay in the first-level cache beside
    // the rows (a whole colour row of them would not).
    LUMORA_INLINE void Medians(const K* a, const K* b, const K* c, K* out) {
        for (std::ptrdiff_t k0 = C; k0 < n_ - C; k0 += kPiece)
            MediansOfPiece(a + k0 - C, b + k0 - C, c + k0 - C, out + k0, std::min<std::ptrdiff_t>(kPiece, n_ - C - k0));
    }

    // out[0 .. len) from the columns a, b, c [0 .. len + 2C).
    LUMORA_INLINE void MediansOfPiece(const K* __restrict a, const K* __restrict b, const K* __restrict c,
                                      K* __restrict out, std::ptrdiff_t len) {
        K* __restrict lo = lo_.data();
        K* __restrict mid = mid_.data();
        K* __restrict hi = hi_.data();
        for (std::ptrdiff_t i = 0; i < len + 2 * C; ++i) {
            const K l = MinOf(a[i], b[i]), h = MaxOf(a[i], b[i]);
            lo[i] = MinOf(l, c[i]);
            hi[i] = MaxOf(h, c[i]);
            mid[i] = MaxOf(l, MinOf(h, c[i]));
        }
        for (std::ptrdiff_t i = 0; i < len; ++i) {
            const K maxLo = MaxOf(MaxOf(lo[i], lo[i + C]), lo[i + 2 * C]);
            const K minHi = MinOf(MinOf(hi[i], hi[i + C]), hi[i + 2 * C]);
            const K midMid = Median3(mid[i], mid[i + C], mid[i + 2 * C]);
            out[i] = Median3(maxLo, midMid, minHi);
        }
    }

    // Two rows of medians, out0[i] over the rows a, b, c and out1[i] over b,
    // c, d, from columns i, i + C and i + 2C. Both windows share the sorted
    // pair of b and c in every column, and every column is sorted where it
    // is used, in registers, with no scratch stores.
    LUMORA_INLINE static void MedianPair(const K* __restrict a, const K* __restrict b, const K* __restrict c,
                                         const K* __restrict d, K* __restrict out0, K* __restrict out1,
                                         std::ptrdiff_t len) {
        for (std::ptrdiff_t i = 0; i < len; ++i) {
            K lo0[3], mid0[3], hi0[3], lo1[3], mid1[3], hi1[3];
            for (int j = 0; j < 3; ++j) {
                const std::ptrdiff_t q = i + j * C;
                const K l = MinOf(b[q], c[q]), h = MaxOf(b[q], c[q]);
                lo0[j] = MinOf(l, a[q]);
                hi0[j] = MaxOf(h, a[q]);
                mid0[j] = MaxOf(l, MinOf(h, a[q]));
                lo1[j] = MinOf(l, d[q]);
                hi1[j] = MaxOf(h, d[q]);
                mid1[j] = MaxOf(l, MinOf(h, d[q]));
            }
            out0[i] = Median3(MaxOf(MaxOf(lo0[0], lo0[1]), lo0[2]), Median3(mid0[0], mid0[1], mid0[2]),
                              MinOf(MinOf(hi0[0], hi0[1]), hi0[2]));
            out1[i] = Median3(MaxOf(MaxOf(lo1[0], lo1[1]), lo1[2]), Median3(mid1[0], mid1[1], mid1[2]),
                              MinOf(MinOf(hi1[0], hi1[1]), hi1[2]));
        }
    }

    // A whole number of pixels of every layout.
    static constexpr std::ptrdiff_t kPiece = 1020;

    // 8 x centre - the sum of the eight neighbours for float samples, built
    // the way a 32-bit int accumulator takes float terms: each (centre -
    // neighbour) is a float difference, added to the float value of the
    // running int and truncated, neighbours in row order (top-left, top,
    // top-right, left, right, bottom-left, bottom, bottom-right). Integer
    // samples give the response exactly (in Run).
    static long long FloatLaplacian(const T* above, const T* centre, const T* below, std::ptrdiff_t i) {
        const float ctr = centre[i];
        const float neighbours[8] = {above[i - C],  above[i],     above[i + C], centre[i - C],
                                     centre[i + C], below[i - C], below[i],     below[i + C]};
        std::int32_t l = SaturatingTrunc(ctr - neighbours[0]);
        for (int k = 1; k < 8; ++k) l = SaturatingTrunc(static_cast<float>(l) + (ctr - neighbours[k]));
        return l;
    }

    CVxImage& source_;
    CVxImage& dest_;
    const int width_;
    const int height_;
    const std::ptrdiff_t n_;
    std::vector<K> lo_, mid_, hi_, median_;
    std::vector<K> keyRows_[3];
};

template <bool kSelective>
int MedianFilter(CVxImage* source, CVxImage& dest, int threshold) {
    if (source == nullptr) return FALSE;
    std::optional<CVxImage> sourceCopy;
    if (source == &dest) {
        sourceCopy.emplace(*source);
        source = &*sourceCopy;
    }
    // The plain median writes every sample: the inner ones filtered, the
    // outermost ones as they are.
    const bool overwrite = !kSelective && source->m_nWidth >= 3 && source->m_nHeight >= 3;
    if (overwrite)
        AssignForOverwrite(*source, dest, source->m_nChannel);
    else
        dest = *source;
    const bool dispatched = DispatchLayout(*source, source->m_nChannel, [&]<class T, int C>() {
        if (overwrite) {
            const size_t rowBytes = static_cast<size_t>(source->m_nWidth) * C * sizeof(T);
            for (int y : {0, source->m_nHeight - 1}) std::memcpy(RowOf<T>(dest, y), RowOf<T>(*source, y), rowBytes);
        }
        // About twenty comparisons per sample; each band keeps its own lines.
        const std::int64_t workPerRow = static_cast<std::int64_t>(source->m_nWidth) * C * 20;
        ParallelRows(1, source->m_nHeight - 1, workPerRow, [&](int y0, int y1) {
            MedianRows<T, C>(*source, dest).template Run<kSelective>(threshold, y0, y1);
        });
    });
    return dispatched ? TRUE : FALSE;
}

}  // namespace

int CVxFilter::Median(CVxImage& dest) { return MedianFilter<false>(m_pImage, dest, 0); }

int CVxFilter::RemoveRandomNoise(CVxImage& dest, int threshold) {
    return MedianFilter<true>(m_pImage, dest, threshold);
}
