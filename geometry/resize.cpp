#include <lumora/geometry_processing.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <vector>

#include "../core/cpu_dispatch.h"
#include "../core/parallel.h"
#include "../core/row_shuffle.h"
#include "../core/units.h"

using namespace lumora::detail;

// Index rules of the three scalings, each exact as stated, computed once per
// column and once per row into tables:
//   Resize(w, h) nearest:  src = truncate(d x (srcSize / dstSize) + 0.5), double;
//   Resize(scale):         src = truncate(d / scale), single precision, no 0.5;
//   ResizeEx(scale, p):    src = truncate((d + p) / scale) - truncate(p / scale), double.
// An index past the source is clamped to its last row or column (it can
// arise in enlargements beyond a factor of two and in zooms larger than the
// scaled source).
//
// Bilinear (8- and 16-bit samples): u = x sx, x0 = floor(u), x1 = x0 + 1
// or x0 at the right edge, fx = u - x0 (likewise v, y0, y1, fy), all in
// double; then per channel
//   top    = T(truncate(P(x0,y0) (1 - fx) + P(x1,y0) fx))
//   bottom = T(truncate(P(x0,y1) (1 - fx) + P(x1,y1) fx))
//   result = T(truncate(top (1 - fy) + bottom fy)).
// The horizontal stage depends only on the source row, so it is computed
// once per source row used and shared by the destination rows that use it;
// the results are those of the per-pixel formula. Where the weights are
// whole multiples of 2^-k (halves, quarters: scalings by 2, 4, 1.5, ...)
// the double sums are exact and the same numbers come from integer lanes;
// f = 0 makes a stage a plain copy of P(x0) or of top.
//
// Every row reads its source through the same column table, so the table
// is turned once into byte shuffles (core/row_shuffle.h), and destination
// rows are split across threads; each band keeps its own row cache.

namespace {

// A truncated index (v >= 0 in every caller's formula) clamped to 0..size-1.
int SourceIndex(double v, int size) {
    if (v >= size) return size - 1;
    return v < 0 ? 0 : static_cast<int>(v);
}

template <class Formula>
std::vector<int> IndexTable(int count, int size, Formula&& formula) {
    std::vector<int> table(static_cast<size_t>(count));
    for (int d = 0; d < count; ++d) table[d] = SourceIndex(formula(d), size);
    return table;
}

// dst(x, y) = src(cols[x], rows[y]); a row that repeats the previous source
// row is copied from the previous destination row of the same band.
template <size_t N>
void Gather(CVxImage& src, CVxImage& dst, const std::vector<int>& cols, const std::vector<int>& rows) {
    using U = Unit<N>;
    const int W = static_cast<int>(cols.size());
    std::vector<int> bytes(static_cast<size_t>(W) * N);
    for (int x = 0; x < W; ++x)
        for (size_t b = 0; b < N; ++b) bytes[x * N + b] = static_cast<int>(cols[x] * N + b);
    const RowShuffle shuffle(bytes.data(), bytes.size(), static_cast<size_t>(src.m_nWidth) * N);
    void** in = src.Get2DBuffer();
    void** out = dst.Get2DBuffer();
    const int* columns = cols.data();
    ParallelRows(0, static_cast<int>(rows.size()), std::int64_t{W} * N / 4, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            if (y > y0 && rows[y] == rows[y - 1]) {
                std::memcpy(out[y], out[y - 1], static_cast<size_t>(W) * N);
            } else if (shuffle.Usable()) {
                shuffle.Run(static_cast<const std::uint8_t*>(in[rows[y]]), static_cast<std::uint8_t*>(out[y]));
            } else {
                const U* from = static_cast<const U*>(in[rows[y]]);
                U* to = static_cast<U*>(out[y]);
                for (int x = 0; x < W; ++x) to[x] = from[columns[x]];
            }
        }
    });
}

