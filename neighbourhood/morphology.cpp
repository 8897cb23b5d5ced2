#include <lumora/morphologic_processing.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "../core/cpu_dispatch.h"
#include "../core/layout.h"
#include "../core/overwrite.h"
#include "../core/parallel.h"
#include "../core/pixels.h"
#include "order_key.h"

using namespace lumora::detail;

CVxMorphologicProcessing::CVxMorphologicProcessing() = default;

CVxMorphologicProcessing::CVxMorphologicProcessing(CVxImage* image) : CVxLumoraBase(image, nullptr) {}

// The minimum (erosion) or maximum (dilation) over a (2r + 1)^2 square whose
// coordinates are clamped into the image. Clamping a coordinate range gives
// the same set as cutting it at the image edge, so the square minimum is the
// minimum over rows of the minimum over columns: a horizontal pass per row
// into a ring of row buffers, then a vertical pass over those rows.
//
// Each pass is a running extreme over windows of k = 2r + 1 values of a line
// padded with r copies of its end values. Down the columns short windows
// combine their k rows directly, element-wise over whole rows; along a row the
// window is built by doubling (SlidingExtreme). Both vectorise. Longer
// windows use the van Herk / Gil-Werman scheme, which cuts the padded line
// into blocks of k: with g the running extreme from each block start and h
// the one towards each block end, the window starting at p is extreme(h[p],
// g[p + k - 1]), three comparisons per value whatever the radius; the other
// methods are used only while they are the cheaper ones, so the cost never
// rises above that level however large the radius. The radius
// along each axis is capped at the image extent minus one, beyond which the
// clamped window already covers the whole line; this also keeps huge radii
// from sizing any buffer.
//
// Integer samples without a mask and radii up to 12 take another order
// (VerticalFirstPass): down the columns first, four output rows per sweep,
// then along the rows straight into the destination; 3 x 3 windows in one
// sweep from the source rows. Both orders give the same extremes.
//
// Float samples are compared as order keys (order_key.h): NaN is ignored
// unless the whole window is NaN, then the result is NaN; -0 orders below +0.

