#include <lumora/convolution.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <type_traits>
#include <vector>

#include "../core/layout.h"
#include "../core/pixels.h"

using namespace lumora::detail;

CVxConvolution::CVxConvolution() = default;

CVxConvolution::CVxConvolution(CVxImage* image) : CVxLumoraBase(image, nullptr) {}

// One routine serves all 48 combinations of kernel type (int or float),
// result rule (plain or ABS), sample type and channel count.
//
// Arithmetic, per output sample:
//  * int kernel, 8/16-bit samples: the 32-bit sum of sample x weight wraps
//    on overflow as two's-complement arithmetic does (it is accumulated in
//    uint32 and read back as int32), q = sum / divisor truncating, and
//    offset + q (offset - q) wrap the same way before the clamp.
//  * int kernel, float samples: every step is sum = trunc(w * s + sum) with
//    w and sum converted to float, i.e. the step is computed in single
//    precision, as C's usual conversions do for int x float + int. A step
//    whose value lies outside the int32 range (or is NaN) yields INT32_MIN,
//    the value the x86 truncating conversions deliver for it.
//  * float kernel: sum = sum + w * s in single precision, each operation
//    rounded to float; v = sum / divisor + offset in float.
//  Clamping is to [0, MAX] with MAX = 255, 65535 or 2147483647; for float
//  results the bound compares as a float, so it is 2^31. A NaN result
//  becomes 0. Float samples receive the whole number the result truncates to.
//
// Each output row is computed for a span of columns at once into a row of
// per-sample accumulators: kernel entries are visited in row-major order and
// each one is added across the whole span, so every pixel still sums its
// terms in row-major order while the loop over the span vectorises.