// Copies the source through the index tables into a dest the caller has
// made; FALSE when the source's block does not hold its width.
int GatherAll(CVxImage& src, CVxImage& dst, const std::vector<int>& cols, const std::vector<int>& rows) {
    return DispatchUnit(src, ModelChannels(src), ThreeWaySampleBytes(src.m_nBitsPerSample),
                        [&]<size_t N>() { Gather<N>(src, dst, cols, rows); })
               ? TRUE
               : FALSE;
}

// dest as Create makes it. A dest that already has exactly that shape keeps
// its block: Create leaves the pixels undefined anyway, and every path that
// succeeds writes all of them.
void Recreate(CVxImage& source, CVxImage& dest, int width, int height) {
    const std::int64_t rowBytes =
        (std::int64_t{width} * ThreeWayUnitBytes(source) + 3) & ~std::int64_t{3};
    const bool sameShape = dest.IsCreated() && dest.m_ColorModel == source.m_ColorModel &&
                           dest.m_nChannel == ModelChannels(source) &&
                           dest.m_nBitsPerSample == source.m_nBitsPerSample && dest.m_nWidth == width &&
                           dest.m_nHeight == height && ThreeWayUnitBytes(source) != 0 &&
                           CVxImageInfo::GetSampleBytes(source.m_nBitsPerSample) <= 4 &&
                           dest.m_nBytesPerLine == rowBytes && dest.m_nImageSize == rowBytes * height;
    if (!sameShape) dest.Create(source.m_ColorModel, source.m_nBitsPerSample, width, height);
    dest.GetPalette() = source.GetPalette();
    dest.SetBitsPerSampleEx(source.m_pBitsPerSampleEx);
}

// The image to read while dest is written: the target, or a copy of it when
// dest is the target itself.
CVxImage* SourceFor(CVxImage* target, CVxImage& dest, CVxImage& held) {
    if (&dest != target) return target;
    held = *target;
    return &held;
}

bool HasPixels(const CVxImage& image) { return image.IsCreated() && image.m_nWidth > 0 && image.m_nHeight > 0; }

struct Tap {
    int i0, i1;
    double f, g;  // f and 1 - f
};

std::vector<Tap> Taps(int count, double scale, int size) {
    std::vector<Tap> taps(static_cast<size_t>(count));
    for (int d = 0; d < count; ++d) {
        const double u = d * scale;
        const int i0 = SourceIndex(u, size);  // the floor: u >= 0
        const int i1 = i0 + 1 < size ? i0 + 1 : i0;
        const double f = u - i0;
        taps[d] = Tap{i0, i1, f, 1 - f};
    }
    return taps;
}

// Whole-number weights: for samples below 2^16 and weights g = G / 2^k,
// f = F / 2^k (G + F = 2^k, k <= 16), a g + b f is exact in double, so its
// truncation is (a G + b F) >> k, computed in lanes of twice the sample
// width (it is at most the sample maximum times 2^k). Scalings by halves,
// quarters, 1.5 and the like have such weights.
template <class T>
using WholeWeight = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;
template <class T>
inline constexpr int kWholeBits = sizeof(T) == 1 ? 8 : 16;

// The smallest k for which the tap's weights are whole multiples of 2^-k,
// or -1 when there is none up to maxBits.
int WholeBits(const Tap& t, int maxBits) {
    if (!(t.f >= 0 && t.f <= 1)) return -1;
    const double one = static_cast<double>(1 << maxBits);  // scaling by it is exact
    const double f = t.f * one, g = t.g * one;
    if (f != std::floor(f) || g != std::floor(g) || f + g != one) return -1;
    const auto whole = static_cast<unsigned>(f);
    return whole == 0 ? 0 : maxBits - std::countr_zero(whole);
}

// out = T(truncate(a (1 - f) + b f)) lane by lane, in the three forms the
// weights allow; compiled also for AVX2 (same arithmetic, wider vectors).
template <class T>
LUMORA_INLINE void BlendDouble(T* __restrict out, const T* __restrict a, const T* __restrict b,
                               const double* __restrict g, const double* __restrict f, size_t n) {
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(static_cast<int>(a[i] * g[i] + b[i] * f[i]));
}