namespace {

enum class Extreme { Min, Max };

// Down the columns both schemes vectorise, and the block scheme's three
// comparisons per value win beyond five rows.
constexpr int kDirectRows = 5;
// Along a row the block scheme's scans are serial while the doubling sweeps
// vectorise; at 1080p even eight sweeps (windows up to 511) cost less.
constexpr int kDoublingWindow = 511;

template <Extreme E, class K>
LUMORA_INLINE K Pick(K a, K b) {
    if constexpr (E == Extreme::Min)
        return MinOf(a, b);
    else
        return MaxOf(a, b);
}

template <Extreme E>
constexpr NanPlace kNanPlace = E == Extreme::Min ? NanPlace::Highest : NanPlace::Lowest;

// out[i] for pixels 0..count-1 (C interleaved channels) = extreme of the k
// pixels in[i .. i + k - 1] of a line of count + k - 1 pixels. g and h hold
// as many values as `in`.
//
// Up to kDoublingWindow the extreme is built by doubling, which vectorises:
// m1 = in, m2p[i] = extreme(mp[i], mp[i + p]) is the extreme of the 2p
// values from i, and with p the largest power of two not above k the window
// is extreme(mp[i], mp[i + k - p]): log2(k) + 1 element-wise sweeps. Longer
// windows take the van Herk / Gil-Werman blocks (three comparisons per value
// whatever k, but serial scans), so the cost stops at that level.
template <Extreme E, class K, int C>
LUMORA_INLINE void SlidingExtreme(const K* __restrict in, K* __restrict out, int count, int k, K* __restrict g,
                                  K* __restrict h) {
    const std::ptrdiff_t n = static_cast<std::ptrdiff_t>(count) * C;
    if (k <= 3) {
        const K* __restrict s1 = in + (k == 3 ? C : 0);
        const K* __restrict s2 = in + (k == 3 ? 2 * C : 0);
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = Pick<E>(Pick<E>(in[i], s1[i]), s2[i]);
        return;
    }
    if (k <= kDoublingWindow) {
        const std::ptrdiff_t length = static_cast<std::ptrdiff_t>(count + k - 1) * C;
        const K* __restrict from = in;
        K* __restrict buffers[2] = {g, h};
        int p = 1, next = 0;
        for (; 2 * p <= k; p *= 2, next ^= 1) {
            // Values 0 .. length - 2p of m2p are defined.
            K* __restrict to = buffers[next];
            const K* __restrict ahead = from + static_cast<std::ptrdiff_t>(p) * C;
            const std::ptrdiff_t valid = length - static_cast<std::ptrdiff_t>(2 * p - 1) * C;
            for (std::ptrdiff_t i = 0; i < valid; ++i) to[i] = Pick<E>(from[i], ahead[i]);
            from = to;
        }
        const K* __restrict ahead = from + static_cast<std::ptrdiff_t>(k - p) * C;
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = Pick<E>(from[i], ahead[i]);
        return;
    }
    // g runs forward from each block start, h backward from each block end.
    // The scans are serial along the line, so several blocks are scanned in
    // step to give the processor independent chains to overlap; about eight
    // running values still fit in registers.
    constexpr int kGroup = C >= 3 ? 1 : 4 / C;
    const int length = count + k - 1;
    int start = 0;
    for (; start + kGroup * k <= length; start += kGroup * k) {
        K rg[kGroup][C], rh[kGroup][C];
        for (int b = 0; b < kGroup; ++b)
            for (int c = 0; c < C; ++c) {
                const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(start + b * k) * C + c;
                const std::ptrdiff_t last = first + static_cast<std::ptrdiff_t>(k - 1) * C;
                rg[b][c] = g[first] = in[first];
                rh[b][c] = h[last] = in[last];
            }
        for (int j = 1; j < k; ++j)
            for (int b = 0; b < kGroup; ++b)
                for (int c = 0; c < C; ++c) {
                    const std::ptrdiff_t forward = static_cast<std::ptrdiff_t>(start + b * k + j) * C + c;
                    const std::ptrdiff_t backward = static_cast<std::ptrdiff_t>(start + b * k + k - 1 - j) * C + c;
                    rg[b][c] = g[forward] = Pick<E>(rg[b][c], in[forward]);
                    rh[b][c] = h[backward] = Pick<E>(in[backward], rh[b][c]);
                }
    }
    for (; start < length; start += k) {
        const int end = std::min(start + k, length);
        K rg[C], rh[C];
        for (int c = 0; c < C; ++c) {
            rg[c] = g[start * C + c] = in[start * C + c];
            rh[c] = h[(end - 1) * C + c] = in[(end - 1) * C + c];
        }
        for (int p = start + 1; p < end; ++p)
            for (int c = 0; c < C; ++c) rg[c] = g[p * C + c] = Pick<E>(rg[c], in[p * C + c]);
        for (int p = end - 2; p >= start; --p)
            for (int c = 0; c < C; ++c) rh[c] = h[p * C + c] = Pick<E>(in[p * C + c], rh[c]);
    }
    const K* __restrict gEnd = g + static_cast<std::ptrdiff_t>(k - 1) * C;
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = Pick<E>(h[i], gEnd[i]);
}

// out[i] = extreme of in[i], in[i + C], ..., in[i + 2R C] for i < n.
template <Extreme E, class K, int C, int R>
LUMORA_INLINE void WholeWindows(const K* __restrict in, K* __restrict out, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        K m = in[i];
        for (int d = 1; d <= 2 * R; ++d) m = Pick<E>(m, in[i + d * C]);
        out[i] = m;
    }
}

