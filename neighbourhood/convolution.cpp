#include <lumora/convolution.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <type_traits>
#include <vector>

#include "../core/cpu_dispatch.h"
#include "../core/layout.h"
#include "../core/overwrite.h"
#include "../core/parallel.h"
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
// added across the whole span a few at a time, so every pixel still sums its
// terms in row-major order while the loop over the span vectorises; the last
// few are added in the loop that stores the finished samples. Source
// samples are exact in the type they are converted to (float holds every
// 8- and 16-bit value), so converting a row once changes no result.

namespace {

// How the sum becomes the result: divisor 1, divisor -1, any other; and for
// 16-bit sums with offset 0 and a quotient that is the sum shifted right
// (a divisor 2^k, or a float kernel's scale 2^-e), which stays in 16-bit lanes.
enum class DivMode { One, MinusOne, General, OneNoOffset, ShiftNoOffset };

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

// How an int kernel on integer samples may sum exactly:
//  * Wrapping32: as stated, in 32 bits that wrap;
//  * Float: every partial sum stays below 2^24 in magnitude, so float holds
//    all of them exactly and the faster float arithmetic gives the result;
//  * Int16: 8-bit samples and 255 x sum |w| below 2^15, so every partial sum
//    fits a 16-bit lane, twice as many per vector as float;
//  * UInt16: 8-bit samples, no negative weight and 255 x sum w below 2^16,
//    so every partial sum fits an unsigned 16-bit lane.
// A float kernel on 8-bit samples takes Int16 or UInt16 when its weights are
// whole multiples m of one power of two 2^-e that meet the same bounds: then
// every product and partial sum of the float sum is a multiple of 2^-e
// below 2^16 x 2^-e, which float holds exactly, so each float step is exact
// and the float sum is the whole-number sum of m x sample times 2^-e.
enum class IntSums { Wrapping32, Float, Int16, UInt16 };

template <class K, class T, IntSums kSums>
struct Arith {
    static constexpr bool kFloatKernel = std::is_same_v<K, float>;
    static constexpr bool kIntOnFloat = !kFloatKernel && kIsFloatSample<T>;
    static constexpr bool k16 = kSums == IntSums::Int16 || kSums == IntSums::UInt16;
    static constexpr bool kFloatSums = (kFloatKernel && !k16) || kSums == IntSums::Float;
    using Sum16 = std::conditional_t<kSums == IntSums::UInt16, std::uint16_t, std::int16_t>;
    // Accumulator per output sample.
    using Acc = std::conditional_t<
        k16, Sum16,
        std::conditional_t<kFloatSums, float, std::conditional_t<kIsFloatSample<T>, std::int32_t, std::uint32_t>>>;
    // Source samples as the sums read them, converted once per source row.
    using Src = std::conditional_t<k16, Sum16,
                                   std::conditional_t<kFloatSums || kIsFloatSample<T>, float, std::uint32_t>>;
    // Kernel entries as the sums take them: the whole numbers m for a float
    // kernel summed in 16-bit lanes.
    using Weight = std::conditional_t<kFloatKernel && k16, int, K>;
    // A zero weight adds nothing to an integer or float sum of whole-number
    // samples, so such terms may be skipped. With float samples and an int
    // kernel each step re-rounds the sum through float, and with a float
    // kernel a zero weight times an infinite sample is NaN: keep them there.
    static constexpr bool kSkipZero = !kIsFloatSample<T>;
};

// The sum to the stored sample. A value type, so that a loop holding a copy
// reads the divisor and offset from registers, not through a pointer that
// the stores might alias.
template <class K>
struct Rule {
    K divisor, offset;
    // ShiftNoOffset: the right shift that divides the sum.
    int shift;
    // 2^-e for a float kernel summed in 16-bit lanes.
    float scale;
};

template <class K, bool kAbs, class T, IntSums kSums, DivMode kMode>
struct Finish {
    using A = Arith<K, T, kSums>;
    Rule<K> rule;

