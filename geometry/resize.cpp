#include <lumora/geometry_processing.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <vector>

#include "../core/cpu_dispatch.h"
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
// the results are those of the per-pixel formula.

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
// row is copied from the previous destination row.
template <size_t N>
void Gather(CVxImage& src, CVxImage& dst, const std::vector<int>& cols, const std::vector<int>& rows) {
    using U = Unit<N>;
    const int W = static_cast<int>(cols.size());
    for (size_t y = 0; y < rows.size(); ++y) {
        U* out = static_cast<U*>(dst.Get2DBuffer()[y]);
        if (y > 0 && rows[y] == rows[y - 1]) {
            std::memcpy(out, dst.Get2DBuffer()[y - 1], static_cast<size_t>(W) * N);
            continue;
        }
        const U* in = static_cast<const U*>(src.Get2DBuffer()[rows[y]]);
        for (int x = 0; x < W; ++x) out[x] = in[cols[x]];
    }
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
        const int i0 = SourceIndex(std::floor(u), size);
        const int i1 = i0 + 1 < size ? i0 + 1 : i0;
        const double f = u - i0;
        taps[d] = Tap{i0, i1, f, 1 - f};
    }
    return taps;
}

// The two stages of one row, compiled also for AVX2 (same arithmetic, wider
// vectors): out = T(truncate(a (1 - f) + b f)) for row pairs and for taps.
template <class T, int C>
LUMORA_INLINE void HorizontalRow(T* __restrict out, const T* __restrict in, const Tap* __restrict xs, int W) {
    for (int x = 0; x < W; ++x) {
        const Tap t = xs[x];
        for (int c = 0; c < C; ++c)
            out[x * C + c] = static_cast<T>(static_cast<int>(in[t.i0 * C + c] * t.g + in[t.i1 * C + c] * t.f));
    }
}

template <class T>
LUMORA_INLINE void VerticalRow(T* __restrict out, const T* top, const T* bottom, double g, double f, size_t n) {
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(static_cast<int>(top[i] * g + bottom[i] * f));
}

template <class T, int C>
void Bilinear(CVxImage& src, CVxImage& dst, double sx, double sy) {
    const int W = dst.m_nWidth, H = dst.m_nHeight;
    const std::vector<Tap> xs = Taps(W, sx, src.m_nWidth);
    const std::vector<Tap> ys = Taps(H, sy, src.m_nHeight);
    const size_t n = static_cast<size_t>(W) * C;
    // Horizontal results of two source rows, remembered by row index.
    std::vector<T> cache[2] = {std::vector<T>(n), std::vector<T>(n)};
    int cached[2] = {-1, -1};
    // The slot holding `row`, computed into the slot that does not hold `keep`.
    auto horizontal = [&](int row, int keep) -> const T* {
        for (int s = 0; s < 2; ++s)
            if (cached[s] == row) return cache[s].data();
        const int slot = cached[0] == keep ? 1 : 0;
        const T* in = static_cast<const T*>(src.Get2DBuffer()[row]);
        T* out = cache[slot].data();
        const Tap* taps = xs.data();
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { HorizontalRow<T, C>(out, in, taps, W); });
        cached[slot] = row;
        return out;
    };
    for (int y = 0; y < H; ++y) {
        const Tap t = ys[y];
        const T* top = horizontal(t.i0, t.i1);
        const T* bottom = horizontal(t.i1, t.i0);
        T* out = static_cast<T*>(dst.Get2DBuffer()[y]);
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { VerticalRow<T>(out, top, bottom, t.g, t.f, n); });
    }
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