// The horizontal pass over one source row: its samples as keys, padded with
// rx copies of the end pixels, then the running extreme over 2 rx + 1.
template <Extreme E, class T, int C>
LUMORA_INLINE void HorizontalExtreme(const T* __restrict src, OrderKey<T>* __restrict line,
                                     OrderKey<T>* __restrict out, int width, int rx, OrderKey<T>* g,
                                     OrderKey<T>* h) {
    using K = OrderKey<T>;
    const std::ptrdiff_t n = static_cast<std::ptrdiff_t>(width) * C;
    if constexpr (!kIsFloatSample<T>) {
        // Integer samples are their own keys: short windows read the row
        // itself, each pixel's whole window in one sweep (no padded line,
        // one store per value), and the end pixels clamp their reads.
        if (rx >= 1 && rx <= 3) {
            const int innerBegin = rx, innerEnd = std::max(rx, width - rx);
            auto clamped = [&](int x) {
                for (int c = 0; c < C; ++c) {
                    K m = src[static_cast<std::ptrdiff_t>(std::max(x - rx, 0)) * C + c];
                    for (int d = x - rx + 1; d <= x + rx; ++d)
                        m = Pick<E>(m, src[static_cast<std::ptrdiff_t>(std::clamp(d, 0, width - 1)) * C + c]);
                    out[static_cast<std::ptrdiff_t>(x) * C + c] = m;
                }
            };
            for (int x = 0; x < std::min(innerBegin, width); ++x) clamped(x);
            for (int x = innerEnd; x < width; ++x) clamped(x);
            const std::ptrdiff_t inner = static_cast<std::ptrdiff_t>(innerEnd - innerBegin) * C;
            K* __restrict middle = out + static_cast<std::ptrdiff_t>(innerBegin) * C;
            if (rx == 1) WholeWindows<E, K, C, 1>(src, middle, inner);
            if (rx == 2) WholeWindows<E, K, C, 2>(src, middle, inner);
            if (rx == 3) WholeWindows<E, K, C, 3>(src, middle, inner);
            return;
        }
    }
    K* __restrict body = line + static_cast<std::ptrdiff_t>(rx) * C;
    for (std::ptrdiff_t i = 0; i < n; ++i) body[i] = ToOrderKey<T, kNanPlace<E>>(src[i]);
    for (int p = 0; p < rx; ++p)
        for (int c = 0; c < C; ++c) {
            line[static_cast<std::ptrdiff_t>(p) * C + c] = body[c];
            body[n + static_cast<std::ptrdiff_t>(p) * C + c] = body[n - C + c];
        }
    SlidingExtreme<E, K, C>(line, out, width, 2 * rx + 1, g, h);
}

// Row combinations take three rows; two-row ones pass the second twice.
template <Extreme E, class K>
LUMORA_INLINE void CombineRows(const K* __restrict a, const K* __restrict b, const K* __restrict c,
                               K* __restrict out, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = Pick<E>(Pick<E>(a[i], b[i]), c[i]);
}

template <Extreme E, class T>
LUMORA_INLINE void EmitRow(const OrderKey<T>* __restrict a, const OrderKey<T>* __restrict b,
                           const OrderKey<T>* __restrict c, T* __restrict dst, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) dst[i] = FromOrderKey<T>(Pick<E>(Pick<E>(a[i], b[i]), c[i]));
}

// dst[i] = the extreme of rows[0][i] .. rows[N - 1][i].
template <Extreme E, class T, int N>
LUMORA_INLINE void EmitWindow(const OrderKey<T>* const* rows, T* __restrict dst, std::ptrdiff_t n) {
    using K = OrderKey<T>;
    const K* __restrict r[N];
    for (int d = 0; d < N; ++d) r[d] = rows[d];
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        K m = r[0][i];
        for (int d = 1; d < N; ++d) m = Pick<E>(m, r[d][i]);
        dst[i] = FromOrderKey<T>(m);
    }
}

template <Extreme E, class T, int C>
class RankPass {
public:
    using K = OrderKey<T>;

    RankPass(CVxImage& source, CVxImage& dest, const AoiMask& mask, int radius)
        : source_(source),
          dest_(dest),
          mask_(mask),
          width_(source.m_nWidth),
          height_(source.m_nHeight),
          rowValues_(static_cast<std::ptrdiff_t>(source.m_nWidth) * C),
          rx_(std::min(radius, source.m_nWidth - 1)),
          ry_(std::min(radius, source.m_nHeight - 1)) {}

    // Output rows [y0, y1).
    void Run(int y0, int y1) {
        if (width_ <= 0 || height_ <= 0) return;
        // Horizontal results are made on demand into a ring of rows. Any
        // output row, and any block of the vertical scheme, needs fewer than
        // 2 (2 ry + 1) consecutive source rows, so with that many slots every
        // row is made once, while it is still unwritten in the destination.
        ringRows_ = std::min(height_, 2 * (2 * ry_ + 1));
        ring_.resize(static_cast<size_t>(rowValues_) * static_cast<size_t>(ringRows_));
        slotRow_.assign(static_cast<size_t>(ringRows_), -1);
        const size_t padded = static_cast<size_t>(width_ + 2 * rx_) * C;
        line_.resize(padded);
        if (2 * rx_ + 1 > 3) {
            g_.resize(padded);
            h_.resize(padded);
        }
        VerticalPass(y0, y1);
    }

private:
    // Row p of the horizontal results padded with ry copies of the first and
    // last rows.
    const K* PaddedRow(int p) { return HorizontalRow(std::clamp(p - ry_, 0, height_ - 1)); }

