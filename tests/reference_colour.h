// Straightforward per-pixel forms of the colour-space conversions that the
// library computes a faster way (branch-free HLS, tabulated YCbCr).
#pragma once

#include <cstdint>

namespace lumora::test {

// H, L, S of 8-bit red, green, blue, as the rules read.
inline void ReferenceHls(double r, double g, double b, float out[3]) {
    double max = r, min = r;
    int which = 0;
    if (g > max) max = g, which = 1;
    if (b > max) max = b, which = 2;
    if (g < min) min = g;
    if (b < min) min = b;
    if (max == min) {
        out[0] = 0, out[1] = static_cast<float>(min / 255), out[2] = 0;
        return;
    }
    const double l = (max + min) / 510;
    const double s = l <= 0.5 ? (max - min) / (max + min) : (max - min) / (510 - max - min);
    double h = which == 0 ? (g - b) * 60 / (max - min) + 360
             : which == 1 ? (b - r) * 60 / (max - min) + 120
                          : (r - g) * 60 / (max - min) + 240;
    if (h > 360) h -= 360;
    out[0] = static_cast<float>(h), out[1] = static_cast<float>(l), out[2] = static_cast<float>(s);
}

inline void ReferenceYCbCr(std::uint8_t red, std::uint8_t green, std::uint8_t blue, float out[3]) {
    const double r = red / 255.0, g = green / 255.0, b = blue / 255.0;
    out[0] = static_cast<float>(0.299 * r + 0.587 * g + 0.114 * b);
    out[1] = static_cast<float>(0.5 * b - (0.16874 * r + 0.33126 * g));
    out[2] = static_cast<float>(0.5 * r - 0.41869 * g - 0.08131 * b);
}

}  // namespace lumora::test
