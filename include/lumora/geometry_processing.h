// CVxGeometryProcessing: flip, shift and resize of the target image.
#pragma once

#include <lumora/lumora_base.h>

class LUMORA_API CVxGeometryProcessing : public CVxLumoraBase {
public:
    enum FLIP_FLAG { FLIP_VERTICAL = 0, FLIP_HORIZONTAL = 1, FLIP_BOTH = 2 };
    enum INTERPOLATION { INTERPOLATION_BILINEAR = 1, INTERPOLATION_NEAREST = 2 };

    CVxGeometryProcessing();
    explicit CVxGeometryProcessing(CVxImage* image);
    CVxGeometryProcessing(const CVxGeometryProcessing& other) = default;
    CVxGeometryProcessing& operator=(const CVxGeometryProcessing& other);

    // Background colour for Shift, one byte a channel. The partial overloads
    // leave the higher channels as they were.
    void SetBackColor(BYTE value);
    void SetBackColor(tagVXG2 value);
    void SetBackColor(tagVXG3 value);
    void SetBackColor(tagVXG4 value);

    // Mirrors the target in place. An unknown flag does nothing and answers TRUE.
    int Flip(FLIP_FLAG flag);
    // Moves the content by offset (positive: right, down); uncovered pixels
    // take the background colour. Answers the paste's result, or offset.y
    // for a colour model without 1 to 4 channels.
    int Shift(CPoint offset);

    // Into a recreated dest of width x height. Palette images always use
    // nearest neighbour; the bilinear path answers FALSE even after success.
    int Resize(int width, int height, CVxImage& dest, INTERPOLATION method);
    // Into a recreated dest of the scaled size.
    int Resize(float scale, CVxImage& dest);
    // Zoom into an existing dest of the caller's size, the zoomed grid
    // scrolled to phase; dest(0, 0) always shows target(0, 0).
    int ResizeEx(float scale, CPoint phase, CVxImage& dest);

private:
    DWORD m_BackColor;  // channel i in bits 8i to 8i + 7
};