    const K* HorizontalRow(int y) {
        const int slot = y % ringRows_;
        K* out = ring_.data() + static_cast<std::ptrdiff_t>(slot) * rowValues_;
        if (slotRow_[static_cast<size_t>(slot)] == y) return out;
        slotRow_[static_cast<size_t>(slot)] = y;
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA {
            HorizontalExtreme<E, T, C>(RowOf<T>(source_, y), line_.data(), out, width_, rx_, g_.data(), h_.data());
        });
        return out;
    }

    void VerticalPass(int y0, int y1) {
        const int k = 2 * ry_ + 1;
        if (k >= 3 && k <= 7 && !mask_.Active()) {
            // Every output row straight from its k rows, one store per value.
            // The ring holds at least k consecutive rows, so fetching one
            // never drops another of the same window.
            const K* rows[7];
            for (int y = y0; y < y1; ++y) {
                for (int d = 0; d < k; ++d) rows[d] = PaddedRow(y + d);
                T* dst = RowOf<T>(dest_, y);
                const std::ptrdiff_t n = rowValues_;
                RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA {
                    if (k == 3) EmitWindow<E, T, 3>(rows, dst, n);
                    if (k == 5) EmitWindow<E, T, 5>(rows, dst, n);
                    if (k == 7) EmitWindow<E, T, 7>(rows, dst, n);
                });
            }
            return;
        }
        if (k <= kDirectRows) {
            std::vector<K> acc(static_cast<size_t>(rowValues_));
            for (int y = y0; y < y1; ++y) {
                if (k == 1) {
                    Emit(PaddedRow(y), PaddedRow(y), y);
                    continue;
                }
                // k - 1 rows (k odd) in threes and then pairs into acc, the last straight into the row.
                const K* first = PaddedRow(y);
                int d = 1;
                if (k > 3) {
                    Combine(first, PaddedRow(y + 1), PaddedRow(y + 2), acc.data());
                    first = acc.data();
                    d = 3;
                }
                for (; d + 2 < k; d += 2) Combine(first, PaddedRow(y + d), PaddedRow(y + d + 1), acc.data());
                Emit(first, PaddedRow(y + d), PaddedRow(y + d + 1), y);
            }
            return;
        }
        // Block scheme over whole rows. For the block starting at padded row
        // `base`, h rows are kept for the output rows inside it; the running
        // g of the next block is built row by row as the outputs need it.
        // Blocks may start anywhere: the extreme of a window does not depend
        // on how its rows are grouped.
        const int kept = std::min(k, y1 - y0);
        std::vector<K> h(static_cast<size_t>(rowValues_) * static_cast<size_t>(kept));
        std::vector<K> spare(static_cast<size_t>(rowValues_)), g(static_cast<size_t>(rowValues_));
        auto hRow = [&](int j) { return h.data() + static_cast<std::ptrdiff_t>(j) * rowValues_; };
        for (int base = y0; base < y1; base += k) {
            const int outputs = std::min(k, y1 - base);
            const K* later = nullptr;
            for (int j = k - 1; j >= 0; --j) {
                K* target = j < outputs ? hRow(j) : spare.data();
                if (later == nullptr)
                    std::copy(PaddedRow(base + j), PaddedRow(base + j) + rowValues_, target);
                else
                    Combine(PaddedRow(base + j), later, target);
                later = target;
            }
            Emit(hRow(0), hRow(0), base);
            const K* running = nullptr;
            for (int j = 1; j < outputs; ++j) {
                const K* next = PaddedRow(base + k + j - 1);
                if (running == nullptr) {
                    running = next;
                } else {
                    Combine(running, next, g.data());
                    running = g.data();
                }
                Emit(hRow(j), running, base + j);
            }
        }
    }

    // Members are copied to locals first: the stores go through byte
    // pointers that could alias them, which would stop the vectoriser.
    void Combine(const K* a, const K* b, const K* c, K* out) const {
        const std::ptrdiff_t n = rowValues_;
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { CombineRows<E>(a, b, c, out, n); });
    }
    void Combine(const K* a, const K* b, K* out) const { Combine(a, b, b, out); }

    // Writes extreme(a, b) into row y of the destination, leaving the pixels
    // the area-of-interest mask deselects as they are (the source copy).
    void Emit(const K* a, const K* b, int y) { Emit(a, b, b, y); }
    void Emit(const K* __restrict a, const K* __restrict b, const K* __restrict c, int y) {
        T* __restrict dst = RowOf<T>(dest_, y);
        const std::ptrdiff_t n = rowValues_;
        if (!mask_.Active()) {
            RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { EmitRow<E, T>(a, b, c, dst, n); });
            return;
        }
        const unsigned char* __restrict selected = mask_.Row(y);
        const int width = width_;
        for (int x = 0; x < width; ++x)
            for (int ch = 0; ch < C; ++ch) {
                const std::ptrdiff_t i = static_cast<std::ptrdiff_t>(x) * C + ch;
                const T value = FromOrderKey<T>(Pick<E>(Pick<E>(a[i], b[i]), c[i]));
                dst[i] = selected[x] != 0 ? value : dst[i];
            }
    }

    CVxImage& source_;
    CVxImage& dest_;
    const AoiMask& mask_;
    const int width_;
    const int height_;
    const std::ptrdiff_t rowValues_;
    const int rx_;
    const int ry_;
    int ringRows_ = 0;
    std::vector<K> ring_, line_, g_, h_;
    std::vector<int> slotRow_;
};