    LUMORA_INLINE T operator()(typename A::Acc acc) const {
        const K divisor = rule.divisor, offset = rule.offset;
        if constexpr (kMode == DivMode::OneNoOffset || kMode == DivMode::ShiftNoOffset) {
            // offset 0: q = trunc(sum / 2^s) and a negative q gives 0, or -q
            // under the ABS rule, which is trunc(|sum| / 2^s); a negative sum
            // shifted arithmetically stays negative and clamps to 0 as well.
            // |sum| < 2^15 for signed lanes, so -sum fits.
            using S = typename A::Sum16;
            S v = acc;
            if constexpr (kAbs && std::is_signed_v<S>)
                if (v < 0) v = static_cast<S>(-v);
            // A shift of 0 is a mode of its own: a variable shift keeps the
            // vectoriser from staying in 16-bit lanes.
            if constexpr (kMode == DivMode::ShiftNoOffset) v = static_cast<S>(v >> rule.shift);
            return static_cast<T>(std::clamp<S>(v, 0, 255));
        } else if constexpr (A::kFloatKernel) {
            // The exact float sum, whole numbers of 2^-e times 2^-e.
            float sum;
            if constexpr (A::k16)
                sum = static_cast<float>(acc) * rule.scale;
            else
                sum = acc;
            // x / 1 is x exactly, so divisor 1 skips the division.
            const float q = kMode == DivMode::One ? sum : sum / divisor;
            float v = offset + q;
            if constexpr (kAbs)
                if (v < 0.0f) v = offset - q;
            constexpr float kMax = static_cast<float>(kSampleMax<T>);
            v = v > 0.0f ? v : 0.0f;  // also turns NaN into 0
            v = v < kMax ? v : kMax;
            if constexpr (kIsFloatSample<T>) {
                // Whole number toward zero; from 2^23 up every float is one.
                return v < 8388608.0f ? static_cast<float>(static_cast<std::int32_t>(v)) : v;
            } else {
                // v <= 65535: the signed conversion is exact and vectorises
                // without the unsigned one's corrections.
                return static_cast<T>(static_cast<std::int32_t>(v));
            }
        } else {
            const auto sum = acc;
            std::int32_t q;
            if constexpr (A::k16 && kMode == DivMode::One) {
                q = sum;
            } else if constexpr (kSums != IntSums::Wrapping32) {
                // |sum| < 2^24: the rounded float quotient is never close
                // enough to a whole number to truncate to the wrong one.
                q = static_cast<std::int32_t>(sum / static_cast<float>(divisor));
            } else {
                q = Quotient<kMode>(static_cast<std::int32_t>(sum), divisor);
            }
            std::int32_t v = WrapAdd(offset, q);
            if constexpr (kAbs)
                if (v < 0) v = WrapSub(offset, q);
            v = std::clamp(v, 0, kSampleMax<T>);
            return static_cast<T>(v);
        }
    }
};

// Adds N kernel terms, in order, to n accumulators: src[t] + k0 points at the
// samples the t-th term weighs for the first of them. A first group starts
// from zero instead of reading the accumulators; a last one stores the
// finished samples to out instead of writing them back.
template <class A, class K, int N, bool kFirst, bool kLast, class F, class T>
LUMORA_INLINE void AccumulateTerms(typename A::Acc* __restrict acc, T* __restrict out, int n, std::ptrdiff_t k0,
                                   const typename A::Src* const* src, const typename A::Weight* w, const F finish) {
    using S = typename A::Src;
    using Acc = typename A::Acc;
    static_assert(N >= 1 && N <= 6);
    // Named restrict pointers, not an array: the vectoriser then needs no
    // run-time checks that the stores miss the sources.
    const S* __restrict s0 = src[0] + k0;
    const S* __restrict s1 = src[N > 1 ? 1 : 0] + k0;
    const S* __restrict s2 = src[N > 2 ? 2 : 0] + k0;
    const S* __restrict s3 = src[N > 3 ? 3 : 0] + k0;
    const S* __restrict s4 = src[N > 4 ? 4 : 0] + k0;
    const S* __restrict s5 = src[N > 5 ? 5 : 0] + k0;
    // Weights as the products take them: float for int weights on float samples.
    using W = std::conditional_t<A::kIntOnFloat, float, S>;
    const W w0 = static_cast<W>(w[0]), w1 = static_cast<W>(w[N > 1 ? 1 : 0]), w2 = static_cast<W>(w[N > 2 ? 2 : 0]);
    const W w3 = static_cast<W>(w[N > 3 ? 3 : 0]), w4 = static_cast<W>(w[N > 4 ? 4 : 0]);
    const W w5 = static_cast<W>(w[N > 5 ? 5 : 0]);
    for (int k = 0; k < n; ++k) {
        Acc sum = kFirst ? Acc{} : acc[k];
        if constexpr (A::kIntOnFloat) {
            sum = TruncToInt32(w0 * s0[k] + static_cast<float>(sum));
            if constexpr (N > 1) sum = TruncToInt32(w1 * s1[k] + static_cast<float>(sum));
            if constexpr (N > 2) sum = TruncToInt32(w2 * s2[k] + static_cast<float>(sum));
        } else {
            S a = sum;
            a = a + w0 * s0[k];
            if constexpr (N > 1) a = a + w1 * s1[k];
            if constexpr (N > 2) a = a + w2 * s2[k];
            if constexpr (N > 3) a = a + w3 * s3[k];
            if constexpr (N > 4) a = a + w4 * s4[k];
            if constexpr (N > 5) a = a + w5 * s5[k];
            sum = a;
        }
        if constexpr (kLast)
            out[k] = finish(sum);
        else
            acc[k] = sum;
    }
}

template <class K, bool kAbs, class T, int C, IntSums kSums>
class ConvolutionRunner {
    // A whole number of pixels of every layout.
    // A whole number of pixels of every layout and of 64-byte vectors, so
    // that no piece ends in a remainder the vector loops leave to scalar code.
    static constexpr int kPiece = 960;
    using A = Arith<K, T, kSums>;
    using Acc = typename A::Acc;
    using Src = typename A::Src;
    using W = typename A::Weight;
    // Terms summed per pass over the accumulators: 16-bit lanes leave room
    // in the vector registers for six weights and their sources.
    static constexpr int kGroup = A::k16 ? 6 : 3;

public:
    ConvolutionRunner(CVxImage& src, CVxImage& dst, const W* kernel, int cx, int cy, const Rule<K>& rule,
                      const AoiMask& mask)
        : src_(src), dst_(dst), kernel_(kernel), cx_(cx), cy_(cy), hx_(cx / 2), hy_(cy / 2), rule_(rule),
          mask_(mask), width_(src.m_nWidth), height_(src.m_nHeight) {
        acc_.resize(static_cast<size_t>(std::min(kPiece, width_ * C)));
        // Source rows are kept converted and widened by the kernel's reach
        // on both sides with the edge pixels repeated, so that clamped reads
        // need no test. A window of cy rows (at most every row) is cached.
        paddedSamples_ = (static_cast<size_t>(width_) + static_cast<size_t>(cx) - 1) * C;
        slots_ = std::min(cy, height_);
        rows_.resize(paddedSamples_ * static_cast<size_t>(slots_));
        rowInSlot_.assign(static_cast<size_t>(slots_), -1);
        ptrs_.resize(static_cast<size_t>(cx) * static_cast<size_t>(cy));
        weights_.resize(static_cast<size_t>(cx) * static_cast<size_t>(cy));
    }

