#include <lumora/arithmetic_processing.h>
#include <lumora/brightness_processing.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "../core/cpu_dispatch.h"
#include "../core/layout.h"
#include "arithmetic.h"
#include "point_support.h"

using namespace lumora::detail;

namespace {

// ---------------------------------------------------------------------------
// The per-sample rules. Every result stays on an 8-bit scale whatever the
// sample type, and the clamps are one-sided on purpose: ADD caps only at 255
// and SUB floors only at 0, so a negative sum wraps in its low 8 bits.
//
// Floating evaluation is in double precision from the float arguments (the
// sum or product of sample and constant, and the 0.5 MUL adds before it
// truncates); single precision would round some sums up to the next whole
// number. Integer constants meet integer samples at their true value, never
// a wrapped 32-bit sum: that is the 32-bit result for every constant whose
// sum or product does not overflow, and the clamp for the rest.

template <class T>
T StoreLow8(std::int32_t value) {
    return static_cast<T>(value & 0xFF);
}

// MUL stores the truncated value itself (0..255, or the conversion's
// INT32_MIN for NaN, whose low bits are 0 in an integer sample).
template <class T>
T StoreTruncated(std::int32_t value) {
    return static_cast<T>(value);
}

// The rules as stated, for float samples and float constants; integer
// samples with integer constants use the exact fast forms below.
template <ConstantOp Op, bool FloatConstant, class T>
T Reference(T p, std::int64_t ci, float cf) {
    const double c = FloatConstant ? static_cast<double>(cf) : static_cast<double>(ci);
    const double v = static_cast<double>(p);
    if constexpr (Op == ConstantOp::Add) {
        double s = v + c;
        // The float constant caps anything not at most 255 (NaN too); the
        // integer constant only what is above 255.
        if constexpr (FloatConstant) {
            if (!(s <= 255.0)) s = 255.0;
        } else {
            if (s > 255.0) s = 255.0;
        }
        return StoreLow8<T>(TruncToInt32(s));
    } else if constexpr (Op == ConstantOp::Sub) {
        double s = v - c;
        if (s < 0.0) s = 0.0;
        return StoreLow8<T>(TruncToInt32(s));
    } else {
        double s = v * c + 0.5;
        if (s > 255.0) s = 255.0;
        if (s < 0.0) s = 0.0;
        return StoreTruncated<T>(TruncToInt32(s));
    }
}

// ---------------------------------------------------------------------------
// Fast forms for integer samples. Each is exact for the whole sample range of
// its type; the constant is first reduced to one that gives the same result
// for every sample and keeps the per-sample arithmetic inside a narrow lane.

enum class KernelKind { AddCap, AddFloor, MulCap, FixedPoint, Table };

struct Kernel {
    KernelKind kind = KernelKind::Table;
    std::int32_t k = 0;   // AddCap / AddFloor / MulCap constant
    std::uint16_t m = 0;  // FixedPoint: r = min(255, (p * m + b) >> shift)
    std::uint32_t b = 0;
    int shift = 16;
};

// s = min(p + k, 255), low 8 bits stored. Constants of 255 and above cap every
// sample; constants below -(max + 1) never reach the cap, so only their low
// 8 bits matter and they are moved next to -(max + 1).
template <class T>
std::int32_t ReduceAddCap(std::int64_t c) {
    constexpr std::int64_t kMax = std::numeric_limits<T>::max();
    if (c >= 255) return 255;
    if (c < -(kMax + 1)) return static_cast<std::int32_t>(-(kMax + 1) - 256 + (c & 0xFF));
    return static_cast<std::int32_t>(c);
}

// s = max(p + k, 0), low 8 bits stored. Non-negative constants never reach
// the floor, so their low 8 bits are enough; constants of -max and below
// floor every sample.
template <class T>
std::int32_t ReduceAddFloor(std::int64_t c) {
    constexpr std::int64_t kMax = std::numeric_limits<T>::max();
    if (c >= 0) return static_cast<std::int32_t>(c & 0xFF);
    if (c <= -kMax) return static_cast<std::int32_t>(-kMax);
    return static_cast<std::int32_t>(c);
}

// p x c + 0.5 truncated and clamped to 0..255 is min(p x c, 255) for a
// non-negative whole product and 0 for a negative one.
std::int32_t ReduceMulCap(std::int64_t c) { return static_cast<std::int32_t>(std::clamp<std::int64_t>(c, 0, 255)); }

template <class T>
Kernel IntegerKernel(ConstantOp op, std::int64_t c) {
    switch (op) {
        case ConstantOp::Add: return {KernelKind::AddCap, ReduceAddCap<T>(c)};
        case ConstantOp::Sub: return {KernelKind::AddFloor, ReduceAddFloor<T>(-c)};
        case ConstantOp::Mul: break;
    }
    return {KernelKind::MulCap, ReduceMulCap(c)};
}

// On 8-bit samples both one-sided clamps reduce to whole-byte operations, so
// sixteen samples go through one vector instead of eight widened ones. With
// the reduced constant k (-512 < k <= 255):
// - the cap with k >= 0 is the saturating byte add min(p + k, 255);
// - the cap with k < 0 is never reached (p + k <= 254), so the stored low
//   8 bits are the wrapping byte add p + (k mod 256);
// - the floor with k >= 0 is never reached, so again the wrapping add;
// - the floor with k < 0 (k >= -255) is the saturating subtract max(p - |k|, 0).
// The saturating forms are written as min/max against a bound so that they
// stay one compare-and-select per vector for the compiler.
template <class T, int C>
void ApplyByteAdd(CVxImage& image, const Region& region, const Kernel& kernel) {
    const bool cap = kernel.kind == KernelKind::AddCap;
    const std::uint8_t low = static_cast<std::uint8_t>(kernel.k & 0xFF);
    if (cap && kernel.k >= 0) {
        const std::uint8_t top = static_cast<std::uint8_t>(255 - kernel.k);
        MapRegion<T, C>(image, region, [low, top](T p) { return static_cast<T>(std::min<T>(p, top) + low); });
    } else if (!cap && kernel.k < 0) {
        const std::uint8_t floor = static_cast<std::uint8_t>(-kernel.k);
        MapRegion<T, C>(image, region, [floor](T p) { return static_cast<T>(std::max<T>(p, floor) - floor); });
    } else {
        MapRegion<T, C>(image, region, [low](T p) { return static_cast<T>(p + low); });
    }
}

template <class T, int C>
void ApplyKernel(CVxImage& image, const Region& region, const Kernel& kernel,
                 const std::array<std::uint8_t, 256>& table) {
    // 8-bit sums fit 16-bit lanes, which doubles the samples per vector.
    using Lane = std::conditional_t<sizeof(T) == 1, std::int16_t, std::int32_t>;
    const Lane k = static_cast<Lane>(kernel.k);
    if constexpr (sizeof(T) == 1) {
        if (kernel.kind == KernelKind::AddCap || kernel.kind == KernelKind::AddFloor) {
            ApplyByteAdd<T, C>(image, region, kernel);
            return;
        }
        // The fixed-point form widens every byte to 32 bits; the table it
        // was fitted to gives the same bytes, and AVX2 looks up 32 at a time.
        if (kernel.kind == KernelKind::FixedPoint && CpuHas(Isa::Avx2)) {
            LookUpRegion<T, C>(image, region, table.data());
            return;
        }
    }
    switch (kernel.kind) {
        case KernelKind::AddCap:
            MapRegion<T, C>(image, region, [k](T p) {
                const Lane s = static_cast<Lane>(static_cast<Lane>(p) + k);
                return static_cast<T>((s > 255 ? Lane{255} : s) & 0xFF);
            });
            break;
        case KernelKind::AddFloor:
            MapRegion<T, C>(image, region, [k](T p) {
                const Lane s = static_cast<Lane>(static_cast<Lane>(p) + k);
                return static_cast<T>((s < 0 ? Lane{0} : s) & 0xFF);
            });
            break;
        case KernelKind::MulCap: {
            using Wide = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;
            const Wide f = static_cast<Wide>(kernel.k);
            MapRegion<T, C>(image, region, [f](T p) {
                const Wide s = static_cast<Wide>(static_cast<Wide>(p) * f);
                return static_cast<T>(s > 255 ? Wide{255} : s);
            });
            break;
        }
        case KernelKind::FixedPoint: {
            // A 16 x 16 -> 32-bit product, which SSE2 forms directly.
            const std::uint16_t m = kernel.m;
            const std::uint32_t b = kernel.b;
            const int shift = kernel.shift;
            MapRegion<T, C>(image, region, [m, b, shift](T p) {
                const std::uint32_t s = (static_cast<std::uint32_t>(static_cast<std::uint16_t>(p)) * m + b) >> shift;
                return static_cast<T>(s > 255 ? 255u : s);
            });
            break;
        }
        case KernelKind::Table:
            if constexpr (sizeof(T) == 1) LookUpRegion<T, C>(image, region, table.data());
            break;
    }
}

template <class T>
T RunKernelOnce(const Kernel& kernel, const std::array<std::uint8_t, 256>& table, T p) {
    switch (kernel.kind) {
        case KernelKind::AddCap: return static_cast<T>(std::min<std::int32_t>(p + kernel.k, 255) & 0xFF);
        case KernelKind::AddFloor: return static_cast<T>(std::max<std::int32_t>(p + kernel.k, 0) & 0xFF);
        case KernelKind::MulCap: return static_cast<T>(std::min<std::int32_t>(p * kernel.k, 255));
        case KernelKind::FixedPoint:
            return static_cast<T>(std::min<std::uint32_t>(
                (static_cast<std::uint32_t>(static_cast<std::uint16_t>(p)) * kernel.m + kernel.b) >> kernel.shift, 255));
        case KernelKind::Table: return table[p];
    }
    return p;
}

// For 8-bit samples and a float constant the exact answer of every sample
// value is tabulated first. A table lookup does not vectorise, so the table
// is matched against the fast forms and the first form that reproduces all
// 256 entries is used; the table itself is the fallback.
bool Matches(const Kernel& kernel, const std::array<std::uint8_t, 256>& table) {
    for (int p = 0; p < 256; ++p)
        if (RunKernelOnce<std::uint8_t>(kernel, table, static_cast<std::uint8_t>(p)) != table[p]) return false;
    return true;
}

// r = min(255, (p * m + b) >> shift) with a 16-bit m: the shift is the
// largest that keeps c * 2^shift within 16 bits. For each m near that
// product the offsets b that satisfy all 256 entries form an interval;
// take its low end.
bool FitFixedPoint(float c, const std::array<std::uint8_t, 256>& table, Kernel& out) {
    if (!(c >= 0.0f) || c > 256.0f) return false;
    int shift = 16;
    while (shift > 8 && static_cast<double>(c) * static_cast<double>(std::int64_t{1} << shift) > 65533.0) --shift;
    const std::int64_t one = std::int64_t{1} << shift;
    const auto centre = static_cast<std::int64_t>(static_cast<double>(c) * static_cast<double>(one));
    for (std::int64_t m = std::max<std::int64_t>(centre - 2, 0); m <= std::min<std::int64_t>(centre + 2, 65535); ++m) {
        std::int64_t lo = 0, hi = (std::int64_t{1} << 24) - 1;
        for (std::int64_t p = 0; p < 256; ++p) {
            const std::int64_t t = table[static_cast<size_t>(p)];
            lo = std::max(lo, one * t - p * m);
            if (t < 255) hi = std::min(hi, one * t + one - 1 - p * m);
        }
        if (lo > hi) continue;
        out = Kernel{};
        out.kind = KernelKind::FixedPoint;
        out.m = static_cast<std::uint16_t>(m);
        out.b = static_cast<std::uint32_t>(lo);
        out.shift = shift;
        if (Matches(out, table)) return true;
    }
    return false;
}

template <ConstantOp Op>
Kernel FitFloatKernel(float c, const std::array<std::uint8_t, 256>& table) {
    Kernel kernel;
    // A whole-number neighbour of the constant often gives the same table;
    // a NaN or negative factor gives the all-zero table of MUL(0).
    const double limit = 1e12;
    const double wide = std::isnan(c) ? 0.0 : std::clamp(static_cast<double>(c), -limit, limit);
    for (double whole : {std::floor(wide), std::ceil(wide)}) {
        kernel = IntegerKernel<std::uint8_t>(Op, static_cast<std::int64_t>(whole));
        if (Matches(kernel, table)) return kernel;
    }
    if constexpr (Op == ConstantOp::Mul) {
        if (FitFixedPoint(c, table, kernel)) return kernel;
    }
    return Kernel{};
}

template <ConstantOp Op, bool FloatConstant, class T, int C>
void RunConstant(CVxImage& image, const Region& region, std::int64_t ci, float cf) {
    if constexpr (kIsFloatSample<T> || (FloatConstant && sizeof(T) == 2)) {
        MapRegion<T, C>(image, region, [ci, cf](T p) { return Reference<Op, FloatConstant, T>(p, ci, cf); });
    } else {
        std::array<std::uint8_t, 256> table{};
        Kernel kernel;
        if constexpr (FloatConstant) {
            for (int p = 0; p < 256; ++p)
                table[static_cast<size_t>(p)] = Reference<Op, true, std::uint8_t>(static_cast<std::uint8_t>(p), 0, cf);
            kernel = FitFloatKernel<Op>(cf, table);
        } else {
            kernel = IntegerKernel<T>(Op, ci);
        }
        ApplyKernel<T, C>(image, region, kernel, table);
    }
}

// The constant operations process one, three and four channels of 8-bit
// and 16-bit samples and one-channel float images; other layouts have no
// routine and end with TRUE, unchanged.
template <ConstantOp Op, bool FloatConstant>
int ApplyConstant(CVxImage* image, CRect rect, std::int64_t ci, float cf) {
    if (image == nullptr || !image->IsCreated()) return FALSE;
    const auto region = ReadRegion(rect, image->m_nWidth, image->m_nHeight);
    if (!region) return FALSE;
    const int channels = ModelChannels(*image);
    if (channels < 1 || channels > 4) return FALSE;
    if (SampleKindOf(image->m_nBitsPerSample) == SampleKind::None) return TRUE;
    const bool dispatched = DispatchLayout(*image, channels, [&]<class T, int C>() {
        if constexpr (C != 2 && !(kIsFloatSample<T> && C > 1)) RunConstant<Op, FloatConstant, T, C>(*image, *region, ci, cf);
    });
    return dispatched ? TRUE : FALSE;
}

template <ConstantOp Op>
int ApplyFloatConstant(CVxImage* image, CRect rect, float value) {
    return ApplyConstant<Op, true>(image, rect, 0, value);
}

// ---------------------------------------------------------------------------
// Operations with a second image.

enum class OperandOp { Div, Or };

template <OperandOp Op, class T, int C>
void RunOperand(CVxImage& image, CVxImage& operand, const AnchoredRegion& anchored) {
    const Region& r = anchored.region;
    // The operand is anchored at the rectangle's unclipped corner, which lies
    // at or before the region's; processing stops at the operand's edges.
    const std::int64_t lastY = std::min<std::int64_t>(r.bottom, std::int64_t{anchored.originY} + operand.m_nHeight - 1);
    const std::int64_t lastX = std::min<std::int64_t>(r.right, std::int64_t{anchored.originX} + operand.m_nWidth - 1);
    if (lastX < r.left) return;
    const int count = static_cast<int>(lastX - r.left + 1) * C;
    const auto operandColumn = static_cast<std::ptrdiff_t>(std::int64_t{r.left} - anchored.originX) * C;
    for (int y = r.top; y <= lastY; ++y) {
        T* t = RowOf<T>(image, y) + static_cast<std::ptrdiff_t>(r.left) * C;
        const T* o = RowOf<T>(operand, static_cast<int>(std::int64_t{y} - anchored.originY)) + operandColumn;
        for (int i = 0; i < count; ++i) {
            if constexpr (Op == OperandOp::Or) {
                t[i] = static_cast<T>(t[i] | o[i]);
            } else if constexpr (kIsFloatSample<T>) {
                // A scaling by the operand read as a fraction of 255.
                t[i] = static_cast<T>(static_cast<double>(o[i]) / 255.0 * static_cast<double>(t[i]));
            } else {
                // The +1 keeps the divisor above zero.
                t[i] = static_cast<T>(t[i] / (static_cast<int>(o[i]) + 1));
            }
        }
    }
}

template <OperandOp Op>
int ApplyOperand(CVxImage* image, CVxImage& operand, CRect rect) {
    if (image == nullptr || !image->IsCreated() || !operand.IsCreated()) return FALSE;
    const int channels = ModelChannels(*image);
    if (channels < 1 || channels > 4) return FALSE;
    // An operand of another layout would be read past its rows.
    if (ModelChannels(operand) != channels ||
        SampleKindOf(operand.m_nBitsPerSample) != SampleKindOf(image->m_nBitsPerSample))
        return FALSE;
    const auto anchored = ReadIntersectedRegion(rect, image->m_nWidth, image->m_nHeight);
    if (!anchored) return FALSE;
    if (SampleKindOf(image->m_nBitsPerSample) == SampleKind::None) return TRUE;
    bool operandFits = true;
    const bool dispatched = DispatchLayout(*image, channels, [&]<class T, int C>() {
        if (!HasPixelBlockFor(operand, C, static_cast<int>(sizeof(T)))) {
            operandFits = false;
            return;
        }
        if constexpr (!(Op == OperandOp::Or && kIsFloatSample<T>)) RunOperand<Op, T, C>(*image, operand, *anchored);
    });
    return dispatched && operandFits ? TRUE : FALSE;
}

// The members kept for interface compatibility that do nothing.
int InertAnswer() { return TRUE; }

}  // namespace