namespace {

enum class DivMode { One, MinusOne, General };

// Float to int32 as the x86 truncating conversion does it: in range it
// truncates toward zero, anything else (out of range, NaN) is INT32_MIN.
inline std::int32_t TruncToInt32(float v) {
    if (v >= -2147483648.0f && v < 2147483648.0f) return static_cast<std::int32_t>(v);
    return std::numeric_limits<std::int32_t>::min();
}

inline std::int32_t WrapAdd(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

inline std::int32_t WrapSub(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

// Truncating int32 division by a non-zero divisor. INT32_MIN / -1 wraps to
// INT32_MIN instead of trapping. Other divisors go through double, which is
// exact here: a quotient of two int32 values is never close enough to a
// whole number for the rounding of the division to cross it.
template <DivMode kMode>
inline std::int32_t Quotient(std::int32_t sum, std::int32_t divisor) {
    if constexpr (kMode == DivMode::One) {
        (void)divisor;
        return sum;
    } else if constexpr (kMode == DivMode::MinusOne) {
        (void)divisor;
        return WrapSub(0, sum);
    } else {
        return static_cast<std::int32_t>(static_cast<double>(sum) / static_cast<double>(divisor));
    }
}

template <class K, class T>
struct Arith {
    static constexpr bool kFloatKernel = std::is_same_v<K, float>;
    // Accumulator per output sample.
    using Acc = std::conditional_t<kFloatKernel, float, std::conditional_t<kIsFloatSample<T>, std::int32_t, std::uint32_t>>;
    // A zero weight adds nothing to an integer or float sum of whole-number
    // samples, so such terms may be skipped. With float samples and an int
    // kernel each step re-rounds the sum through float, and with a float
    // kernel a zero weight times an infinite sample is NaN: keep them there.
    static constexpr bool kSkipZero = !kIsFloatSample<T>;
};

// Adds N consecutive kernel entries (one kernel row chunk) to n accumulators.
// src[t] points at the samples the t-th entry weighs for the first output sample.
template <class K, class T, int N>
void AccumulateTerms(typename Arith<K, T>::Acc* __restrict acc, int n, const T* const* src, const K* w) {
    using A = Arith<K, T>;
    if constexpr (A::kFloatKernel) {
        const T* __restrict s0 = src[0];
        const T* __restrict s1 = src[N > 1 ? 1 : 0];
        const T* __restrict s2 = src[N > 2 ? 2 : 0];
        const float w0 = w[0], w1 = w[N > 1 ? 1 : 0], w2 = w[N > 2 ? 2 : 0];
        for (int k = 0; k < n; ++k) {
            float a = acc[k];
            a = a + w0 * static_cast<float>(s0[k]);
            if constexpr (N > 1) a = a + w1 * static_cast<float>(s1[k]);
            if constexpr (N > 2) a = a + w2 * static_cast<float>(s2[k]);
            acc[k] = a;
        }
    } else if constexpr (!kIsFloatSample<T>) {
        const T* __restrict s0 = src[0];
        const T* __restrict s1 = src[N > 1 ? 1 : 0];
        const T* __restrict s2 = src[N > 2 ? 2 : 0];
        const std::uint32_t w0 = static_cast<std::uint32_t>(w[0]);
        const std::uint32_t w1 = static_cast<std::uint32_t>(w[N > 1 ? 1 : 0]);
        const std::uint32_t w2 = static_cast<std::uint32_t>(w[N > 2 ? 2 : 0]);
        for (int k = 0; k < n; ++k) {
            std::uint32_t a = acc[k];
            a += w0 * s0[k];
            if constexpr (N > 1) a += w1 * s1[k];
            if constexpr (N > 2) a += w2 * s2[k];
            acc[k] = a;
        }
    } else {
        for (int t = 0; t < N; ++t) {
            const float* __restrict s = src[t];
            const float wf = static_cast<float>(w[t]);
            for (int k = 0; k < n; ++k) acc[k] = TruncToInt32(wf * s[k] + static_cast<float>(acc[k]));
        }
    }
}

template <class K, bool kAbs, class T, int C>
class ConvolutionRunner {
    using A = Arith<K, T>;
    using Acc = typename A::Acc;

public:
    ConvolutionRunner(CVxImage& src, CVxImage& dst, const K* kernel, int cx, int cy, K divisor, K offset,
                      const AoiMask& mask)
        : src_(src), dst_(dst), kernel_(kernel), cx_(cx), cy_(cy), hx_(cx / 2), hy_(cy / 2), divisor_(divisor),
          offset_(offset), mask_(mask), width_(src.m_nWidth), height_(src.m_nHeight) {
        const size_t span = static_cast<size_t>(width_) * C;
        acc_.resize(span);
        // Clamped reads go through a row segment wide enough for a whole
        // image row plus the kernel's reach on both sides.
        segment_.resize((static_cast<size_t>(width_) + static_cast<size_t>(cx) - 1) * C);
        ptrs_.resize(static_cast<size_t>(cx));
        weights_.resize(static_cast<size_t>(cx));
    }

    void Run(bool extend) {
        if constexpr (A::kFloatKernel) {
            RunWith<DivMode::General>(extend);
        } else {
            if (divisor_ == 1)
                RunWith<DivMode::One>(extend);
            else if (divisor_ == -1)
                RunWith<DivMode::MinusOne>(extend);
            else
                RunWith<DivMode::General>(extend);
        }
    }

private:
    template <DivMode kMode>
    void RunWith(bool extend) {
        const int W = width_, H = height_;
        // Inner region: every read lies inside the image.
        if (hx_ < W - hx_)
            for (int y = hy_; y < H - hy_; ++y) Row<kMode>(y, hx_, W - hx_, false);
        if (!extend) return;
        // Border strips with clamped reads. Every result depends only on the
        // source, so visiting them row by row gives what the strip order gives.
        const int leftEnd = std::min(hx_, W);
        const int rightBegin = std::max(W - hx_, leftEnd);
        for (int y = 0; y < H; ++y) {
            if (y < hy_ || y >= H - hy_) {
                Row<kMode>(y, 0, W, true);
            } else {
                if (leftEnd > 0) Row<kMode>(y, 0, leftEnd, true);
                if (rightBegin < W) Row<kMode>(y, rightBegin, W, true);
            }
        }
    }

    // Output columns [xa, xb) of row y.
    template <DivMode kMode>
    void Row(int y, int xa, int xb, bool clamped) {
        const int n = (xb - xa) * C;
        Acc* acc = acc_.data();
        std::fill(acc, acc + n, Acc{});
        for (int j = 0; j < cy_; ++j) {
            int sy = y - hy_ + j;
            if (clamped) sy = std::clamp(sy, 0, height_ - 1);
            const T* row = RowOf<T>(src_, sy);
            const T* base = clamped ? ClampedSegment(row, xa - hx_, xb - xa + cx_ - 1) : row + (xa - hx_) * C;
            const K* w = kernel_ + static_cast<size_t>(j) * cx_;
            // Gather this kernel row's terms, in order, and add them in
            // chunks of up to three so each accumulator is loaded once per chunk.
            int terms = 0;
            for (int i = 0; i < cx_; ++i) {
                if (A::kSkipZero && w[i] == K{}) continue;
                ptrs_[terms] = base + i * C;
                weights_[terms] = w[i];
                ++terms;
            }
            int t = 0;
            for (; t + 3 <= terms; t += 3) AccumulateTerms<K, T, 3>(acc, n, &ptrs_[t], &weights_[t]);
            if (terms - t == 2) AccumulateTerms<K, T, 2>(acc, n, &ptrs_[t], &weights_[t]);
            if (terms - t == 1) AccumulateTerms<K, T, 1>(acc, n, &ptrs_[t], &weights_[t]);
        }
        T* out = RowOf<T>(dst_, y) + xa * C;
        if (!mask_.Active()) {
            for (int k = 0; k < n; ++k) out[k] = Result<kMode>(acc[k]);
        } else {
            const unsigned char* m = mask_.Row(y) + xa;
            for (int x = 0; x < xb - xa; ++x)
                if (m[x] != 0)
                    for (int c = 0; c < C; ++c) out[x * C + c] = Result<kMode>(acc[x * C + c]);
        }
    }

    // `count` pixels of a source row starting at column x0, with columns
    // outside the image replaced by the nearest edge pixel.
    const T* ClampedSegment(const T* row, int x0, int count) {
        if (x0 >= 0 && x0 + count <= width_) return row + x0 * C;
        T* seg = segment_.data();
        for (int p = 0; p < count; ++p) {
            const int sx = std::clamp(x0 + p, 0, width_ - 1);
            for (int c = 0; c < C; ++c) seg[p * C + c] = row[sx * C + c];
        }
        return seg;
    }

    template <DivMode kMode>
    T Result(Acc sum) const {
        if constexpr (A::kFloatKernel) {
            const float q = sum / divisor_;
            float v = offset_ + q;
            if constexpr (kAbs)
                if (v < 0.0f) v = offset_ - q;
            constexpr float kMax = static_cast<float>(kSampleMax<T>);
            v = v > 0.0f ? v : 0.0f;  // also turns NaN into 0
            v = v < kMax ? v : kMax;
            if constexpr (kIsFloatSample<T>) {
                // Whole number toward zero; from 2^23 up every float is one.
                return v < 8388608.0f ? static_cast<float>(static_cast<std::int32_t>(v)) : v;
            } else {
                return static_cast<T>(v);
            }
        } else {
            const std::int32_t q = Quotient<kMode>(static_cast<std::int32_t>(sum), divisor_);
            std::int32_t v = WrapAdd(offset_, q);
            if constexpr (kAbs)
                if (v < 0) v = WrapSub(offset_, q);
            v = std::clamp(v, 0, kSampleMax<T>);
            return static_cast<T>(v);
        }
    }

    CVxImage& src_;
    CVxImage& dst_;
    const K* kernel_;
    int cx_, cy_, hx_, hy_;
    K divisor_, offset_;
    const AoiMask& mask_;
    int width_, height_;
    std::vector<Acc> acc_;
    std::vector<T> segment_;
    std::vector<const T*> ptrs_;
    std::vector<K> weights_;
};

// The steps every member shares: create (flag 0), copy, check, dispatch.
template <bool kAbs, class K>
int ConvolveImpl(CVxLumoraBase& base, CVxImage* source, const K* kernel, CSize size, CVxImage& dest, K divisor,
                 K offset, CONVOLUTION_FLAG flag) {
    if (source == nullptr) return FALSE;
    // Results are computed from the source only; when the caller passes the
    // target itself as the destination, work from a private copy of it.
    std::optional<CVxImage> sourceCopy;
    if (source == &dest) {
        sourceCopy.emplace(*source);
        source = &*sourceCopy;
    }
    CVxImage& src = *source;
    if (flag == CONVOLUTION_CREATE) {
        dest.Remove();
        dest.Create(src.m_ColorModel, src.m_nBitsPerSample, src.m_nWidth, src.m_nHeight, 0, nullptr, 255);
    }
    dest = src;

    if (kernel == nullptr || size.cx < 1 || size.cy < 1) return FALSE;
    if (divisor == K{}) return FALSE;
    // The destination is the source's copy; it must still be, pixel block and all.
    if (dest.m_nWidth != src.m_nWidth || dest.m_nHeight != src.m_nHeight) return FALSE;
    AoiMask mask;
    if (!BindAoiMask(base, src, mask)) return FALSE;

    const int channels = src.m_nChannel;
    if (!HasPixelBlockFor(dest, channels, CVxImageInfo::GetSampleBytes(src.m_nBitsPerSample))) return FALSE;
    const bool extend = flag == CONVOLUTION_EXTEND;
    const bool dispatched = DispatchLayout(src, channels, [&]<class T, int C>() {
        if (src.m_nWidth == 0 || src.m_nHeight == 0) return;
        ConvolutionRunner<K, kAbs, T, C> runner(src, dest, kernel, static_cast<int>(size.cx),
                                                static_cast<int>(size.cy), divisor, offset, mask);
        runner.Run(extend);
    });
    return dispatched ? TRUE : FALSE;
}

}  // namespace

int CVxConvolution::Convolve(int* kernel, CSize size, CVxImage& dest, int divisor, int offset,
                             CONVOLUTION_FLAG flag) {
    return ConvolveImpl<false, int>(*this, m_pImage, kernel, size, dest, divisor, offset, flag);
}

int CVxConvolution::Convolve(float* kernel, CSize size, CVxImage& dest, float divisor, float offset,
                             CONVOLUTION_FLAG flag) {
    return ConvolveImpl<false, float>(*this, m_pImage, kernel, size, dest, divisor, offset, flag);
}

int CVxConvolution::ConvolveABS(int* kernel, CSize size, CVxImage& dest, int divisor, int offset,
                                CONVOLUTION_FLAG flag) {
    return ConvolveImpl<true, int>(*this, m_pImage, kernel, size, dest, divisor, offset, flag);
}

int CVxConvolution::ConvolveABS(float* kernel, CSize size, CVxImage& dest, float divisor, float offset,
                                CONVOLUTION_FLAG flag) {
    return ConvolveImpl<true, float>(*this, m_pImage, kernel, size, dest, divisor, offset, flag);
}
