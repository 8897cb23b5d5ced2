// CVxColorProcessing: conversions between colour models and colour spaces,
// and colour adjustments of the bound target.
//
// Conversions are static. Each takes the source then the destination, both
// already created by the caller with the models and size the conversion
// expects (nothing is created, resized or re-modelled), checks in this order
// source non-null, destination non-null, same size, source model accepted,
// destination model accepted, and answers FALSE before writing a pixel when a
// check fails. An image whose pixel block is too small for its stated layout
// is refused the same way. Otherwise every destination pixel is written and
// the answer is TRUE (a height of 0 converts nothing and is TRUE).
//
// Memory order of RGB and RGBA is blue, green, red (, alpha): "red" below is
// byte 2 and "blue" byte 0. Truncation is toward zero; a "low byte" is the
// low 8 bits of the truncated 32-bit integer (a value that does not fit in 32
// bits truncates to INT_MIN, whose low byte is 0).
//
// Arithmetic. Float expressions of the model conversions are evaluated in
// double from their float arguments. Where a colour-space formula leaves the
// working precision open (HSI, HLS, YCbCr's r = red / 255 and its sums) it is
// evaluated in double as well and rounded to float only where a value is
// stored (an image sample, a float& result, a float variable such as the
// 0.99 limits of HSItoRGB, which are therefore 0.99f). HSV's r, g, b are
// single-precision quotients by 255, as that conversion states; the rest of
// HSV is evaluated in double from them.
//
// Choices where the rules leave a case open:
// - YCbCrtoRGB truncates each scaled value toward zero and clamps it to
//   0..255, so negative values store 0 and values of 256 or more store 255
//   (NaN stores 0); in-gamut pixels come back within one unit.
// - HLStoRGB with S exactly 0 returns grey truncate(L * 255) (low byte);
//   any other S, negative ones included, goes through the m1/m2 rule.
// - IndextoRGB converts every index inside the palette; an index at or past
//   the palette's length (or any index when the palette is empty) gives
//   black (0, 0, 0). Alpha of an RGBA destination stays untouched either way.
// - RGB2B images: a bit-table entry the chosen sub-layout uses that is
//   outside 1..8 is refused, and so is an RGBtoRGB2B source whose bits per
//   sample is below a destination channel's bit count (no right shift).
// - The 8-bit RGB / RGBA side of a conversion is read and written as bytes
//   whatever bits per sample the image has (the model predicates accept any
//   width), always inside the image's block.
#pragma once

#include <lumora/lumora_base.h>

class LUMORA_API CVxColorProcessing : public CVxLumoraBase {
public:
    CVxColorProcessing();
    explicit CVxColorProcessing(CVxImage* image);

    // ---- Colour-model conversions -------------------------------------
    // Bytes 0..2 copied; RGBtoRGBA leaves the destination's alpha as it was.
    static int RGBtoRGBA(CVxImage* src, CVxImage* dest);
    static int RGBAtoRGB(CVxImage* src, CVxImage* dest);
    // Colour samples shifted left (right) by the 16-bit image's bits - 8;
    // alpha is never written.
    static int RGBtoRGB16(CVxImage* src, CVxImage* dest);
    static int RGB16toRGB(CVxImage* src, CVxImage* dest);
    // Images with fewer than 8 significant bits per sample, one byte each;
    // the sub-layout comes from the green entry of the per-channel bit table.
    static int RGBtoRGB2B(CVxImage* src, CVxImage* dest);
    static int RGB2BtoRGB(CVxImage* src, CVxImage* dest);
    // Weights in the order red, green, blue.
    static int RGBtoGray(CVxImage* src, CVxImage* dest, float wr, float wg, float wb);
    static int RGBtoGray16(CVxImage* src, CVxImage* dest, float wr, float wg, float wb);
    static int GraytoRGB(CVxImage* src, CVxImage* dest, float wr, float wg, float wb);
    static int Gray16toRGB(CVxImage* src, CVxImage* dest, float wr, float wg, float wb);
    // Refuses a plain Gray source (use another path for Gray to Gray16); a
    // GrayA source, or one that is neither, is read as the grey layout.
    static int GraytoGray16(CVxImage* src, CVxImage* dest);
    static int Gray16toGray(CVxImage* src, CVxImage* dest);
    // 1 where the luminance / sample is at least the threshold, else 0.
    static int RGBtoBitmap(CVxImage* src, CVxImage* dest, int threshold);
    static int GraytoBitmap(CVxImage* src, CVxImage* dest, int threshold);
    static int Gray16toBitmap(CVxImage* src, CVxImage* dest, int threshold);
    static int BitmaptoRGB(CVxImage* src, CVxImage* dest);
    static int BitmaptoGray(CVxImage* src, CVxImage* dest);
    static int BitmaptoGray16(CVxImage* src, CVxImage* dest);
    // Checks, then FALSE always: there is no quantiser.
    static int RGBtoIndex(CVxImage* src, CVxImage* dest);
    static int IndextoRGB(CVxImage* src, CVxImage* dest);
    // Pick the conversion for the source's model. Where source and
    // destination already share the model the destination becomes a copy of
    // the source and the answer is FALSE: nothing needed converting.
    static int ConverttoRGB(CVxImage* src, CVxImage* dest);
    static int ConverttoRGBA(CVxImage* src, CVxImage* dest);