namespace lumora::detail {

int ApplyIntegerConstant(CVxImage* image, CRect rect, ConstantOp op, std::int64_t value) {
    switch (op) {
        case ConstantOp::Add: return ApplyConstant<ConstantOp::Add, false>(image, rect, value, 0.0f);
        case ConstantOp::Sub: return ApplyConstant<ConstantOp::Sub, false>(image, rect, value, 0.0f);
        case ConstantOp::Mul: break;
    }
    return ApplyConstant<ConstantOp::Mul, false>(image, rect, value, 0.0f);
}

}  // namespace lumora::detail

CVxArithmeticProcessing::CVxArithmeticProcessing() = default;

CVxArithmeticProcessing::CVxArithmeticProcessing(CVxImage* image) : CVxLumoraBase(image, nullptr) {}

int CVxArithmeticProcessing::ADD(int value, CRect rect) {
    return ApplyIntegerConstant(m_pImage, rect, ConstantOp::Add, value);
}

int CVxArithmeticProcessing::ADD(float value, CRect rect) {
    return ApplyFloatConstant<ConstantOp::Add>(m_pImage, rect, value);
}

int CVxArithmeticProcessing::SUB(int value, CRect rect) {
    return ApplyIntegerConstant(m_pImage, rect, ConstantOp::Sub, value);
}