// Vertical first, for integer samples without a mask and windows of up to
// kVerticalFirstRows rows. Four output rows at a time: the rows their
// windows share are combined once, then each pair adds the two rows only it
// shares and each row its own outer one, so up to k = 7 a value costs about
// (k + 3) / 4 loads and (k + 4) / 4 comparisons down the columns. The
// column results go into padded lines, and the extreme along those lines
// (whole windows, extremes of three, or SlidingExtreme, whichever is cheaper
// for the width) writes the destination rows directly. Narrow strips of
// columns, which would keep the rows in the first-level cache, measured
// slower: the processor's prefetch follows whole rows better.
constexpr int kVerticalFirstRows = 25;
constexpr std::ptrdiff_t kVerticalFirstBytes = 160 * 1024;

// The column extremes of four consecutive windows of k rows, from rows
// lo[0..2] (the first three), core[0..M-1] (the k - 3 rows all four windows
// share, or their extreme already made) and hi[0..2] (the three after the
// first window): window j covers lo[j..2], the core, hi[0..j].
// The rows never overlap the outputs (the destination is never the source
// on this path), which the ivdep pragma tells the compiler in place of a
// restrict-qualified pointer per row: with up to a dozen rows its run-time
// overlap checks would otherwise stop the vectoriser.
#if defined(__clang__)
#define LUMORA_IVDEP _Pragma("clang loop vectorize(assume_safety)")
#elif defined(__GNUC__)
#define LUMORA_IVDEP _Pragma("GCC ivdep")
#else
#define LUMORA_IVDEP
#endif

template <Extreme E, class K, int M>
LUMORA_INLINE void ColumnQuad(const K* const* lo, const K* const* core, const K* const* hi, K* const* v,
                              std::ptrdiff_t n) {
    const K* a[3] = {lo[0], lo[1], lo[2]};
    const K* b[3] = {hi[0], hi[1], hi[2]};
    const K* c[M > 0 ? M : 1];
    for (int m = 0; m < M; ++m) c[m] = core[m];
    K* o[4] = {v[0], v[1], v[2], v[3]};
    LUMORA_IVDEP
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        K first = Pick<E>(a[1][i], a[2][i]), second = Pick<E>(b[0][i], b[1][i]);
        if constexpr (M > 0) {
            K shared = c[0][i];
            for (int m = 1; m < M; ++m) shared = Pick<E>(shared, c[m][i]);
            first = Pick<E>(first, shared);
            second = Pick<E>(second, shared);
        }
        o[0][i] = Pick<E>(first, a[0][i]);
        o[1][i] = Pick<E>(first, b[0][i]);
        o[2][i] = Pick<E>(second, a[2][i]);
        o[3][i] = Pick<E>(second, b[2][i]);
    }
}