    // Output rows [y0, y1), each computed by one copy of the code for the
    // widest instruction set the processor offers.
    void Run(bool extend, int y0, int y1) {
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { RunAll(extend, y0, y1); });
    }

private:
    LUMORA_INLINE void RunAll(bool extend, int y0, int y1) {
        const K divisor = rule_.divisor;
        if constexpr (A::k16) {
            if (rule_.shift == 0 && rule_.offset == K{}) {
                RunWith<DivMode::OneNoOffset>(extend, y0, y1);
                return;
            }
            if (rule_.shift > 0 && rule_.offset == K{}) {
                RunWith<DivMode::ShiftNoOffset>(extend, y0, y1);
                return;
            }
        }
        if constexpr (A::k16 && A::kFloatKernel) {
            RunWith<DivMode::General>(extend, y0, y1);
        } else if constexpr (A::kFloatKernel) {
            if (divisor == 1.0f)
                RunWith<DivMode::One>(extend, y0, y1);
            else
                RunWith<DivMode::General>(extend, y0, y1);
        } else if constexpr (A::kFloatSums) {
            RunWith<DivMode::General>(extend, y0, y1);
        } else {
            if (divisor == 1)
                RunWith<DivMode::One>(extend, y0, y1);
            else if (divisor == -1)
                RunWith<DivMode::MinusOne>(extend, y0, y1);
            else
                RunWith<DivMode::General>(extend, y0, y1);
        }
    }

