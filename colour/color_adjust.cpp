// Colour adjustments of the bound target, in place, over the whole image.
//
// Arithmetic contract:
// - Invert: a chosen sample s becomes max - s, max = 2^b - 1 for an integer
//   image of b bits per sample (1 for a one-bit Bitmap, 4095 for 12 bits)
//   and 1.0f for float samples. Integer results keep the low bits of the
//   difference, so a sample above max (which the store does not forbid)
//   wraps; 1.0f - s is one single-precision subtraction.
// - ReplaceColor: exact equality on every compared sample, no tolerance;
//   16-bit samples compare with the record's bytes widened, not scaled.
// - HSIAdjust: RGBtoHSI of bytes 2, 1, 0, each of h, s, i plus its shift in
//   single precision, then HSItoRGB back into bytes 2, 1, 0.
//
// Answers: the Index rows, Invert of GrayA with selector 2 and HSIAdjust
// report FALSE after doing their work, as the legacy library does; callers
// read the image, not the answer.
#include <lumora/color_processing.h>

#include <cstdint>

#include "../core/model_layout.h"
#include "../core/pixels.h"

using namespace lumora::detail;

namespace {

// Colour model numbers run from 0 to 22; anything above is refused.
constexpr unsigned kLastModel = 22;

bool KnownModelNumber(const CVxImage& image) { return static_cast<unsigned>(image.m_ColorModel) <= kLastModel; }

template <class T>
T MaxSample(int bitsPerSample) {
    if constexpr (kIsFloatSample<T>)
        return 1.0f;
    else
        return static_cast<T>((1u << bitsPerSample) - 1u);
}

// channel < 0 inverts every sample of a pixel, else only that channel.
template <class T, int C>
void InvertSamples(CVxImage& image, int channel) {
    const T max = MaxSample<T>(image.m_nBitsPerSample);
    const int width = image.m_nWidth;
    for (int y = 0; y < image.m_nHeight; ++y) {
        T* row = RowOf<T>(image, y);
        if (channel < 0) {
            for (int i = 0; i < width * C; ++i) row[i] = static_cast<T>(max - row[i]);
        } else {
            for (int x = 0; x < width; ++x) row[x * C + channel] = static_cast<T>(max - row[x * C + channel]);
        }
    }
}

// Bytes 0, 1, 2 of every palette entry complemented; the fourth byte stays.
void InvertPalette(CVxPalette& palette) {
    tagRGBA* entry = palette.GetPalette();
    for (int i = 0; i < palette.GetPaletteNum(); ++i) {
        entry[i].blue = static_cast<BYTE>(255 - entry[i].blue);
        entry[i].green = static_cast<BYTE>(255 - entry[i].green);
        entry[i].red = static_cast<BYTE>(255 - entry[i].red);
    }
}

template <class T, int C>
void ReplaceSamples(CVxImage& image, const T (&from)[4], const T (&to)[4]) {
    for (int y = 0; y < image.m_nHeight; ++y) {
        T* px = RowOf<T>(image, y);
        for (int x = 0; x < image.m_nWidth; ++x, px += C) {
            bool match = true;
            for (int c = 0; c < C; ++c) match = match && px[c] == from[c];
            if (match)
                for (int c = 0; c < C; ++c) px[c] = to[c];
        }
    }
}

// Palette entries whose red, green, blue (bytes 2, 1, 0) equal members 0, 1,
// 2 of the old colour take members 0, 1, 2 of the new one in the same bytes:
// the record is read in the reverse of the pixel rows' byte order.
void ReplacePaletteColour(CVxPalette& palette, const tagVXG4& from, const tagVXG4& to) {
    tagRGBA* entry = palette.GetPalette();
    for (int i = 0; i < palette.GetPaletteNum(); ++i)
        if (entry[i].red == from.v[0] && entry[i].green == from.v[1] && entry[i].blue == from.v[2]) {
            entry[i].red = to.v[0];
            entry[i].green = to.v[1];
            entry[i].blue = to.v[2];
        }
}

// The three floats a record stands for in a float colour space. Members 0, 1,
// 2 are read as the bytes 0, 1, 2 (blue, green, red) of an 8-bit RGB pixel,
// the same colour the record names for an RGB image, and that pixel goes
// through the space's own conversion (RGBtoHSI, RGBtoHLS, RGBtoHSV,
// RGBtoYCbCr), so a pixel converted from that RGB colour matches exactly.
// For a space whose conversion is declared but not implemented the values
// are member / 255.0f (single-precision quotients), in member order.
void SpaceColour(COLOR_MODEL model, const tagVXG4& colour, float (&out)[4]) {
    for (int c = 0; c < 3; ++c) out[c] = static_cast<float>(colour.v[c]) / 255.0f;
    out[3] = 0.0f;
    int (*convert)(CVxImage*, CVxImage*) = nullptr;
    switch (model) {
        case CM_HSI: convert = &CVxColorProcessing::RGBtoHSI; break;
        case CM_HLS: convert = &CVxColorProcessing::RGBtoHLS; break;
        case CM_HSV: convert = &CVxColorProcessing::RGBtoHSV; break;
        case CM_YCbCr: convert = &CVxColorProcessing::RGBtoYCbCr; break;
        default: return;
    }
    CVxImage rgb(CM_RGB, 8, 1, 1), space(model, 32, 1, 1);
    if (!rgb.IsCreated() || !space.IsCreated()) return;
    auto* byte = static_cast<std::uint8_t*>(rgb.Get2DBuffer()[0]);
    for (int c = 0; c < 3; ++c) byte[c] = colour.v[c];
    if (!convert(&rgb, &space)) return;
    const auto* value = static_cast<const float*>(space.Get2DBuffer()[0]);
    for (int c = 0; c < 3; ++c) out[c] = value[c];
}

}  // namespace

