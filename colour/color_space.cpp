// Conversions between 8-bit RGB / RGBA and the colour spaces CMYK, HSI, HLS,
// HSV (one way) and YCbCr. Alpha is never written; an RGBA source is read
// four bytes per pixel with its alpha ignored.
//
// Arithmetic:
// - CMYK is byte arithmetic: K = min(255 - red, 255 - green, 255 - blue)
//   and C, M, Y lose K; back, each colour is (255 - K) - C (etc.) kept as
//   its low byte, so C + K above 255 wraps.
// - HSI takes its extremes over red and green only (blue left out on
//   purpose) and works in double: I = (max + min) / 510, S = d / (max + min)
//   or d / (510 - (max + min)), and the hue tests red, then green, then blue
//   against max, later ones winning, with one 360 subtracted above 360.
//   Back, I is limited to [0, 0.99f], S to 0.99f above (S <= 0 gives grey
//   truncate(I * 255)); m1, m2 and the hues are doubles.
// - HLS takes max and min over all three colours, ties going to red and
//   blue winning only when strictly larger; values are doubles until stored
//   (computed as float quotients of whole numbers, which give the same
//   floats: see HlsOf8). H = 360 (red maximum with green = blue) is kept. Back, S exactly 0
//   gives grey truncate(L * 255); otherwise the hexcone rule of HSI without
//   its 0.99 limits.
// - HSV divides by 255 in single precision, then works in double from
//   those floats: extremes over red and green only, V = (max + min) * 0.5,
//   S = 1 - (3 / ((r + g) + b)) * min and H = acos(((r - 0.5g) - 0.5b) /
//   sqrt((r - g)^2 + (r - b)(g - b))) in radians, with no correction for
//   b > g.
// - YCbCr forms r = red / 255 (and g, b) in double, then Y = (0.299r +
//   0.587g) + 0.114b, Cb = 0.5b - (0.16874r + 0.33126g), Cr = (0.5r -
//   0.41869g) - 0.08131b in double, each rounded to float when stored. Back,
//   (Y + 1.402Cr) * 255, ((Y - 0.34414Cb) - 0.71414Cr) * 255 and
//   (Y + 1.772Cb) * 255 in double, truncated and clamped to 0..255.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "colour_support.h"

using namespace lumora::colour;
using std::uint8_t;