template <class T, class W = WholeWeight<T>>
LUMORA_INLINE void BlendWhole(T* __restrict out, const T* __restrict a, const T* __restrict b, const W* __restrict g,
                              const W* __restrict f, int bits, size_t n) {
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(static_cast<W>(a[i] * g[i] + b[i] * f[i]) >> bits);
}

template <class T>
LUMORA_INLINE void VerticalDouble(T* __restrict out, const T* top, const T* bottom, double g, double f, size_t n) {
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(static_cast<int>(top[i] * g + bottom[i] * f));
}

template <class T, class W = WholeWeight<T>>
LUMORA_INLINE void VerticalWhole(T* __restrict out, const T* top, const T* bottom, W g, W f, int bits, size_t n) {
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(static_cast<W>(top[i] * g + bottom[i] * f) >> bits);
}

// The horizontal stage of one source row, laid out per output sample
// (j = x C + c): the two source samples it reads, gathered for the whole row
// first, and their weights. A stage whose every f is 0 only gathers: a 1 +
// b 0 is exactly a.
template <class T, int C>
class HorizontalStage {
public:
    HorizontalStage(const std::vector<Tap>& xs, int sourceWidth)
        : n_(xs.size() * C),
          gatherOnly_(std::all_of(xs.begin(), xs.end(), [](const Tap& t) { return t.f == 0; })),
          first_(Samples(xs, &Tap::i0)),
          second_(gatherOnly_ ? std::vector<int>() : Samples(xs, &Tap::i1)),
          firstShuffle_(Bytes(first_).data(), first_.size() * sizeof(T), static_cast<size_t>(sourceWidth) * C * sizeof(T)),
          secondShuffle_(Bytes(second_).data(), second_.size() * sizeof(T), static_cast<size_t>(sourceWidth) * C * sizeof(T)) {
        if (gatherOnly_) return;
        for (const Tap& t : xs) {
            const int k = WholeBits(t, kWholeBits<T>);
            bits_ = bits_ < 0 || k < 0 ? -1 : std::max(bits_, k);
        }
        for (const Tap& t : xs)
            for (int c = 0; c < C; ++c) {
                if (bits_ >= 0) {
                    wholeG_.push_back(static_cast<WholeWeight<T>>(t.g * (1 << bits_)));
                    wholeF_.push_back(static_cast<WholeWeight<T>>(t.f * (1 << bits_)));
                } else {
                    g_.push_back(t.g);
                    f_.push_back(t.f);
                }
            }
    }

    size_t Samples() const { return n_; }

    // One source row's results into out; a and b are scratch rows of n samples.
    void Run(const T* in, T* out, T* a, T* b) const {
        if (gatherOnly_) {
            Gather(firstShuffle_, first_, in, out);
            return;
        }
        Gather(firstShuffle_, first_, in, a);
        Gather(secondShuffle_, second_, in, b);
        const size_t n = n_;
        if (bits_ >= 0) {
            const WholeWeight<T>* g = wholeG_.data();
            const WholeWeight<T>* f = wholeF_.data();
            const int bits = bits_;
            RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { BlendWhole<T>(out, a, b, g, f, bits, n); });
        } else {
            const double* g = g_.data();
            const double* f = f_.data();
            RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { BlendDouble<T>(out, a, b, g, f, n); });
        }
    }

private:
    static std::vector<int> Samples(const std::vector<Tap>& xs, int Tap::*which) {
        std::vector<int> index;
        index.reserve(xs.size() * C);
        for (const Tap& t : xs)
            for (int c = 0; c < C; ++c) index.push_back(t.*which * C + c);
        return index;
    }
    static std::vector<int> Bytes(const std::vector<int>& samples) {
        std::vector<int> bytes;
        bytes.reserve(samples.size() * sizeof(T));
        for (int s : samples)
            for (size_t k = 0; k < sizeof(T); ++k) bytes.push_back(static_cast<int>(s * sizeof(T) + k));
        return bytes;
    }
    void Gather(const RowShuffle& shuffle, const std::vector<int>& index, const T* in, T* out) const {
        if (shuffle.Usable()) {
            shuffle.Run(reinterpret_cast<const std::uint8_t*>(in), reinterpret_cast<std::uint8_t*>(out));
            return;
        }
        const int* at = index.data();
        for (size_t j = 0; j < n_; ++j) out[j] = in[at[j]];
    }

    size_t n_;
    bool gatherOnly_;
    std::vector<int> first_, second_;
    RowShuffle firstShuffle_, secondShuffle_;
    int bits_ = 0;
    std::vector<WholeWeight<T>> wholeG_, wholeF_;
    std::vector<double> g_, f_;
};