    // ---- Colour-space conversions (8-bit RGB / RGBA side) ---------------
    // CMYK: bytes C, M, Y, K.
    static int RGBtoCMYK(CVxImage* src, CVxImage* dest);
    static int CMYKtoRGB(CVxImage* src, CVxImage* dest);
    // HSI: floats H (degrees), S, I; extremes over red and green only.
    static int RGBtoHSI(CVxImage* src, CVxImage* dest);
    static int HSItoRGB(CVxImage* src, CVxImage* dest);
    static void RGBtoHSI(unsigned char r, unsigned char g, unsigned char b, float& h, float& s, float& i);
    static void HSItoRGB(float h, float s, float i, unsigned char& r, unsigned char& g, unsigned char& b);
    // HLS: floats H (degrees), L, S.
    static int RGBtoHLS(CVxImage* src, CVxImage* dest);
    static int HLStoRGB(CVxImage* src, CVxImage* dest);
    // HSV: floats H (radians), S, V; extremes over red and green only and
    // V = (max + min) / 2. There is no way back: HSVtoRGB checks, then FALSE.
    static int RGBtoHSV(CVxImage* src, CVxImage* dest);
    static int HSVtoRGB(CVxImage* src, CVxImage* dest);
    static void RGBtoHSV(unsigned char r, unsigned char g, unsigned char b, float& h, float& s, float& v);
    // YCbCr: floats Y (0..1), Cb, Cr (-0.5..0.5), full range.
    static int RGBtoYCbCr(CVxImage* src, CVxImage* dest);
    static int YCbCrtoRGB(CVxImage* src, CVxImage* dest);
    // Declared spaces without a conversion: check, then FALSE, writing nothing.
    static int RGBtoXYZ(CVxImage* src, CVxImage* dest);
    static int XYZtoRGB(CVxImage* src, CVxImage* dest);
    static int RGBtoYUV(CVxImage* src, CVxImage* dest);
    static int YUVtoRGB(CVxImage* src, CVxImage* dest);
    static int RGBtoYIQ(CVxImage* src, CVxImage* dest);
    static int YIQtoRGB(CVxImage* src, CVxImage* dest);
    static int RGBtoLUV(CVxImage* src, CVxImage* dest);
    static int LUVtoRGB(CVxImage* src, CVxImage* dest);
    static int RGBtoLab(CVxImage* src, CVxImage* dest);
    static int LabtoRGB(CVxImage* src, CVxImage* dest);
    static int RGBtoLOGL(CVxImage* src, CVxImage* dest);
    static int LOGLtoRGB(CVxImage* src, CVxImage* dest);
    static int RGBtoLOGLUV(CVxImage* src, CVxImage* dest);
    static int LOGLUVtoRGB(CVxImage* src, CVxImage* dest);

    // ---- Adjustments of the bound target, in place ----------------------
    // Every RGB / RGBA pixel through RGBtoHSI, shifted, then HSItoRGB.
    // Answers FALSE always, also after a complete pass.
    int HSIAdjust(float dh, float ds, float di);
    // max - sample on the channels the selector picks (0 = all, n = channel
    // n - 1), read as unsigned; FALSE for a selector outside the model's range.
    int Invert(int channel);
    // Pixels equal to oldColor on every compared sample take newColor.
    // 16-bit samples compare against the members widened, not scaled. In the
    // float spaces the members are bytes 0, 1, 2 (blue, green, red) of an
    // 8-bit RGB pixel put through the space's own conversion, so a pixel
    // converted from that colour matches exactly; spaces without a conversion
    // take member / 255.0f. Index compares palette bytes 2, 1, 0 with
    // members 0, 1, 2, rewrites the palette and answers FALSE.
    int ReplaceColor(tagVXG4 oldColor, tagVXG4 newColor);
    // Declared adjustments without an implementation: TRUE, no effect.
    int HLSAdjust(float d1, float d2, float d3);
    int HSVAdjust(float d1, float d2, float d3);
    int LUVAdjust(float d1, float d2, float d3);
    int LabAdjust(float d1, float d2, float d3);
    int XYZAdjust(float d1, float d2, float d3);
    int YCbCrAdjust(float d1, float d2, float d3);
    int YIQAdjust(float d1, float d2, float d3);
    int YUVAdjust(float d1, float d2, float d3);
    int LOGLUVAdjust(float d1, float d2, float d3);
    int LOGLAdjust(float d);
};