namespace {

// ---- HSI / HLS hexcone ------------------------------------------------

// One colour of the double-hexcone model from m1, m2 and its hue in degrees
// (moved once into 0..360 when outside), as the low byte of value * 255.
inline uint8_t HexconeByte(double m1, double m2, double hue) {
    if (hue > 360) hue -= 360;
    if (hue < 0) hue += 360;
    double v;
    if (hue < 60)
        v = m1 + (m2 - m1) * hue / 60;
    else if (hue < 180)
        v = m2;
    else if (hue < 240)
        v = m1 + (m2 - m1) * (240 - hue) / 60;
    else
        v = m1;
    return TruncateToByte(v * 255);
}

// Red, green and blue bytes from hue (degrees), lightness and saturation.
inline void HexconeToRgb(double h, double l, double s, uint8_t& r, uint8_t& g, uint8_t& b) {
    const double m2 = l <= 0.5 ? l * (1 + s) : l + s - l * s;
    const double m1 = 2 * l - m2;
    r = HexconeByte(m1, m2, h + 120);
    g = HexconeByte(m1, m2, h);
    b = HexconeByte(m1, m2, h - 120);
}

inline void HsiFromRgb(uint8_t r, uint8_t g, uint8_t b, float& h, float& s, float& i) {
    const int max = std::max(r, g), min = std::min(r, g);
    const double sum = max + min;
    const double intensity = sum / 510;
    i = static_cast<float>(intensity);
    if (max == min) {
        s = 0;
        h = 0;
        return;
    }
    const double d = max - min;
    s = static_cast<float>(intensity <= 0.5 ? d / sum : d / (510 - sum));
    const double rc = (max - r) / d, gc = (max - g) / d, bc = (max - b) / d;
    double hue = 0;
    if (r == max) hue = (bc + 6 - gc) * 60;
    if (g == max) hue = (rc + 2 - bc) * 60;
    if (b == max) hue = (gc + 4 - rc) * 60;
    if (hue > 360) hue -= 360;
    h = static_cast<float>(hue);
}

inline void RgbFromHsi(float h, float s, float i, uint8_t& r, uint8_t& g, uint8_t& b) {
    if (i > 1) i = 0.99f;
    if (i < 0) i = 0;
    if (s <= 0) {
        r = g = b = TruncateToByte(static_cast<double>(i) * 255);
        return;
    }
    if (s > 1) s = 0.99f;
    HexconeToRgb(h, i, s, r, g, b);
}

// H, L, S of eight pixels, one per lane, from whole numbers and single-
// precision divisions. The double rule's every result is a quotient of two
// whole numbers below 2^24 rounded to double and then to float (the hue's
// sum with its offset and the 360 taken off included: they are exact in
// double up to 2^-44, and no such quotient with a divisor up to 510 lies
// that close to a float's rounding boundary without being on it). Rounding
// a quotient of floats to 53 bits first and then to 24 gives the correctly
// rounded float quotient, which one float division gives directly; every
// one of the 2^24 colours was compared against the double rule. Written
// with vector types because gcc does not vectorise the selects by itself.
using Int8 = std::int32_t __attribute__((vector_size(32)));
using Float8 = float __attribute__((vector_size(32)));

LUMORA_INLINE void HlsOf8(Int8 red, Int8 green, Int8 blue, Float8& h, Float8& l, Float8& s) {
    const Int8 greenMax = green > red;
    const Int8 redGreenMax = greenMax ? green : red;
    const Int8 blueMax = blue > redGreenMax;
    const Int8 max = blueMax ? blue : redGreenMax;
    Int8 min = green < red ? green : red;
    min = blue < min ? blue : min;
    const Int8 sum = max + min, delta = max - min;
    const Int8 grey = delta == 0;
    const Int8 divisor = grey ? 1 : delta;
    // L = sum / 510 is at most 0.5 exactly when sum is at most 255.
    const Int8 satDenominator = grey ? 1 : sum <= 255 ? sum : 510 - sum;
    // Red maximum: (G - B) 60 / d + 360; green: (B - R) ... + 120; blue:
    // (R - G) ... + 240; as one quotient n / d, less 360 above 360.
    const Int8 minuend = blueMax ? red : greenMax ? blue : green;
    const Int8 subtrahend = blueMax ? green : greenMax ? red : blue;
    const Int8 offset = blueMax ? 240 : greenMax ? 120 : 360;
    Int8 n = (minuend - subtrahend) * 60 + offset * divisor;
    n = n > 360 * divisor ? n - 360 * divisor : n;
    const Float8 zero = {};
    h = grey ? zero : __builtin_convertvector(n, Float8) / __builtin_convertvector(divisor, Float8);
    l = __builtin_convertvector(sum, Float8) / 510.0f;
    s = grey ? zero : __builtin_convertvector(delta, Float8) / __builtin_convertvector(satDenominator, Float8);
}

inline void HsvFromRgb(uint8_t red, uint8_t green, uint8_t blue, float& h, float& s, float& v) {
    const float r = red / 255.0f, g = green / 255.0f, b = blue / 255.0f;
    const double max = std::max(r, g), min = std::min(r, g);
    v = static_cast<float>((max + min) * 0.5);
    if (r == g && b == g) {
        h = 0;
        s = 0;
        return;
    }
    const double dr = r, dg = g, db = b;
    s = static_cast<float>(1 - (3 / (dr + dg + db)) * min);
    h = static_cast<float>(std::acos((dr - 0.5 * dg - 0.5 * db) / std::sqrt((dr - dg) * (dr - dg) + (dr - db) * (dg - db))));
}

// ---- YCbCr ------------------------------------------------------------

using Double4 = double __attribute__((vector_size(32)));
using Float4 = float __attribute__((vector_size(16)));

// Per byte value q = v / 255, the three terms each colour adds to Y, to
// Cb and to Cr. Negating a term or a sum is exact, so summing
// (red + green) + blue lane by lane gives the written order of all three:
// Cb = (-(0.16874r) + -(0.33126g)) + 0.5b, which is 0.5b - (0.16874r +
// 0.33126g), and Cr = (0.5r + (-0.41869g)) + (-0.08131b).
struct YCbCrTerms {
    Double4 red[256], green[256], blue[256];
};

const YCbCrTerms& YCbCrTable() {
    static const YCbCrTerms table = [] {
        YCbCrTerms t{};
        for (int v = 0; v < 256; ++v) {
            const double q = v / 255.0;
            t.red[v] = Double4{0.299 * q, -(0.16874 * q), 0.5 * q, 0};
            t.green[v] = Double4{0.587 * q, -(0.33126 * q), -(0.41869 * q), 0};
            t.blue[v] = Double4{0.114 * q, 0.5 * q, -(0.08131 * q), 0};
        }
        return t;
    }();
    return table;
}

// A scaled colour as a byte: truncated, clamped to 0..255 (NaN gives 0).
inline uint8_t ClampedByte(double v) {
    if (!(v > 0)) return 0;
    if (v >= 255) return 255;
    return static_cast<uint8_t>(v);
}

// Checks the images and answers FALSE: the conversion is declared without
// an implementation.
template <class SrcOk, class DestOk>
int CheckedWithoutConversion(CVxImage* src, CVxImage* dest, SrcOk srcOk, DestOk destOk) {
    (void)ConversionAccepts(src, dest, srcOk, destOk);
    return FALSE;
}

}  // namespace

