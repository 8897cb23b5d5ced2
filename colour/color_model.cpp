// Conversions between the storage models of an image, and the two
// dispatchers that reach 8-bit colour from any model.
//
// Arithmetic, exactly as each rule is kept:
// - Float expressions are evaluated in double from the float arguments, in
//   the written order: RGBtoGray is truncate(((red*wr + green*wg) + blue*wb)
//   + 0.5), clamped above to 255 and not below (a negative result keeps its
//   low byte); RGBtoGray16 multiplies that sum by 2^(b-8) before adding 0.5
//   and clamps above to 2^b - 1 (low 16 bits below).
// - RGBtoBitmap uses the single-precision weights 0.212671f, 0.71516f and
//   0.072169f widened to double.
// - GraytoRGB first forms g = (float)(grey / (double)(float)(2^b - 1) * 255)
//   with b the source's bits per sample; each channel is then
//   truncate(g * w + 0.5), low byte. It depends on the grey byte only, so it
//   is tabulated per call.
// - Shifts move samples between bit widths without rounding; results are
//   stored as the low byte (or low 16 bits) of the shifted value.
//
// The "RGB" side of a conversion is read and written as 8-bit samples
// whatever the image's bits per sample (the predicates accept any width);
// the block guard keeps every access inside the image.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "colour_support.h"

#ifdef LUMORA_HAVE_AVX2_COPY
#include <immintrin.h>
#endif

using namespace lumora::colour;
using std::uint16_t;
using std::uint8_t;

namespace {

bool IsGrayOrGrayA(CVxImage* image) { return VXISGRAY(image) || VXISGRAYA(image); }
bool IsGray16OrGrayA16(CVxImage* image) { return VXISGRAY16(image) || VXISGRAYA16(image); }
bool IsRgb16OrRgba16(CVxImage* image) { return VXISRGB16(image) || VXISRGBA16(image); }

// A shift by the image's bits per sample minus 8, where the model test has
// already limited the bits to 9..16.
int ShiftFrom8(const CVxImage& image) { return image.m_nBitsPerSample - 8; }

// The stored layout of an RGB or RGBA image with fewer than 8 significant
// bits per sample, chosen from the green entry of its bit table: either four
// bytes per pixel with the image's bits per sample for colour and entry 3
// for alpha, or three bytes per pixel with entries 0..2. False for a table
// the layouts do not cover, and for a bit count outside 1..8.
struct Rgb2bLayout {
    int channels = 3;
    int bits[4] = {0, 0, 0, 0};
};

bool FindRgb2bLayout(CVxImage& image, Rgb2bLayout& out) {
    const int* table = image.m_pBitsPerSampleEx;
    if (table == nullptr) return false;
    const int green = table[1], bitsPerSample = image.m_nBitsPerSample;
    bool fourBytes;
    if (green == 4 || green == 5)
        fourBytes = VXISRGBA(&image) != 0;
    else if (green == 6)
        fourBytes = false;
    else if (bitsPerSample < 6)
        fourBytes = VXISRGBA(&image) != 0;
    else
        return false;
    if (fourBytes)
        out = {4, {bitsPerSample, bitsPerSample, bitsPerSample, table[3]}};
    else
        out = {3, {table[0], table[1], table[2], 0}};
    for (int c = 0; c < out.channels; ++c)
        if (out.bits[c] < 1 || out.bits[c] > 8) return false;
    return true;
}

bool IsRgb2b(CVxImage* image) { return IsRgbOrRgba(image) && image->m_nBitsPerSample < 8; }

// 255 for a set Bitmap byte (any non-zero value), 0 otherwise.
template <class T>
T SetOrClear(uint8_t bit, T set) {
    return bit != 0 ? set : T{0};
}

}  // namespace

CVxColorProcessing::CVxColorProcessing() = default;

CVxColorProcessing::CVxColorProcessing(CVxImage* image) : CVxLumoraBase(image) {}

int CVxColorProcessing::RGBtoRGBA(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, VXISRGB, VXISRGBA)) return FALSE;
    return Convert<uint8_t, 3, uint8_t, 3>(*src, false, *dest, true, []<int CS, int CD>(const uint8_t* s, uint8_t* d) {
        for (int c = 0; c < 3; ++c) d[c] = s[c];
    });
}