int CVxColorProcessing::HSIAdjust(float dh, float ds, float di) {
    CVxImage* image = m_pImage;
    if (image == nullptr || !(VXISRGB(image) || VXISRGBA(image))) return FALSE;
    // Only the byte layouts have a routine; an RGB image with wider samples
    // is left as it is (the answer is FALSE either way).
    DispatchModelLayout(*image, [&]<class T, int C>() {
        if constexpr (std::is_same_v<T, std::uint8_t> && C >= 3) {
            for (int y = 0; y < image->m_nHeight; ++y) {
                std::uint8_t* px = RowOf<std::uint8_t>(*image, y);
                for (int x = 0; x < image->m_nWidth; ++x, px += C) {
                    float h, s, i;
                    RGBtoHSI(px[2], px[1], px[0], h, s, i);
                    HSItoRGB(h + dh, s + ds, i + di, px[2], px[1], px[0]);
                }
            }
        }
    });
    return FALSE;
}

int CVxColorProcessing::Invert(int channel) {
    CVxImage* image = m_pImage;
    if (image == nullptr || !image->IsCreated() || !KnownModelNumber(*image)) return FALSE;
    if (image->m_ColorModel == CM_INDEX) {
        InvertPalette(image->GetPalette());
        return FALSE;
    }
    // One-channel models ignore the selector; the others take 0 for every
    // channel or n for channel n - 1 (GrayA: 1 grey, 2 alpha), read unsigned
    // so that a negative selector is out of range.
    const int channels = ModelLayoutOf(image->m_ColorModel).channels;
    const unsigned selector = static_cast<unsigned>(channel);
    if (channels > 1 && selector > static_cast<unsigned>(channels)) return FALSE;
    const int chosen = channels == 1 ? -1 : static_cast<int>(selector) - 1;
    const bool inverted =
        DispatchModelLayout(*image, [&]<class T, int C>() { InvertSamples<T, C>(*image, chosen); });
    if (!inverted) return FALSE;
    return image->m_ColorModel == CM_GRAYA && selector == 2 ? FALSE : TRUE;
}

int CVxColorProcessing::ReplaceColor(tagVXG4 oldColor, tagVXG4 newColor) {
    CVxImage* image = m_pImage;
    if (image == nullptr || !image->IsCreated() || !KnownModelNumber(*image)) return FALSE;
    if (image->m_ColorModel == CM_INDEX) {
        ReplacePaletteColour(image->GetPalette(), oldColor, newColor);
        return FALSE;
    }
    if (image->m_ColorModel == CM_LOGL) return FALSE;
    const bool replaced = DispatchModelLayout(*image, [&]<class T, int C>() {
        T from[4], to[4];
        if constexpr (kIsFloatSample<T>) {
            SpaceColour(image->m_ColorModel, oldColor, from);
            SpaceColour(image->m_ColorModel, newColor, to);
        } else {
            for (int c = 0; c < 4; ++c) from[c] = oldColor.v[c], to[c] = newColor.v[c];
        }
        ReplaceSamples<T, C>(*image, from, to);
    });
    return replaced ? TRUE : FALSE;
}

// Declared adjustments without an implementation: TRUE, image untouched.
int CVxColorProcessing::HLSAdjust(float, float, float) { return TRUE; }
int CVxColorProcessing::HSVAdjust(float, float, float) { return TRUE; }
int CVxColorProcessing::LUVAdjust(float, float, float) { return TRUE; }
int CVxColorProcessing::LabAdjust(float, float, float) { return TRUE; }
int CVxColorProcessing::XYZAdjust(float, float, float) { return TRUE; }
int CVxColorProcessing::YCbCrAdjust(float, float, float) { return TRUE; }
int CVxColorProcessing::YIQAdjust(float, float, float) { return TRUE; }
int CVxColorProcessing::YUVAdjust(float, float, float) { return TRUE; }
int CVxColorProcessing::LOGLUVAdjust(float, float, float) { return TRUE; }
int CVxColorProcessing::LOGLAdjust(float) { return TRUE; }