// ---- CMYK ---------------------------------------------------------------

int CVxColorProcessing::RGBtoCMYK(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, IsRgbOrRgba, VXISCMYK)) return FALSE;
    return Convert<uint8_t, 3, uint8_t, 4>(*src, VXISRGBA(src), *dest, false, []<int CS, int CD>(const uint8_t* s, uint8_t* d) {
        const uint8_t c = 255 - s[2], m = 255 - s[1], y = 255 - s[0];
        const uint8_t k = std::min(std::min(c, m), y);
        // One 32-bit store per pixel: byte stores would not vectorise.
        const std::uint32_t cmyk = static_cast<std::uint32_t>(c - k) | static_cast<std::uint32_t>(m - k) << 8 |
                                   static_cast<std::uint32_t>(y - k) << 16 | static_cast<std::uint32_t>(k) << 24;
        std::memcpy(d, &cmyk, 4);
    });
}

int CVxColorProcessing::CMYKtoRGB(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, VXISCMYK, IsRgbOrRgba)) return FALSE;
    return Convert<uint8_t, 4, uint8_t, 3>(*src, false, *dest, VXISRGBA(dest), []<int CS, int CD>(const uint8_t* s, uint8_t* d) {
        const uint8_t white = 255 - s[3];
        d[2] = white - s[0];
        d[1] = white - s[1];
        d[0] = white - s[2];
    });
}

// ---- HSI ----------------------------------------------------------------

void CVxColorProcessing::RGBtoHSI(unsigned char r, unsigned char g, unsigned char b, float& h, float& s, float& i) {
    HsiFromRgb(r, g, b, h, s, i);
}

void CVxColorProcessing::HSItoRGB(float h, float s, float i, unsigned char& r, unsigned char& g, unsigned char& b) {
    RgbFromHsi(h, s, i, r, g, b);
}