// acc = extreme of rows[0..3], and of acc itself when kWithAcc.
template <Extreme E, class K, bool kWithAcc>
LUMORA_INLINE void SweepFourRows(K* acc, const K* const* rows, std::ptrdiff_t n) {
    const K* r[4] = {rows[0], rows[1], rows[2], rows[3]};
    LUMORA_IVDEP
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        K m = Pick<E>(Pick<E>(r[0][i], r[1][i]), Pick<E>(r[2][i], r[3][i]));
        if constexpr (kWithAcc) m = Pick<E>(m, acc[i]);
        acc[i] = m;
    }
}

// rows[0 .. k + 2] -> v[0..3] for any odd k. Up to six shared rows are read
// where the windows are made; more are first combined into acc, four rows
// per sweep.
template <Extreme E, class K>
LUMORA_INLINE void ColumnWindows(const K* const* rows, int k, K* const* v, K* acc, std::ptrdiff_t n) {
    if (k == 1) {
        for (int j = 0; j < 4; ++j) std::copy(rows[j], rows[j] + n, v[j]);
        return;
    }
    const K* core[6];
    int count = 0, d = 3;
    if (k - 3 > 6) {
        SweepFourRows<E, K, false>(acc, rows + d, n);
        for (d += 4; k - d > 5; d += 4) SweepFourRows<E, K, true>(acc, rows + d, n);
        core[count++] = acc;
    }
    for (; d < k; ++d) core[count++] = rows[d];
    const K* const* hi = rows + k;
    switch (count) {
        case 0: return ColumnQuad<E, K, 0>(rows, core, hi, v, n);
        case 2: return ColumnQuad<E, K, 2>(rows, core, hi, v, n);
        case 3: return ColumnQuad<E, K, 3>(rows, core, hi, v, n);
        case 4: return ColumnQuad<E, K, 4>(rows, core, hi, v, n);
        case 5: return ColumnQuad<E, K, 5>(rows, core, hi, v, n);
        default: return ColumnQuad<E, K, 6>(rows, core, hi, v, n);
    }
}

// The 3 x 3 window for B output rows straight from their B + 2 source rows:
// each row's extreme over three neighbouring pixels in registers, then each
// pair of windows down the columns shares its middle rows. out[j][i] is the
// window whose top row is rows[j] and whose left column is value i of the
// rows. One store per value and no scratch lines: at this size the lines'
// stores and reloads would cost more than the comparisons.
template <Extreme E, class K, int C, int B>
LUMORA_INLINE void Square3Block(const K* const* rows, K* const* out, std::ptrdiff_t n) {
    static_assert(B % 2 == 0);
    const K* r[B + 2];
    K* o[B];
    for (int j = 0; j < B + 2; ++j) r[j] = rows[j];
    for (int j = 0; j < B; ++j) o[j] = out[j];
    LUMORA_IVDEP
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        K h[B + 2];
        for (int j = 0; j < B + 2; ++j) h[j] = Pick<E>(Pick<E>(r[j][i], r[j][i + C]), r[j][i + 2 * C]);
        for (int j = 0; j < B; j += 2) {
            const K shared = Pick<E>(h[j + 1], h[j + 2]);
            o[j][i] = Pick<E>(shared, h[j]);
            o[j + 1][i] = Pick<E>(shared, h[j + 3]);
        }
    }
}

// out[i] = extreme of in[i], in[i + C], ..., in[i + (KX - 1) C] for i < n,
// from the extremes of three: threes[i] covers in[i .. i + 2C], and the
// window is covered by threes at offsets 0, 3, 6, ... and KX - 3 (an overlap
// changes no extreme). For KX of 7 to 13 that is fewer loads and
// comparisons per value than the window itself or the doubling sweeps.
template <Extreme E, class K, int C, int KX>
LUMORA_INLINE void WindowsOfThrees(const K* __restrict in, K* __restrict threes, K* __restrict out,
                                   std::ptrdiff_t n) {
    const std::ptrdiff_t m = n + (KX - 3) * C;
    for (std::ptrdiff_t i = 0; i < m; ++i) threes[i] = Pick<E>(Pick<E>(in[i], in[i + C]), in[i + 2 * C]);
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        K v = Pick<E>(threes[i], threes[i + (KX - 3) * C]);
        for (int j = 3; j < KX - 3; j += 3) v = Pick<E>(v, threes[i + j * C]);
        out[i] = v;
    }
}