int CVxColorProcessing::RGBAtoRGB(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, VXISRGBA, VXISRGB)) return FALSE;
    return Convert<uint8_t, 3, uint8_t, 3>(*src, true, *dest, false, []<int CS, int CD>(const uint8_t* s, uint8_t* d) {
        for (int c = 0; c < 3; ++c) d[c] = s[c];
    });
}

int CVxColorProcessing::RGBtoRGB16(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, IsRgbOrRgba, IsRgb16OrRgba16)) return FALSE;
    const int shift = ShiftFrom8(*dest);
    return Convert<uint8_t, 3, uint16_t, 3>(*src, VXISRGBA(src), *dest, VXISRGBA16(dest),
                                            [shift]<int CS, int CD>(const uint8_t* s, uint16_t* d) {
                                                for (int c = 0; c < 3; ++c) d[c] = static_cast<uint16_t>(s[c] << shift);
                                            });
}

int CVxColorProcessing::RGB16toRGB(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, IsRgb16OrRgba16, IsRgbOrRgba)) return FALSE;
    const int shift = ShiftFrom8(*src);
    return Convert<uint16_t, 3, uint8_t, 3>(*src, VXISRGBA16(src), *dest, VXISRGBA(dest),
                                            [shift]<int CS, int CD>(const uint16_t* s, uint8_t* d) {
                                                for (int c = 0; c < 3; ++c) d[c] = static_cast<uint8_t>(s[c] >> shift);
                                            });
}

// Each sample loses (source bits - channel bits) low bits. A source whose
// bits per sample is below a channel's bit count, or 32 or more above it,
// has no such shift and is refused.
int CVxColorProcessing::RGBtoRGB2B(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, IsRgbOrRgba, IsRgb2b)) return FALSE;
    Rgb2bLayout layout;
    if (!FindRgb2bLayout(*dest, layout)) return FALSE;
    const bool alpha = VXISRGBA(src) && layout.channels == 4;
    int shift[4] = {0, 0, 0, 0};
    for (int c = 0; c < (alpha ? 4 : 3); ++c) {
        shift[c] = src->m_nBitsPerSample - layout.bits[c];
        if (shift[c] < 0 || shift[c] > 31) return FALSE;
    }
    return Convert<uint8_t, 3, uint8_t, 3>(*src, VXISRGBA(src), *dest, layout.channels == 4,
                                           [shift]<int CS, int CD>(const uint8_t* s, uint8_t* d) {
                                               for (int c = 0; c < 3; ++c) d[c] = static_cast<uint8_t>(s[c] >> shift[c]);
                                               if constexpr (CS == 4 && CD == 4) d[3] = static_cast<uint8_t>(s[3] >> shift[3]);
                                           });
}

// value / (2^k - 1) * 255 truncated depends on the byte only: one table per
// channel, built for the channel's k.
int CVxColorProcessing::RGB2BtoRGB(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, IsRgb2b, IsRgbOrRgba)) return FALSE;
    Rgb2bLayout layout;
    if (!FindRgb2bLayout(*src, layout)) return FALSE;
    struct Tables {
        uint8_t channel[4][256];
    } tables{};
    for (int c = 0; c < layout.channels; ++c) {
        const double top = std::ldexp(1.0, layout.bits[c]) - 1.0;
        for (int v = 0; v < 256; ++v) tables.channel[c][v] = TruncateToByte(v / top * 255.0);
    }
    return Convert<uint8_t, 3, uint8_t, 3>(*src, layout.channels == 4, *dest, VXISRGBA(dest),
                                           [&tables]<int CS, int CD>(const uint8_t* s, uint8_t* d) {
                                               for (int c = 0; c < 3; ++c) d[c] = tables.channel[c][s[c]];
                                               if constexpr (CS == 4 && CD == 4) d[3] = tables.channel[3][s[3]];
                                           });
}

