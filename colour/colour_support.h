// Shared pieces of the colour conversions.
#pragma once

#include <climits>
#include <cstdint>
#include <lumora/color_processing.h>
#include "../core/conversion.h"

namespace lumora::colour {

// Double to 32-bit integer toward zero, as the processor's conversion does
// it: a value outside the 32-bit range (or NaN) gives INT_MIN.
inline int TruncateToInt(double v) {
    if (v > -2147483649.0 && v < 2147483648.0) return static_cast<int>(v);
    return INT_MIN;
}

// The low 8 bits of the truncated value: how results without a clamp wrap.
inline std::uint8_t TruncateToByte(double v) { return static_cast<std::uint8_t>(TruncateToInt(v)); }

// The checks every conversion starts with, in their order: both images
// present, same size, then the source's and the destination's model (the
// predicates run only once the earlier checks passed).
template <class SrcOk, class DstOk>
bool ConversionAccepts(CVxImage* src, CVxImage* dest, SrcOk srcOk, DstOk dstOk) {
    return src != nullptr && dest != nullptr && VXCOMPARE_SIZE(src, dest) && srcOk(src) && dstOk(dest);
}

inline bool IsRgbOrRgba(CVxImage* image) { return VXISRGB(image) || VXISRGBA(image); }

}  // namespace lumora::colour

namespace lumora::colour {

// Truncation with the clamp above that several conversions apply: a value
// whose truncation would exceed max gives max (however large it is); below,
// the plain truncation, so negative results wrap when stored.
inline int TruncateClampAbove(double v, int max) { return v >= max + 1.0 ? max : TruncateToInt(v); }

// Runs rule.template operator()<CS, CD>(s, d) over every pixel, for the
// channel counts the images' alpha flags select. TRUE, or FALSE when a block
// is too small for its layout.
template <class TS, int kSrcBase, class TD, int kDstBase, class Rule>
int Convert(CVxImage& src, bool srcAlpha, CVxImage& dst, bool dstAlpha, const Rule& rule) {
    using namespace lumora::detail;
    const bool done = DispatchConversion<TS, kSrcBase, TD, kDstBase>(src, srcAlpha, dst, dstAlpha, [&]<int CS, int CD>() {
        ConvertPixels<TS, CS, TD, CD>(src, dst, [rule](const TS* s, TD* d) LUMORA_INLINE_LAMBDA {
            rule.template operator()<CS, CD>(s, d);
        });
    });
    return done ? TRUE : FALSE;
}

// The same with a rule that takes a whole row: rule.template
// operator()<CS, CD>(s, d, width).
template <class TS, int kSrcBase, class TD, int kDstBase, class RowRule>
int ConvertByRows(CVxImage& src, bool srcAlpha, CVxImage& dst, bool dstAlpha, const RowRule& rule) {
    using namespace lumora::detail;
    const bool done = DispatchConversion<TS, kSrcBase, TD, kDstBase>(src, srcAlpha, dst, dstAlpha, [&]<int CS, int CD>() {
        ConvertRows<TS, TD>(src, dst, [rule](const TS* s, TD* d, int width) LUMORA_INLINE_LAMBDA {
            rule.template operator()<CS, CD>(s, d, width);
        });
    });
    return done ? TRUE : FALSE;
}

}  // namespace lumora::colour
