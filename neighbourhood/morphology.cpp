#include <lumora/morphologic_processing.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "../core/layout.h"
#include "../core/pixels.h"
#include "order_key.h"

using namespace lumora::detail;

CVxMorphologicProcessing::CVxMorphologicProcessing() = default;

CVxMorphologicProcessing::CVxMorphologicProcessing(CVxImage* image) : CVxLumoraBase(image, nullptr) {}

// The minimum (erosion) or maximum (dilation) over a (2r + 1)^2 square whose
// coordinates are clamped into the image. Clamping a coordinate range gives
// the same set as cutting it at the image edge, so the square minimum is the
// minimum over rows of the minimum over columns: a horizontal pass per row
// into a buffer, then a vertical pass over that buffer.
//
// Each pass is a running extreme over windows of k = 2r + 1 values of a line
// padded with r copies of its end values. For short windows the k values are
// combined directly, element-wise over the whole line, which vectorises. For
// longer ones the van Herk / Gil-Werman scheme cuts the padded line into
// blocks of k: with g the running extreme from each block start and h the one
// towards each block end, the window starting at p is extreme(h[p],
// g[p + k - 1]), three comparisons per value whatever the radius. The radius
// along each axis is capped at the image extent minus one, beyond which the
// clamped window already covers the whole line; this also keeps huge radii
// from sizing any buffer.
//
// Float samples are compared as order keys (order_key.h): NaN is ignored
// unless the whole window is NaN, then the result is NaN; -0 orders below +0.