namespace {

// The grey sum in whole numbers, for weights where every double step of
// ((red*wr + green*wg) + blue*wb) + 0.5 is exact: non-negative finite
// weights that are all whole multiples of 2^-e with every product and sum
// below 2^53 * 2^-e. Then the truncated result is (S + 2^(e-1)) >> e with
// S = red*Wr + green*Wg + blue*Wb, Wc = wc * 2^e, which is computed in 32-bit
// lanes by splitting each W at bit k: the low parts' sum carries into the
// high parts' sum, and the high sum is shifted by e - k. That is the same
// number as the double rule gives, at twice the lanes per vector.
struct WholeGrayWeights {
    std::uint32_t low[3], high[3], halfLow, halfHigh;
    int k, shift;
    bool vector;  // every part fits a signed 16-bit factor
};

bool FindWholeGrayWeights(float wr, float wg, float wb, WholeGrayWeights& out) {
    const float weight[3] = {wb, wg, wr};  // by byte
    int e = 1;
    for (float w : weight) {
        if (!(w >= 0) || !std::isfinite(w)) return false;
        if (w > 0) e = std::max(e, 23 - std::ilogb(w));
    }
    if (e > 46) return false;
    const int k = std::min(15, e);
    const std::uint64_t lowMask = (std::uint64_t{1} << k) - 1, half = std::uint64_t{1} << (e - 1);
    std::uint64_t lowMax = half & lowMask, highMax = half >> k;
    for (int c = 0; c < 3; ++c) {
        const double scaled = std::ldexp(weight[c], e);  // whole: see the exponent above
        if (scaled >= 134217728.0) return false;         // 2^27: products and sums stay below 2^53
        const auto whole = static_cast<std::uint64_t>(scaled);
        out.low[c] = static_cast<std::uint32_t>(whole & lowMask);
        out.high[c] = static_cast<std::uint32_t>(whole >> k);
        lowMax += 255 * std::uint64_t{out.low[c]};
        highMax += 255 * std::uint64_t{out.high[c]};
    }
    highMax += lowMax >> k;
    if (lowMax > UINT32_MAX || highMax > UINT32_MAX) return false;
    out.halfLow = static_cast<std::uint32_t>(half & lowMask);
    out.halfHigh = static_cast<std::uint32_t>(half >> k);
    out.vector = out.halfHigh < 0x8000 && std::max({out.high[0], out.high[1], out.high[2]}) < 0x8000;
    out.k = k;
    out.shift = e - k;
    return true;
}

LUMORA_INLINE uint8_t WholeGrey(const uint8_t* s, const WholeGrayWeights& w) {
    const std::uint32_t low = s[0] * w.low[0] + s[1] * w.low[1] + s[2] * w.low[2] + w.halfLow;
    const std::uint32_t high = s[0] * w.high[0] + s[1] * w.high[1] + s[2] * w.high[2] + w.halfHigh + (low >> w.k);
    const std::uint32_t grey = high >> w.shift;
    return static_cast<uint8_t>(grey > 255 ? 255 : grey);
}

#ifdef LUMORA_HAVE_AVX2_COPY
#define LUMORA_AVX2 __attribute__((target("avx2")))

// The weights as 16-bit pairs, and the shuffles that spread four pixels of
// CS bytes in each 128-bit half into pairs (blue, green) and (red, 0).
struct GreyVectors {
    __m256i blueGreenMask, redMask, one, lowBG, lowR, highBG, highR, top;
    __m128i k, shift;
};

template <int CS>
LUMORA_AVX2 GreyVectors MakeGreyVectors(const WholeGrayWeights& w) {
    alignas(32) std::int8_t blueGreen[32], red[32];
    for (int half = 0; half < 2; ++half)
        for (int i = 0; i < 4; ++i) {
            std::int8_t* bg = blueGreen + 16 * half + 4 * i;
            std::int8_t* r = red + 16 * half + 4 * i;
            bg[0] = static_cast<std::int8_t>(i * CS), bg[1] = -128, bg[2] = static_cast<std::int8_t>(i * CS + 1), bg[3] = -128;
            r[0] = static_cast<std::int8_t>(i * CS + 2), r[1] = -128, r[2] = -128, r[3] = -128;
        }
    const auto pair = [](std::uint32_t a, std::uint32_t b) { return static_cast<int>(a | b << 16); };
    return GreyVectors{_mm256_load_si256(reinterpret_cast<const __m256i*>(blueGreen)),
                       _mm256_load_si256(reinterpret_cast<const __m256i*>(red)),
                       _mm256_set1_epi32(pair(0, 1)),
                       _mm256_set1_epi32(pair(w.low[0], w.low[1])),
                       _mm256_set1_epi32(pair(w.low[2], w.halfLow)),
                       _mm256_set1_epi32(pair(w.high[0], w.high[1])),
                       _mm256_set1_epi32(pair(w.high[2], w.halfHigh)),
                       _mm256_set1_epi32(255),
                       _mm_cvtsi32_si128(w.k),
                       _mm_cvtsi32_si128(w.shift)};
}

// Eight greys as 32-bit lanes: pixels 0-3 in the low half, 4-7 in the high.
// One multiply-add of pairs gives blue Wb + green Wg, another red Wr + half,
// for the low and for the high weight parts: the scalar sums, lane by lane.
template <int CS>
LUMORA_AVX2 inline __m256i EightGreys(const uint8_t* p, const GreyVectors& c) {
    const __m256i v = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(p + 4 * CS), reinterpret_cast<const __m128i*>(p));
    const __m256i bg = _mm256_shuffle_epi8(v, c.blueGreenMask);
    const __m256i r1 = _mm256_or_si256(_mm256_shuffle_epi8(v, c.redMask), c.one);
    const __m256i low = _mm256_add_epi32(_mm256_madd_epi16(bg, c.lowBG), _mm256_madd_epi16(r1, c.lowR));
    __m256i high = _mm256_add_epi32(_mm256_madd_epi16(bg, c.highBG), _mm256_madd_epi16(r1, c.highR));
    high = _mm256_add_epi32(high, _mm256_srl_epi32(low, c.k));
    return _mm256_min_epu32(_mm256_srl_epi32(high, c.shift), c.top);
}