template <class T, int C>
void Bilinear(CVxImage& src, CVxImage& dst, double sx, double sy) {
    const int H = dst.m_nHeight;
    const HorizontalStage<T, C> horizontalStage(Taps(dst.m_nWidth, sx, src.m_nWidth), src.m_nWidth);
    const std::vector<Tap> ys = Taps(H, sy, src.m_nHeight);
    std::vector<int> rowBits(ys.size());
    for (size_t y = 0; y < ys.size(); ++y) rowBits[y] = WholeBits(ys[y], kWholeBits<T>);
    const size_t n = horizontalStage.Samples();
    void** in = src.Get2DBuffer();
    void** out = dst.Get2DBuffer();
    ParallelRows(0, H, static_cast<std::int64_t>(n) * 4, [&](int y0, int y1) {
        // Horizontal results of two source rows, remembered by row index;
        // each band keeps its own. A result lies in its slot's scratch row
        // or, for a destination row that is that result itself (f = 0), in
        // that destination row, which the band no longer changes.
        std::vector<T> scratch[2] = {std::vector<T>(n), std::vector<T>(n)};
        std::vector<T> a(n), b(n);
        int cached[2] = {-1, -1};
        const T* result[2] = {nullptr, nullptr};
        // The result of `row`, computed into `into` or else into the slot
        // that does not hold `keep`.
        auto horizontal = [&](int row, int keep, T* into) -> const T* {
            for (int s = 0; s < 2; ++s)
                if (cached[s] == row) return result[s];
            const int slot = cached[0] == keep ? 1 : 0;
            T* to = into != nullptr ? into : scratch[slot].data();
            horizontalStage.Run(static_cast<const T*>(in[row]), to, a.data(), b.data());
            cached[slot] = row;
            result[slot] = to;
            return to;
        };
        for (int y = y0; y < y1; ++y) {
            const Tap t = ys[y];
            T* to = static_cast<T*>(out[y]);
            // f = 0: top 1 + bottom 0 is exactly top.
            if (t.f == 0) {
                const T* top = horizontal(t.i0, -1, to);
                if (top != to) std::memcpy(to, top, n * sizeof(T));
                continue;
            }
            const T* top = horizontal(t.i0, t.i1, nullptr);
            const T* bottom = horizontal(t.i1, t.i0, nullptr);
            const int bits = rowBits[y];
            if (bits >= 0) {
                const auto g = static_cast<WholeWeight<T>>(t.g * (1 << bits));
                const auto f = static_cast<WholeWeight<T>>(t.f * (1 << bits));
                RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { VerticalWhole<T>(to, top, bottom, g, f, bits, n); });
            } else {
                RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { VerticalDouble<T>(to, top, bottom, t.g, t.f, n); });
            }
        }
    });
}

}  // namespace