int CVxColorProcessing::RGBtoHSI(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, IsRgbOrRgba, VXISHSI)) return FALSE;
    return Convert<uint8_t, 3, float, 3>(*src, VXISRGBA(src), *dest, false, []<int CS, int CD>(const uint8_t* s, float* d) {
        HsiFromRgb(s[2], s[1], s[0], d[0], d[1], d[2]);
    });
}

int CVxColorProcessing::HSItoRGB(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, VXISHSI, IsRgbOrRgba)) return FALSE;
    return Convert<float, 3, uint8_t, 3>(*src, false, *dest, VXISRGBA(dest), []<int CS, int CD>(const float* s, uint8_t* d) {
        RgbFromHsi(s[0], s[1], s[2], d[2], d[1], d[0]);
    });
}

// ---- HLS ----------------------------------------------------------------

int CVxColorProcessing::RGBtoHLS(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, IsRgbOrRgba, VXISHLS)) return FALSE;
    // Chunks of a row are spread into arrays of whole numbers first, so that
    // the arithmetic runs on whole vectors.
    return ConvertByRows<uint8_t, 3, float, 3>(
        *src, VXISRGBA(src), *dest, false, []<int CS, int CD>(const uint8_t* s, float* d, int width) LUMORA_INLINE_LAMBDA {
            constexpr int kChunk = 64;
            std::int32_t red[kChunk] = {}, green[kChunk] = {}, blue[kChunk] = {};
            float h[kChunk], l[kChunk], sat[kChunk];
            for (int x0 = 0; x0 < width; x0 += kChunk) {
                const int n = std::min(kChunk, width - x0);
                for (int i = 0; i < n; ++i) {
                    const uint8_t* p = s + static_cast<std::ptrdiff_t>(x0 + i) * CS;
                    red[i] = p[2], green[i] = p[1], blue[i] = p[0];
                }
                for (int i = 0; i < kChunk; i += 8) {
                    Int8 r, g, b;
                    Float8 hue, lightness, saturation;
                    std::memcpy(&r, red + i, sizeof r), std::memcpy(&g, green + i, sizeof g), std::memcpy(&b, blue + i, sizeof b);
                    HlsOf8(r, g, b, hue, lightness, saturation);
                    std::memcpy(h + i, &hue, sizeof hue), std::memcpy(l + i, &lightness, sizeof lightness),
                        std::memcpy(sat + i, &saturation, sizeof saturation);
                }
                for (int i = 0; i < n; ++i) {
                    float* q = d + static_cast<std::ptrdiff_t>(x0 + i) * CD;
                    q[0] = h[i], q[1] = l[i], q[2] = sat[i];
                }
            }
        });
}

int CVxColorProcessing::HLStoRGB(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, VXISHLS, IsRgbOrRgba)) return FALSE;
    return Convert<float, 3, uint8_t, 3>(*src, false, *dest, VXISRGBA(dest), []<int CS, int CD>(const float* s, uint8_t* d) {
        const double h = s[0], l = s[1], sat = s[2];
        if (sat == 0)
            d[0] = d[1] = d[2] = TruncateToByte(l * 255);
        else
            HexconeToRgb(h, l, sat, d[2], d[1], d[0]);
    });
}

// ---- HSV ----------------------------------------------------------------

void CVxColorProcessing::RGBtoHSV(unsigned char r, unsigned char g, unsigned char b, float& h, float& s, float& v) {
    HsvFromRgb(r, g, b, h, s, v);
}

int CVxColorProcessing::RGBtoHSV(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, IsRgbOrRgba, VXISHSV)) return FALSE;
    return Convert<uint8_t, 3, float, 3>(*src, VXISRGBA(src), *dest, false, []<int CS, int CD>(const uint8_t* s, float* d) {
        HsvFromRgb(s[2], s[1], s[0], d[0], d[1], d[2]);
    });
}

int CVxColorProcessing::HSVtoRGB(CVxImage* src, CVxImage* dest) {
    return CheckedWithoutConversion(src, dest, VXISHSV, IsRgbOrRgba);
}