// Sixteen pixels a step; needs every weight part below 2^15 (signed 16-bit
// factors). Returns the pixels done: the last few are left to the caller,
// since a step over three-byte pixels reads four bytes past them.
template <int CS>
LUMORA_AVX2 int WholeGreyRowAvx2(const uint8_t* s, uint8_t* d, int width, const WholeGrayWeights& w) {
    const GreyVectors c = MakeGreyVectors<CS>(w);
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    const int steps = (width * CS - (CS == 3 ? 4 : 0)) / (16 * CS);
    for (int i = 0; i < steps; ++i) {
        const uint8_t* p = s + static_cast<std::ptrdiff_t>(i) * 16 * CS;
        // After the packs, dwords 0 and 4 hold pixels 0-3 and 4-7, dwords 1
        // and 5 pixels 8-11 and 12-15.
        const __m256i words = _mm256_packus_epi32(EightGreys<CS>(p, c), EightGreys<CS>(p + 8 * CS, c));
        const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_packus_epi16(words, words), order);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16 * i), _mm256_castsi256_si128(bytes));
    }
    return steps * 16;
}
#endif

// The pixels of a row the vector path converts, from the left.
template <int CS>
LUMORA_INLINE int WholeGreyRowVector(const uint8_t* s, uint8_t* d, int width, const WholeGrayWeights& w) {
#ifdef LUMORA_HAVE_AVX2_COPY
    if (w.vector && lumora::detail::CpuHas(lumora::detail::Isa::Avx2)) return WholeGreyRowAvx2<CS>(s, d, width, w);
#endif
    (void)s, (void)d, (void)width, (void)w;
    return 0;
}

}  // namespace

int CVxColorProcessing::RGBtoGray(CVxImage* src, CVxImage* dest, float wr, float wg, float wb) {
    if (!ConversionAccepts(src, dest, IsRgbOrRgba, IsGrayOrGrayA)) return FALSE;
    const bool srcAlpha = VXISRGBA(src), destAlpha = VXISGRAYA(dest);
    WholeGrayWeights w;
    if (FindWholeGrayWeights(wr, wg, wb, w))
        return ConvertByRows<uint8_t, 3, uint8_t, 1>(
            *src, srcAlpha, *dest, destAlpha, [w]<int CS, int CD>(const uint8_t* s, uint8_t* d, int width) LUMORA_INLINE_LAMBDA {
                int x = 0;
                if constexpr (CD == 1) x = WholeGreyRowVector<CS>(s, d, width, w);
                for (; x < width; ++x) {
                    const uint8_t* p = s + static_cast<std::ptrdiff_t>(x) * CS;
                    d[x * CD] = WholeGrey(p, w);
                    if constexpr (CS == 4 && CD == 2) d[x * CD + 1] = p[3];
                }
            });
    const double r = wr, g = wg, b = wb;
    return Convert<uint8_t, 3, uint8_t, 1>(*src, srcAlpha, *dest, destAlpha, [r, g, b]<int CS, int CD>(const uint8_t* s, uint8_t* d) {
        const double sum = s[2] * r + s[1] * g + s[0] * b + 0.5;
        d[0] = static_cast<uint8_t>(TruncateClampAbove(sum, 255));
        if constexpr (CS == 4 && CD == 2) d[1] = s[3];
    });
}

