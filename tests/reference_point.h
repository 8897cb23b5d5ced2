// Straightforward per-sample rules of the point operations, written from the
// rules themselves, for the tests to compare the fast code with.
#pragma once

#include <algorithm>
#include <climits>

namespace lumora::test {

enum class Op { Add, Sub, Mul };

// x86 truncating conversion: NaN and out-of-range values give INT_MIN.
inline long long Trunc32(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT_MIN;
    return static_cast<long long>(v);
}

// The value sample p becomes under a constant: integer constants on integer
// samples at their true value, everything else in double precision; ADD caps
// above, SUB floors below, MUL clamps both ways; results on the 8-bit scale.
inline double ConstantRule(Op op, bool floatConstant, long long ci, float cf, double p, int bits) {
    const bool floatSample = bits > 16;
    auto low8 = [](long long s) { return static_cast<double>(s & 0xFF); };
    if (!floatConstant && !floatSample) {
        const long long v = static_cast<long long>(p);
        if (op == Op::Add) return low8(std::min(v + ci, 255LL));
        if (op == Op::Sub) return low8(std::max(v - ci, 0LL));
        return static_cast<double>(std::clamp(v * ci, 0LL, 255LL));
    }
    const double c = floatConstant ? cf : static_cast<double>(ci);
    if (op == Op::Add) {
        const double s = p + c;
        return low8(Trunc32((floatConstant ? !(s <= 255) : s > 255) ? 255 : s));
    }
    if (op == Op::Sub) return low8(Trunc32(std::max(p - c, 0.0)));
    double s = p * c + 0.5;
    s = s > 255 ? 255 : s < 0 ? 0 : s;
    return floatSample ? static_cast<float>(Trunc32(s)) : static_cast<unsigned char>(Trunc32(s));
}

}  // namespace lumora::test