template <Extreme E, class T, int C>
class VerticalFirstPass {
public:
    using K = OrderKey<T>;
    static_assert(!kIsFloatSample<T>, "integer samples are their own keys");

    VerticalFirstPass(CVxImage& source, CVxImage& dest, int radius)
        : source_(source),
          dest_(dest),
          width_(source.m_nWidth),
          height_(source.m_nHeight),
          rx_(std::min(radius, source.m_nWidth - 1)),
          ry_(std::min(radius, source.m_nHeight - 1)) {}

    // Beyond seven rows the shared rows are combined in sweeps over whole
    // rows, which pays only while those rows stay in the second-level cache.
    static bool Serves(const CVxImage& source, int radius, const AoiMask& mask) {
        if (kIsFloatSample<T> || mask.Active() || radius > (kVerticalFirstRows - 1) / 2) return false;
        const std::ptrdiff_t rowBytes = static_cast<std::ptrdiff_t>(source.m_nWidth) * C * sizeof(T);
        return radius <= 3 || (2 * radius + 4) * rowBytes <= kVerticalFirstBytes;
    }

    // Output rows [y0, y1).
    void Run(int y0, int y1) {
        if (width_ <= 0 || height_ <= 0) return;
        const size_t padded = static_cast<size_t>(width_ + 2 * rx_) * C;
        for (auto& line : lines_) line.resize(padded);
        for (auto* line : {&acc_, &g_, &h_}) line->resize(padded);
        int y = y0;
        if (rx_ == 1 && ry_ == 1 && width_ >= 3) {
            for (; y + 8 <= y1; y += 8) Square3Rows<8>(y);
            for (; y + 4 <= y1; y += 4) Square3Rows<4>(y);
        }
        for (; y < y1; y += 4) RowQuad(y, std::min(4, y1 - y));
    }

private:
    // Destination rows y .. y + count - 1 (count <= 4).
    void RowQuad(int y, int count) {
        const int ky = 2 * ry_ + 1;
        const std::ptrdiff_t n = static_cast<std::ptrdiff_t>(width_) * C;
        const std::ptrdiff_t margin = static_cast<std::ptrdiff_t>(rx_) * C;
        const K* rows[kVerticalFirstRows + 3];
        for (int d = 0; d < ky + 3; ++d) rows[d] = RowOf<T>(source_, std::clamp(y - ry_ + d, 0, height_ - 1));
        K* v[4];
        for (int j = 0; j < 4; ++j) v[j] = lines_[j].data() + margin;
        K* acc = acc_.data();
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { ColumnWindows<E, K>(rows, ky, v, acc, n); });
        // rx copies of the edge pixels on either side.
        for (int j = 0; j < count; ++j) {
            K* line = v[j];
            for (std::ptrdiff_t i = 0; i < margin; ++i) {
                line[i - margin] = line[i % C];
                line[n + i] = line[n - C + i % C];
            }
            Horizontal(line - margin, RowOf<T>(dest_, y + j), width_);
        }
    }

    // Destination rows y .. y + B - 1 of a 3 x 3 window.
    template <int B>
    void Square3Rows(int y) {
        const K* rows[B + 2];
        for (int d = 0; d < B + 2; ++d) rows[d] = RowOf<T>(source_, std::clamp(y - 1 + d, 0, height_ - 1));
        T* out[B];
        for (int j = 0; j < B; ++j) out[j] = RowOf<T>(dest_, y + j) + C;
        const std::ptrdiff_t inner = static_cast<std::ptrdiff_t>(width_ - 2) * C;
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { Square3Block<E, K, C, B>(rows, out, inner); });
        // The first and last pixels, whose windows are clamped along the row.
        for (int j = 0; j < B; ++j)
            for (int x : {0, width_ - 1})
                for (int c = 0; c < C; ++c) {
                    K m = rows[j][x * C + c];
                    for (int d = 0; d < 3; ++d)
                        for (int dx : {-1, 0, 1})
                            m = Pick<E>(m, rows[j + d][std::clamp(x + dx, 0, width_ - 1) * C + c]);
                    out[j][x * C - C + c] = m;
                }
    }

    void Horizontal(const K* line, T* dst, int count) {
        const int kx = 2 * rx_ + 1;
        K* g = g_.data();
        K* h = h_.data();
        const std::ptrdiff_t n = static_cast<std::ptrdiff_t>(count) * C;
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA {
            if (kx == 5)
                WholeWindows<E, K, C, 2>(line, dst, n);
            else if (kx == 7)
                WindowsOfThrees<E, K, C, 7>(line, g, dst, n);
            else if (kx == 9)
                WindowsOfThrees<E, K, C, 9>(line, g, dst, n);
            else if (kx == 11)
                WindowsOfThrees<E, K, C, 11>(line, g, dst, n);
            else if (kx == 13)
                WindowsOfThrees<E, K, C, 13>(line, g, dst, n);
            else
                SlidingExtreme<E, K, C>(line, dst, count, kx, g, h);
        });
    }

    CVxImage& source_;
    CVxImage& dest_;
    const int width_;
    const int height_;
    const int rx_;
    const int ry_;
    std::vector<K> lines_[4], acc_, g_, h_;
};