int CVxColorProcessing::RGBtoGray16(CVxImage* src, CVxImage* dest, float wr, float wg, float wb) {
    if (!ConversionAccepts(src, dest, IsRgbOrRgba, IsGray16OrGrayA16)) return FALSE;
    const double r = wr, g = wg, b = wb;
    const int shift = ShiftFrom8(*dest);
    const double scale = 1 << shift;
    const int max = (1 << dest->m_nBitsPerSample) - 1;
    return Convert<uint8_t, 3, uint16_t, 1>(
        *src, VXISRGBA(src), *dest, VXISGRAYA16(dest), [=]<int CS, int CD>(const uint8_t* s, uint16_t* d) {
            const double value = (s[2] * r + s[1] * g + s[0] * b) * scale + 0.5;
            d[0] = static_cast<uint16_t>(TruncateClampAbove(value, max));
            if constexpr (CS == 4 && CD == 2) d[1] = static_cast<uint16_t>(s[3] << shift);
        });
}

int CVxColorProcessing::GraytoRGB(CVxImage* src, CVxImage* dest, float wr, float wg, float wb) {
    if (!ConversionAccepts(src, dest, IsGrayOrGrayA, IsRgbOrRgba)) return FALSE;
    const double top = static_cast<float>(std::ldexp(1.0, src->m_nBitsPerSample) - 1.0);
    struct Tables {
        uint8_t channel[3][256];
    } tables{};
    const double weight[3] = {wb, wg, wr};
    for (int v = 0; v < 256; ++v) {
        const double g = static_cast<float>(v / top * 255.0);
        for (int c = 0; c < 3; ++c) tables.channel[c][v] = TruncateToByte(g * weight[c] + 0.5);
    }
    return Convert<uint8_t, 1, uint8_t, 3>(*src, VXISGRAYA(src), *dest, VXISRGBA(dest),
                                           [&tables]<int CS, int CD>(const uint8_t* s, uint8_t* d) {
                                               for (int c = 0; c < 3; ++c) d[c] = tables.channel[c][s[0]];
                                           });
}

int CVxColorProcessing::Gray16toRGB(CVxImage* src, CVxImage* dest, float wr, float wg, float wb) {
    if (!ConversionAccepts(src, dest, IsGray16OrGrayA16, IsRgbOrRgba)) return FALSE;
    const double r = wr, g = wg, b = wb;
    const int shift = ShiftFrom8(*src);
    return Convert<uint16_t, 1, uint8_t, 3>(*src, VXISGRAYA16(src), *dest, VXISRGBA(dest),
                                            [=]<int CS, int CD>(const uint16_t* s, uint8_t* d) {
                                                const double v = s[0] >> shift;
                                                d[2] = TruncateToByte(v * r + 0.5);
                                                d[1] = TruncateToByte(v * g + 0.5);
                                                d[0] = TruncateToByte(v * b + 0.5);
                                                if constexpr (CS == 2 && CD == 4) d[3] = static_cast<uint8_t>(s[1] >> shift);
                                            });
}

// The source test is inverted on purpose: plain Gray is refused, GrayA is
// read as grey and alpha, and any other model is read as one grey byte.
int CVxColorProcessing::GraytoGray16(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, [](CVxImage* s) { return !VXISGRAY(s); }, IsGray16OrGrayA16)) return FALSE;
    const int shift = ShiftFrom8(*dest);
    return Convert<uint8_t, 1, uint16_t, 1>(*src, VXISGRAYA(src), *dest, VXISGRAYA16(dest),
                                            [shift]<int CS, int CD>(const uint8_t* s, uint16_t* d) {
                                                d[0] = static_cast<uint16_t>(s[0] << shift);
                                                if constexpr (CS == 2 && CD == 2) d[1] = static_cast<uint16_t>(s[1] << shift);
                                            });
}

