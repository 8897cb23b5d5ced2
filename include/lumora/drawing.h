// CVxDrawing: sets pixels of the target to one value inside a mask or a rectangle.
#pragma once

#include <lumora/lumora_base.h>

// The value's type decides how many bytes each pixel receives; the target's
// colour model is not consulted, so pass the type matching its layout.
class LUMORA_API CVxDrawing : public CVxLumoraBase {
public:
    CVxDrawing();
    explicit CVxDrawing(CVxImage* image);

    // Masked fill: every pixel whose mask byte is non-zero.
    int SetFill(unsigned char value, CVxImage& mask);
    int SetFill(unsigned short value, CVxImage& mask);
    int SetFill(float value, CVxImage& mask);
    int SetFill(tagVXG2 value, CVxImage& mask);
    int SetFill(tagVXG3 value, CVxImage& mask);
    int SetFill(tagVXG4 value, CVxImage& mask);
    int SetFill(tagVXGW2 value, CVxImage& mask);
    int SetFill(tagVXGW3 value, CVxImage& mask);
    int SetFill(tagVXGW4 value, CVxImage& mask);
    int SetFill(tagVXGF2 value, CVxImage& mask);
    int SetFill(tagVXGF3 value, CVxImage& mask);
    int SetFill(tagVXGF4 value, CVxImage& mask);

    // Rectangle fill, right and bottom inclusive; FALSE when it misses the image.
    int SetFill(unsigned char value, CRect rect);
    int SetFill(unsigned short value, CRect rect);
    int SetFill(float value, CRect rect);
    int SetFill(tagVXG2 value, CRect rect);
    int SetFill(tagVXG3 value, CRect rect);
    int SetFill(tagVXG4 value, CRect rect);
    int SetFill(tagVXGW2 value, CRect rect);
    int SetFill(tagVXGW3 value, CRect rect);
    int SetFill(tagVXGW4 value, CRect rect);
    int SetFill(tagVXGF2 value, CRect rect);
    int SetFill(tagVXGF3 value, CRect rect);
    int SetFill(tagVXGF4 value, CRect rect);
};