namespace {

enum class Extreme { Min, Max };

// Windows up to this many values are combined directly: for them that is no
// more work than the block scheme and it runs on whole lines at once.
constexpr int kDirectWindow = 5;

template <Extreme E, class K>
inline K Pick(K a, K b) {
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
template <Extreme E, class K, int C>
void SlidingExtreme(const K* in, K* out, int count, int k, K* g, K* h) {
    const std::ptrdiff_t n = static_cast<std::ptrdiff_t>(count) * C;
    if (k <= kDirectWindow) {
        std::copy(in, in + n, out);
        for (int d = 1; d < k; ++d) {
            const K* shifted = in + static_cast<std::ptrdiff_t>(d) * C;
            for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = Pick<E>(out[i], shifted[i]);
        }
        return;
    }
    const int length = count + k - 1;
    for (int start = 0; start < length; start += k) {
        const int end = std::min(start + k, length);
        for (int c = 0; c < C; ++c) g[start * C + c] = in[start * C + c];
        for (int p = start + 1; p < end; ++p)
            for (int c = 0; c < C; ++c) g[p * C + c] = Pick<E>(g[(p - 1) * C + c], in[p * C + c]);
    }
    // h is needed for the first `count` pixels only, but each block's scan
    // starts at the block end, which lies inside the line.
    for (int start = 0; start < count; start += k) {
        const int last = std::min(start + k, length) - 1;
        for (int c = 0; c < C; ++c) h[last * C + c] = in[last * C + c];
        for (int p = last - 1; p >= start; --p)
            for (int c = 0; c < C; ++c) h[p * C + c] = Pick<E>(in[p * C + c], h[(p + 1) * C + c]);
    }
    const K* gEnd = g + static_cast<std::ptrdiff_t>(k - 1) * C;
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = Pick<E>(h[i], gEnd[i]);
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

    void Run() {
        if (width_ <= 0 || height_ <= 0) return;
        rows_.resize(static_cast<size_t>(rowValues_) * static_cast<size_t>(height_));
        HorizontalPass();
        VerticalPass();
    }

private:
    K* BufferRow(int y) { return rows_.data() + static_cast<std::ptrdiff_t>(y) * rowValues_; }
    // Row p of the buffer padded with ry copies of its first and last rows.
    const K* PaddedRow(int p) { return BufferRow(std::clamp(p - ry_, 0, height_ - 1)); }

    void HorizontalPass() {
        const int k = 2 * rx_ + 1;
        const size_t padded = static_cast<size_t>(width_ + 2 * rx_) * C;
        std::vector<K> line(padded), g, h;
        if (k > kDirectWindow) {
            g.resize(padded);
            h.resize(padded);
        }
        for (int y = 0; y < height_; ++y) {
            const T* src = RowOf<T>(source_, y);
            K* body = line.data() + static_cast<std::ptrdiff_t>(rx_) * C;
            for (std::ptrdiff_t i = 0; i < rowValues_; ++i) body[i] = ToOrderKey<T, kNanPlace<E>>(src[i]);
            for (int p = 0; p < rx_; ++p)
                for (int c = 0; c < C; ++c) {
                    line[static_cast<size_t>(p) * C + c] = body[c];
                    body[rowValues_ + static_cast<std::ptrdiff_t>(p) * C + c] = body[rowValues_ - C + c];
                }
            SlidingExtreme<E, K, C>(line.data(), BufferRow(y), width_, k, g.data(), h.data());
        }
    }

    void VerticalPass() {
        const int k = 2 * ry_ + 1;
        if (k <= kDirectWindow) {
            std::vector<K> acc(static_cast<size_t>(rowValues_));
            for (int y = 0; y < height_; ++y) {
                std::copy(PaddedRow(y), PaddedRow(y) + rowValues_, acc.data());
                for (int d = 1; d < k - 1; ++d) Combine(acc.data(), PaddedRow(y + d), acc.data());
                Emit(acc.data(), PaddedRow(y + k - 1), y);
            }
            return;
        }
        // Block scheme over whole rows. For the block starting at padded row
        // `base`, h rows are kept for the output rows inside it; the running
        // g of the next block is built row by row as the outputs need it.
        const int kept = std::min(k, height_);
        std::vector<K> h(static_cast<size_t>(rowValues_) * static_cast<size_t>(kept));
        std::vector<K> spare(static_cast<size_t>(rowValues_)), g(static_cast<size_t>(rowValues_));
        auto hRow = [&](int j) { return h.data() + static_cast<std::ptrdiff_t>(j) * rowValues_; };
        for (int base = 0; base < height_; base += k) {
            const int outputs = std::min(k, height_ - base);
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

    void Combine(const K* a, const K* b, K* out) const {
        for (std::ptrdiff_t i = 0; i < rowValues_; ++i) out[i] = Pick<E>(a[i], b[i]);
    }

    // Writes extreme(a, b) into row y of the destination, leaving the pixels
    // the area-of-interest mask deselects as they are (the source copy).
    void Emit(const K* a, const K* b, int y) {
        T* dst = RowOf<T>(dest_, y);
        if (!mask_.Active()) {
            for (std::ptrdiff_t i = 0; i < rowValues_; ++i) dst[i] = FromOrderKey<T>(Pick<E>(a[i], b[i]));
            return;
        }
        const unsigned char* selected = mask_.Row(y);
        for (int x = 0; x < width_; ++x)
            for (int c = 0; c < C; ++c) {
                const std::ptrdiff_t i = static_cast<std::ptrdiff_t>(x) * C + c;
                const T value = FromOrderKey<T>(Pick<E>(a[i], b[i]));
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
    std::vector<K> rows_;
};

// All source reads happen in the horizontal pass, before the first write, so
// a destination that is the source itself still gets the true result.
template <Extreme E>
int RankFilter(CVxLumoraBase& base, CVxImage* source, CVxImage& dest, int radius) {
    if (source == nullptr) return FALSE;
    dest = *source;
    if (radius < 0) return FALSE;
    AoiMask mask;
    if (!BindAoiMask(base, *source, mask)) return FALSE;
    const bool dispatched = DispatchLayout(*source, source->m_nChannel, [&]<class T, int C>() {
        if (radius > 0) RankPass<E, T, C>(*source, dest, mask, radius).Run();
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