int CVxColorProcessing::Gray16toGray(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, IsGray16OrGrayA16, IsGrayOrGrayA)) return FALSE;
    const int shift = ShiftFrom8(*src);
    return Convert<uint16_t, 1, uint8_t, 1>(*src, VXISGRAYA16(src), *dest, VXISGRAYA(dest),
                                            [shift]<int CS, int CD>(const uint16_t* s, uint8_t* d) {
                                                d[0] = static_cast<uint8_t>(s[0] >> shift);
                                                if constexpr (CS == 2 && CD == 2) d[1] = static_cast<uint8_t>(s[1] >> shift);
                                            });
}

int CVxColorProcessing::RGBtoBitmap(CVxImage* src, CVxImage* dest, int threshold) {
    if (!ConversionAccepts(src, dest, IsRgbOrRgba, VXISBITMAP)) return FALSE;
    constexpr double kRed = 0.212671f, kGreen = 0.71516f, kBlue = 0.072169f;
    return Convert<uint8_t, 3, uint8_t, 1>(*src, VXISRGBA(src), *dest, false,
                                           [threshold]<int CS, int CD>(const uint8_t* s, uint8_t* d) {
                                               const double sum = kRed * s[2] + kGreen * s[1] + kBlue * s[0] + 0.5;
                                               d[0] = TruncateClampAbove(sum, 255) >= threshold ? 1 : 0;
                                           });
}

int CVxColorProcessing::GraytoBitmap(CVxImage* src, CVxImage* dest, int threshold) {
    if (!ConversionAccepts(src, dest, IsGrayOrGrayA, VXISBITMAP)) return FALSE;
    return Convert<uint8_t, 1, uint8_t, 1>(*src, VXISGRAYA(src), *dest, false,
                                           [threshold]<int CS, int CD>(const uint8_t* s, uint8_t* d) {
                                               d[0] = s[0] >= threshold ? 1 : 0;
                                           });
}

// The raw sample is compared, not the sample scaled to 8 bits.
int CVxColorProcessing::Gray16toBitmap(CVxImage* src, CVxImage* dest, int threshold) {
    if (!ConversionAccepts(src, dest, IsGray16OrGrayA16, VXISBITMAP)) return FALSE;
    return Convert<uint16_t, 1, uint8_t, 1>(*src, VXISGRAYA16(src), *dest, false,
                                            [threshold]<int CS, int CD>(const uint16_t* s, uint8_t* d) {
                                                d[0] = s[0] >= threshold ? 1 : 0;
                                            });
}

int CVxColorProcessing::BitmaptoRGB(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, VXISBITMAP, IsRgbOrRgba)) return FALSE;
    return Convert<uint8_t, 1, uint8_t, 3>(*src, false, *dest, VXISRGBA(dest), []<int CS, int CD>(const uint8_t* s, uint8_t* d) {
        const uint8_t v = SetOrClear<uint8_t>(s[0], 255);
        for (int c = 0; c < 3; ++c) d[c] = v;
    });
}

int CVxColorProcessing::BitmaptoGray(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, VXISBITMAP, IsGrayOrGrayA)) return FALSE;
    return Convert<uint8_t, 1, uint8_t, 1>(*src, false, *dest, VXISGRAYA(dest), []<int CS, int CD>(const uint8_t* s, uint8_t* d) {
        d[0] = SetOrClear<uint8_t>(s[0], 255);
    });
}

int CVxColorProcessing::BitmaptoGray16(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, VXISBITMAP, IsGray16OrGrayA16)) return FALSE;
    const auto set = static_cast<uint16_t>((1 << dest->m_nBitsPerSample) - 1);
    return Convert<uint8_t, 1, uint16_t, 1>(*src, false, *dest, VXISGRAYA16(dest),
                                            [set]<int CS, int CD>(const uint8_t* s, uint16_t* d) {
                                                d[0] = SetOrClear<uint16_t>(s[0], set);
                                            });
}

// There is no quantiser: the images are checked and the answer is FALSE.
int CVxColorProcessing::RGBtoIndex(CVxImage* src, CVxImage* dest) {
    (void)ConversionAccepts(src, dest, IsRgbOrRgba, VXISINDEX);
    return FALSE;
}