    // Inner region and border strips alike: with clamped reads an inner
    // pixel reads what it reads unclamped, and every result depends on the
    // source only, so rows and strips need no order of their own.
    template <DivMode kMode>
    LUMORA_INLINE void RunWith(bool extend, int y0, int y1) {
        const int xa = extend ? 0 : hx_, xb = extend ? width_ : width_ - hx_;
        if (xa >= xb) return;
        for (int y = y0; y < y1; ++y) Row<kMode>(y, xa, xb);
    }

    // Output columns [xa, xb) of row y.
    template <DivMode kMode>
    LUMORA_INLINE void Row(int y, int xa, int xb) {
        const int n = (xb - xa) * C;
        // The kernel's terms in row-major order; padded column x + i holds
        // source column x - hx + i (clamped).
        int terms = 0;
        for (int j = 0; j < cy_; ++j) {
            const Src* base = SourceRow(std::clamp(y - hy_ + j, 0, height_ - 1)) + static_cast<size_t>(xa) * C;
            const W* w = kernel_ + static_cast<size_t>(j) * cx_;
            for (int i = 0; i < cx_; ++i) {
                if (A::kSkipZero && w[i] == W{}) continue;
                ptrs_[terms] = base + static_cast<size_t>(i) * C;
                weights_[terms] = w[i];
                ++terms;
            }
        }
        T* out = RowOf<T>(dst_, y) + static_cast<size_t>(xa) * C;
        Acc* acc = acc_.data();
        const bool direct = !mask_.Active();
        const Finish<K, kAbs, T, kSums, kMode> finish{rule_};
        // The span is walked in pieces small enough for the accumulators to
        // stay in the first-level cache while every term visits them. The
        // terms go in groups of up to kGroup, so that each accumulator is
        // loaded once per group; the odd group comes first, since every
        // group must keep the row-major order.
        const int firstGroup = terms % kGroup == 0 ? kGroup : terms % kGroup;
        for (int k0 = 0; k0 < n; k0 += kPiece) {
            const int len = std::min(kPiece, n - k0);
            T* piece = out + k0;
            if (terms == 0) {
                std::fill(acc, acc + len, Acc{});
            } else if (terms <= kGroup && direct) {
                Group<true, true>(firstGroup, acc, piece, len, k0, 0, finish);
            } else {
                Group<true, false>(firstGroup, acc, piece, len, k0, 0, finish);
                int t = firstGroup;
                for (; t + kGroup < terms || (t + kGroup == terms && !direct); t += kGroup)
                    AccumulateTerms<A, K, kGroup, false, false>(acc, piece, len, k0, &ptrs_[t], &weights_[t], finish);
                if (t < terms)
                    AccumulateTerms<A, K, kGroup, false, true>(acc, piece, len, k0, &ptrs_[t], &weights_[t], finish);
            }
            if (direct && terms > 0) continue;
            if (direct) {
                for (int k = 0; k < len; ++k) piece[k] = finish(acc[k]);
                continue;
            }
            const unsigned char* m = mask_.Row(y) + xa + k0 / C;
            for (int x = 0; x < len / C; ++x)
                if (m[x] != 0)
                    for (int c = 0; c < C; ++c) piece[x * C + c] = finish(acc[x * C + c]);
        }
    }