// ---- YCbCr --------------------------------------------------------------

int CVxColorProcessing::RGBtoYCbCr(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, IsRgbOrRgba, VXISYCbCr)) return FALSE;
    const YCbCrTerms& t = YCbCrTable();
    // Each pixel stores four floats, the fourth overwritten by the next
    // pixel; the last of a row stores three.
    return ConvertByRows<uint8_t, 3, float, 3>(
        *src, VXISRGBA(src), *dest, false, [&t]<int CS, int CD>(const uint8_t* s, float* d, int width) LUMORA_INLINE_LAMBDA {
            auto pixel = [&t](const uint8_t* p) LUMORA_INLINE_LAMBDA {
                return __builtin_convertvector((t.red[p[2]] + t.green[p[1]]) + t.blue[p[0]], Float4);
            };
            for (int x = 0; x + 1 < width; ++x) {
                const Float4 out = pixel(s + static_cast<std::ptrdiff_t>(x) * CS);
                std::memcpy(d + static_cast<std::ptrdiff_t>(x) * CD, &out, sizeof out);
            }
            if (width > 0) {
                const Float4 out = pixel(s + static_cast<std::ptrdiff_t>(width - 1) * CS);
                std::memcpy(d + static_cast<std::ptrdiff_t>(width - 1) * CD, &out, 3 * sizeof(float));
            }
        });
}

int CVxColorProcessing::YCbCrtoRGB(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, VXISYCbCr, IsRgbOrRgba)) return FALSE;
    return Convert<float, 3, uint8_t, 3>(*src, false, *dest, VXISRGBA(dest), []<int CS, int CD>(const float* s, uint8_t* d) {
        const double y = s[0], cb = s[1], cr = s[2];
        d[2] = ClampedByte((y + 1.402 * cr) * 255);
        d[1] = ClampedByte((y - 0.34414 * cb - 0.71414 * cr) * 255);
        d[0] = ClampedByte((y + 1.772 * cb) * 255);
    });
}

// ---- Declared spaces without a conversion --------------------------------

int CVxColorProcessing::RGBtoXYZ(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, IsRgbOrRgba, VXISXYZ); }
int CVxColorProcessing::XYZtoRGB(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, VXISXYZ, IsRgbOrRgba); }
int CVxColorProcessing::RGBtoYUV(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, IsRgbOrRgba, VXISYUV); }
int CVxColorProcessing::YUVtoRGB(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, VXISYUV, IsRgbOrRgba); }
int CVxColorProcessing::RGBtoYIQ(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, IsRgbOrRgba, VXISYIQ); }
int CVxColorProcessing::YIQtoRGB(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, VXISYIQ, IsRgbOrRgba); }
int CVxColorProcessing::RGBtoLUV(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, IsRgbOrRgba, VXISLUV); }
int CVxColorProcessing::LUVtoRGB(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, VXISLUV, IsRgbOrRgba); }
int CVxColorProcessing::RGBtoLab(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, IsRgbOrRgba, VXISLab); }
int CVxColorProcessing::LabtoRGB(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, VXISLab, IsRgbOrRgba); }
int CVxColorProcessing::RGBtoLOGL(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, IsRgbOrRgba, VXISLOGL); }
int CVxColorProcessing::LOGLtoRGB(CVxImage* src, CVxImage* dest) { return CheckedWithoutConversion(src, dest, VXISLOGL, IsRgbOrRgba); }
int CVxColorProcessing::RGBtoLOGLUV(CVxImage* src, CVxImage* dest) {
    return CheckedWithoutConversion(src, dest, IsRgbOrRgba, VXISLOGLUV);
}
int CVxColorProcessing::LOGLUVtoRGB(CVxImage* src, CVxImage* dest) {
    return CheckedWithoutConversion(src, dest, VXISLOGLUV, IsRgbOrRgba);
}