// Bands of output rows run on their own threads, each with its own ring of
// horizontal results; a band reads source rows beyond its own, so a
// destination that is the source itself is computed from a copy.
template <Extreme E>
int RankFilter(CVxLumoraBase& base, CVxImage* source, CVxImage& dest, int radius) {
    if (source == nullptr) return FALSE;
    std::optional<CVxImage> sourceCopy;
    if (source == &dest && radius > 0) {
        sourceCopy.emplace(*source);
        source = &*sourceCopy;
    }
    // Without a mask every sample is written again: only the rest is copied.
    if (radius > 0 && base.GetAOIImage() == nullptr)
        AssignForOverwrite(*source, dest, source->m_nChannel);
    else
        dest = *source;
    if (radius < 0) return FALSE;
    AoiMask mask;
    if (!BindAoiMask(base, *source, mask)) return FALSE;
    const bool dispatched = DispatchLayout(*source, source->m_nChannel, [&]<class T, int C>() {
        if (radius == 0) return;
        // About a dozen comparisons per sample at any radius.
        const std::int64_t workPerRow = static_cast<std::int64_t>(source->m_nWidth) * C * 12;
        if constexpr (!kIsFloatSample<T>) {
            if (VerticalFirstPass<E, T, C>::Serves(*source, radius, mask)) {
                ParallelRows(0, source->m_nHeight, workPerRow, [&](int y0, int y1) {
                    VerticalFirstPass<E, T, C>(*source, dest, radius).Run(y0, y1);
                });
                return;
            }
        }
        ParallelRows(0, source->m_nHeight, workPerRow,
                     [&](int y0, int y1) { RankPass<E, T, C>(*source, dest, mask, radius).Run(y0, y1); });
    });
    return dispatched ? TRUE : FALSE;
}

}  // namespace

int CVxMorphologicProcessing::Erode(CVxImage& dest, int radius) {
    return RankFilter<Extreme::Min>(*this, m_pImage, dest, radius);
}

int CVxMorphologicProcessing::Dilate(CVxImage& dest, int radius) {
    return RankFilter<Extreme::Max>(*this, m_pImage, dest, radius);
}

// Opening and closing work on the whole image: the helper object is bound to
// the target alone, without the caller's area of interest.
int CVxMorphologicProcessing::Open(CVxImage& dest, int radius) {
    CVxImage eroded;
    CVxMorphologicProcessing helper(m_pImage);
    if (!helper.Erode(eroded, radius)) return FALSE;
    helper.SetImage(&eroded);
    return helper.Dilate(dest, radius);
}

int CVxMorphologicProcessing::Close(CVxImage& dest, int radius) {
    CVxImage dilated;
    CVxMorphologicProcessing helper(m_pImage);
    if (!helper.Dilate(dilated, radius)) return FALSE;
    helper.SetImage(&dilated);
    return helper.Erode(dest, radius);
}