    template <bool kFirst, bool kLast, class F>
    LUMORA_INLINE void Group(int size, Acc* acc, T* out, int len, std::ptrdiff_t k0, int t, const F finish) {
        if (size == 1)
            AccumulateTerms<A, K, 1, kFirst, kLast>(acc, out, len, k0, &ptrs_[t], &weights_[t], finish);
        else if (size == 2)
            AccumulateTerms<A, K, 2, kFirst, kLast>(acc, out, len, k0, &ptrs_[t], &weights_[t], finish);
        else if (kGroup == 3 || size == 3)
            AccumulateTerms<A, K, 3, kFirst, kLast>(acc, out, len, k0, &ptrs_[t], &weights_[t], finish);
        else if constexpr (kGroup == 6) {
            if (size == 4)
                AccumulateTerms<A, K, 4, kFirst, kLast>(acc, out, len, k0, &ptrs_[t], &weights_[t], finish);
            else if (size == 5)
                AccumulateTerms<A, K, 5, kFirst, kLast>(acc, out, len, k0, &ptrs_[t], &weights_[t], finish);
            else
                AccumulateTerms<A, K, 6, kFirst, kLast>(acc, out, len, k0, &ptrs_[t], &weights_[t], finish);
        }
    }

    // Source row sy, converted and padded, from the cache.
    LUMORA_INLINE const Src* SourceRow(int sy) {
        const int slot = sy % slots_;
        Src* padded = rows_.data() + paddedSamples_ * static_cast<size_t>(slot);
        if (rowInSlot_[static_cast<size_t>(slot)] == sy) return padded;
        rowInSlot_[static_cast<size_t>(slot)] = sy;
        const T* row = RowOf<T>(src_, sy);
        const int left = hx_, right = cx_ - hx_ - 1;
        for (int p = 0; p < left; ++p)
            for (int c = 0; c < C; ++c) padded[static_cast<size_t>(p) * C + c] = static_cast<Src>(row[c]);
        Src* middle = padded + static_cast<size_t>(left) * C;
        const int n = width_ * C;
        for (int k = 0; k < n; ++k) middle[k] = static_cast<Src>(row[k]);
        Src* tail = middle + n;
        const T* last = row + static_cast<size_t>(width_ - 1) * C;
        for (int p = 0; p < right; ++p)
            for (int c = 0; c < C; ++c) tail[static_cast<size_t>(p) * C + c] = static_cast<Src>(last[c]);
        return padded;
    }

    CVxImage& src_;
    CVxImage& dst_;
    const W* kernel_;
    int cx_, cy_, hx_, hy_;
    Rule<K> rule_;
    const AoiMask& mask_;
    int width_, height_;
    size_t paddedSamples_ = 0;
    int slots_ = 1;
    std::vector<Acc> acc_;
    std::vector<Src> rows_;
    std::vector<int> rowInSlot_;
    std::vector<const Src*> ptrs_;
    std::vector<W> weights_;
};

// The 16-bit lanes whole-number weights allow on 8-bit samples, if any.
std::optional<IntSums> Sums16(const int* weights, size_t count) {
    double reach = 0.0;
    bool negative = false;
    for (size_t i = 0; i < count; ++i) {
        reach += std::abs(static_cast<double>(weights[i]));
        negative = negative || weights[i] < 0;
    }
    if (reach * 255.0 < 32768.0) return IntSums::Int16;
    if (!negative && reach * 255.0 < 65536.0) return IntSums::UInt16;
    return std::nullopt;
}