// The palette is copied into a table of 256 colours first, black past the
// palette's end, so an index the palette does not reach reads black instead
// of memory beyond it.
int CVxColorProcessing::IndextoRGB(CVxImage* src, CVxImage* dest) {
    if (!ConversionAccepts(src, dest, VXISINDEX, IsRgbOrRgba)) return FALSE;
    struct Table {
        uint8_t colour[256][3];
    } table{};
    const tagRGBA* entries = src->GetPalette().GetPalette();
    const int count = entries != nullptr ? src->GetPalette().GetPaletteNum() : 0;
    for (int i = 0; i < count && i < 256; ++i) table.colour[i][0] = entries[i].blue, table.colour[i][1] = entries[i].green,
                                                table.colour[i][2] = entries[i].red;
    return Convert<uint8_t, 1, uint8_t, 3>(*src, false, *dest, VXISRGBA(dest),
                                           [&table]<int CS, int CD>(const uint8_t* s, uint8_t* d) {
                                               for (int c = 0; c < 3; ++c) d[c] = table.colour[s[0]][c];
                                           });
}

namespace {

enum class Target { Rgb, Rgba };

// What both dispatchers share: every source model but the 8-bit colour rows,
// which differ by target. Returns FALSE for a model without a conversion.
int ConvertByModel(CVxImage* src, CVxImage* dest, Target target) {
    const int bits = src->m_nBitsPerSample;
    switch (src->m_ColorModel) {
        case CM_BITMAP:
            return CVxColorProcessing::BitmaptoRGB(src, dest);
        case CM_GRAY:
        case CM_GRAYA:
            if (bits <= 8) return CVxColorProcessing::GraytoRGB(src, dest, 1.0f, 1.0f, 1.0f);
            if (bits <= 16) return CVxColorProcessing::Gray16toRGB(src, dest, 1.0f, 1.0f, 1.0f);
            return FALSE;
        case CM_LOGL:
            return bits <= 16 ? CVxColorProcessing::LOGLtoRGB(src, dest) : FALSE;
        case CM_INDEX:
            return CVxColorProcessing::IndextoRGB(src, dest);
        case CM_RGB:
            if (bits < 8) return CVxColorProcessing::RGB2BtoRGB(src, dest);
            if (bits == 8) {
                if (target == Target::Rgba) return CVxColorProcessing::RGBtoRGBA(src, dest);
                *dest = *src;
                return FALSE;
            }
            if (bits <= 16) return CVxColorProcessing::RGB16toRGB(src, dest);
            return FALSE;
        case CM_RGBA:
            if (bits < 8) return CVxColorProcessing::RGB2BtoRGB(src, dest);
            if (target == Target::Rgb) return CVxColorProcessing::RGBAtoRGB(src, dest);
            if (bits == 8) {
                *dest = *src;
                return FALSE;
            }
            if (bits <= 16) return CVxColorProcessing::RGB16toRGB(src, dest);
            return FALSE;
        case CM_CMYK:
            return CVxColorProcessing::CMYKtoRGB(src, dest);
        case CM_HSI:
            return CVxColorProcessing::HSItoRGB(src, dest);
        case CM_HSV:
            return CVxColorProcessing::HSVtoRGB(src, dest);
        case CM_HLS:
            return CVxColorProcessing::HLStoRGB(src, dest);
        case CM_XYZ:
            return CVxColorProcessing::XYZtoRGB(src, dest);
        case CM_YUV:
            return CVxColorProcessing::YUVtoRGB(src, dest);
        case CM_YIQ:
            return CVxColorProcessing::YIQtoRGB(src, dest);
        case CM_YCbCr:
            return CVxColorProcessing::YCbCrtoRGB(src, dest);
        case CM_LUV:
            return CVxColorProcessing::LUVtoRGB(src, dest);
        case CM_Lab:
            return CVxColorProcessing::LabtoRGB(src, dest);
        case CM_LOGLUV:
            return CVxColorProcessing::LOGLUVtoRGB(src, dest);
    }
    return FALSE;
}

bool InModelRange(const CVxImage* src) { return src->m_ColorModel >= 0 && src->m_ColorModel <= 22; }

}  // namespace

int CVxColorProcessing::ConverttoRGB(CVxImage* src, CVxImage* dest) {
    if (src == nullptr || !VXISRGB(dest) || !InModelRange(src)) return FALSE;
    return ConvertByModel(src, dest, Target::Rgb);
}

int CVxColorProcessing::ConverttoRGBA(CVxImage* src, CVxImage* dest) {
    if (src == nullptr || !VXISRGBA(dest) || !InModelRange(src)) return FALSE;
    return ConvertByModel(src, dest, Target::Rgba);
}