int CVxArithmeticProcessing::SUB(float value, CRect rect) {
    return ApplyFloatConstant<ConstantOp::Sub>(m_pImage, rect, value);
}

int CVxArithmeticProcessing::MUL(int value, CRect rect) {
    return ApplyIntegerConstant(m_pImage, rect, ConstantOp::Mul, value);
}

int CVxArithmeticProcessing::MUL(float value, CRect rect) {
    return ApplyFloatConstant<ConstantOp::Mul>(m_pImage, rect, value);
}

int CVxArithmeticProcessing::DIV(CVxImage& operand, CRect rect) {
    return ApplyOperand<OperandOp::Div>(m_pImage, operand, rect);
}

int CVxArithmeticProcessing::OR(CVxImage& operand, CRect rect) {
    return ApplyOperand<OperandOp::Or>(m_pImage, operand, rect);
}

int CVxArithmeticProcessing::AND(CVxImage&, CRect) { return InertAnswer(); }
int CVxArithmeticProcessing::NOT(CVxImage&, CRect) { return InertAnswer(); }
int CVxArithmeticProcessing::XOR(CVxImage&, CRect) { return InertAnswer(); }
int CVxArithmeticProcessing::DIV(int, CRect) { return InertAnswer(); }
int CVxArithmeticProcessing::DIV(float, CRect) { return InertAnswer(); }

// ---------------------------------------------------------------------------

CVxBrightnessProcessing::CVxBrightnessProcessing() = default;

CVxBrightnessProcessing::CVxBrightnessProcessing(CVxImage* image) : CVxPointProcessing(image) {}

CVxBrightnessProcessing::~CVxBrightnessProcessing() = default;

// Non-positive values go through SUB because only SUB has a floor; 0 thus
// subtracts nothing. The negation is taken in 64 bits so INT_MIN subtracts
// 2^31 rather than wrapping back to itself.
int CVxBrightnessProcessing::Brightness(int value) {
    const CRect whole(-1, -1, -1, -1);
    if (value < 1) return ApplyIntegerConstant(m_pImage, whole, ConstantOp::Sub, -std::int64_t{value});
    return ApplyIntegerConstant(m_pImage, whole, ConstantOp::Add, value);
}