// Whole numbers m and the smallest e <= 24 with kernel[i] = m[i] x 2^-e
// exactly and |m[i]| < 2^16; false when there are none.
bool AsScaledIntegers(const float* kernel, size_t count, std::vector<int>& m, int& e) {
    for (e = 0; e <= 24; ++e) {
        bool whole = true;
        for (size_t i = 0; i < count && whole; ++i) {
            const float v = std::ldexp(kernel[i], e);  // exact: a power-of-two scale of a finite float
            whole = std::isfinite(v) && std::abs(v) < 65536.0f && std::trunc(v) == v;
        }
        if (!whole) continue;
        m.resize(count);
        for (size_t i = 0; i < count; ++i) m[i] = static_cast<int>(std::ldexp(kernel[i], e));
        return true;
    }
    return false;
}

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
    // Extended borders write every sample: without a mask only the rest is copied.
    if (flag == CONVOLUTION_EXTEND && kernel != nullptr && size.cx >= 1 && size.cy >= 1 && divisor != K{} &&
        base.GetAOIImage() == nullptr)
        AssignForOverwrite(src, dest, src.m_nChannel);
    else
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
    const int cx = static_cast<int>(size.cx), cy = static_cast<int>(size.cy);
    // Without extension only rows and columns the whole kernel covers are written.
    const int first = extend ? 0 : cy / 2, end = extend ? src.m_nHeight : src.m_nHeight - cy / 2;
    const std::int64_t workPerRow = static_cast<std::int64_t>(src.m_nWidth) * channels * cx * cy;
    const bool dispatched = DispatchLayout(src, channels, [&]<class T, int C>() {
        if (src.m_nWidth == 0 || src.m_nHeight == 0) return;
        auto run = [&]<IntSums kSums>(const typename Arith<K, T, kSums>::Weight* weights, const Rule<K>& rule) {
            // Each band keeps its own row cache and accumulators.
            ParallelRows(first, end, workPerRow, [&](int y0, int y1) {
                ConvolutionRunner<K, kAbs, T, C, kSums>(src, dest, weights, cx, cy, rule, mask).Run(extend, y0, y1);
            });
        };
        const size_t count = static_cast<size_t>(cx) * static_cast<size_t>(cy);
        const Rule<K> plain{divisor, offset, -1, 1.0f};
        // The kernel under a type named through T: clang checks calls with
        // non-dependent arguments even in a branch this layout discards, and
        // the int and float kernels each have only their own helper.
        const auto* weightsOfT = static_cast<const std::conditional_t<sizeof(T) != 0, K, T>*>(kernel);
        if constexpr (sizeof(T) == 1 && std::is_same_v<K, float>) {
            std::vector<int> whole;
            int e = 0;
            if (AsScaledIntegers(weightsOfT, count, whole, e)) {
                const Rule<K> rule{divisor, offset, divisor == 1.0f ? e : -1, std::ldexp(1.0f, -e)};
                if (const auto sums = Sums16(whole.data(), count); sums == IntSums::Int16) {
                    run.template operator()<IntSums::Int16>(whole.data(), rule);
                    return;
                } else if (sums == IntSums::UInt16) {
                    run.template operator()<IntSums::UInt16>(whole.data(), rule);
                    return;
                }
            }
        } else if constexpr (std::is_same_v<K, int> && !kIsFloatSample<T>) {
            const Rule<K> rule{divisor, offset, divisor > 0 && std::has_single_bit(static_cast<unsigned>(divisor))
                                                    ? std::countr_zero(static_cast<unsigned>(divisor)) : -1, 1.0f};
            if constexpr (sizeof(T) == 1) {
                if (const auto sums = Sums16(weightsOfT, count); sums == IntSums::Int16) {
                    run.template operator()<IntSums::Int16>(kernel, rule);
                    return;
                } else if (sums == IntSums::UInt16) {
                    run.template operator()<IntSums::UInt16>(kernel, rule);
                    return;
                }
            }
            double reach = 0.0;
            for (size_t i = 0; i < count; ++i) reach += std::abs(static_cast<double>(kernel[i]));
            if (reach * kSampleMax<T> < 16777216.0) {
                run.template operator()<IntSums::Float>(kernel, plain);
                return;
            }
        }
        run.template operator()<IntSums::Wrapping32>(kernel, plain);
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