int CVxGeometryProcessing::Resize(int width, int height, CVxImage& dest, INTERPOLATION method) {
    if (m_pImage == nullptr) return FALSE;
    // dest is recreated before anything is tested.
    CVxImage held;
    CVxImage* image = SourceFor(m_pImage, dest, held);
    Recreate(*image, dest, width, height);

    const int how = image->m_ColorModel == CM_INDEX ? INTERPOLATION_NEAREST : static_cast<int>(method);
    const int channels = ModelChannels(*image);
    if (how == INTERPOLATION_NEAREST) {
        if (channels < 1 || channels > 4 || image->m_nBitsPerSample > 32) return FALSE;
        if (width <= 0 || height <= 0) return TRUE;
        if (!dest.IsCreated() || !HasPixels(*image)) return FALSE;
        const double sx = static_cast<double>(image->m_nWidth) / width;
        const double sy = static_cast<double>(image->m_nHeight) / height;
        const auto cols = IndexTable(width, image->m_nWidth, [&](int x) { return std::trunc(x * sx + 0.5); });
        const auto rows = IndexTable(height, image->m_nHeight, [&](int y) { return std::trunc(y * sy + 0.5); });
        return GatherAll(*image, dest, cols, rows);
    }
    if (how != INTERPOLATION_BILINEAR) return FALSE;
    // Bilinear answers FALSE whatever happens, also after writing every pixel.
    if (width <= 0 || height <= 0 || !dest.IsCreated() || !HasPixels(*image)) return FALSE;
    const double sx = static_cast<double>(image->m_nWidth) / width;
    const double sy = static_cast<double>(image->m_nHeight) / height;
    DispatchLayout(*image, channels, [&]<class T, int C>() {
        if constexpr (!kIsFloatSample<T>) Bilinear<T, C>(*image, dest, sx, sy);
    });
    return FALSE;
}

int CVxGeometryProcessing::Resize(float scale, CVxImage& dest) {
    if (m_pImage == nullptr) return FALSE;
    const int channels = ModelChannels(*m_pImage);
    if (channels < 1 || channels > 4) return TRUE;
    if (!std::isfinite(scale)) return FALSE;
    // The products are rounded to single precision, then 0.5 is added in double.
    const float productW = static_cast<float>(m_pImage->m_nWidth) * scale;
    const float productH = scale * static_cast<float>(m_pImage->m_nHeight);
    const double w = static_cast<double>(productW) + 0.5, h = static_cast<double>(productH) + 0.5;
    if (!(w > INT_MIN && w < INT_MAX && h > INT_MIN && h < INT_MAX)) return FALSE;
    const int width = static_cast<int>(w), height = static_cast<int>(h);

    CVxImage held;
    CVxImage* image = SourceFor(m_pImage, dest, held);
    Recreate(*image, dest, width, height);
    if (width <= 0 || height <= 0) return TRUE;
    if (!dest.IsCreated() || !HasPixels(*image)) return FALSE;
    const auto cols = IndexTable(width, image->m_nWidth, [&](int x) { return std::trunc(static_cast<float>(x) / scale); });
    const auto rows = IndexTable(height, image->m_nHeight, [&](int y) { return std::trunc(static_cast<float>(y) / scale); });
    return GatherAll(*image, dest, cols, rows);
}

int CVxGeometryProcessing::ResizeEx(float scale, CPoint phase, CVxImage& dest) {
    if (m_pImage == nullptr) return FALSE;
    const int channels = ModelChannels(*m_pImage);
    if (channels < 1 || channels > 4) return TRUE;
    if (!std::isfinite(scale)) return FALSE;
    // A zero or negative scale answers TRUE; its divisions would lead out of
    // the source, so nothing is done.
    if (scale <= 0) return TRUE;
    if (!PartnerCovers(dest, ThreeWayUnitBytes(*m_pImage), dest.m_nWidth, dest.m_nHeight)) return FALSE;
    if (dest.m_nWidth == 0 || dest.m_nHeight == 0) return TRUE;
    if (!HasPixels(*m_pImage)) return FALSE;
    CVxImage held;
    CVxImage* image = SourceFor(m_pImage, dest, held);

    const double s = scale;
    const double ox = std::trunc(phase.x / s), oy = std::trunc(phase.y / s);
    const auto cols = IndexTable(dest.m_nWidth, image->m_nWidth,
                                 [&](int x) { return std::trunc((static_cast<double>(x) + phase.x) / s) - ox; });
    const auto rows = IndexTable(dest.m_nHeight, image->m_nHeight,
                                 [&](int y) { return std::trunc((static_cast<double>(y) + phase.y) / s) - oy; });
    return GatherAll(*image, dest, cols, rows);
}
