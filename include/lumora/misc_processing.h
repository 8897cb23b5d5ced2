// CVxMiscProcessing: crop, copy out of and paste into the target image.
#pragma once

#include <lumora/lumora_base.h>

// Rectangles are inclusive: the whole image is (0, 0, width - 1, height - 1);
// (-1, -1, -1, -1) has no special meaning here.
class LUMORA_API CVxMiscProcessing : public CVxLumoraBase {
public:
    CVxMiscProcessing();
    explicit CVxMiscProcessing(CVxImage* image);

    // Replaces the target by its part inside the normalised, clipped rect.
    int Crop(CRect rect);
    // dest(0, 0) receives target(rect.left, rect.top). dest must exist with
    // the target's pixel size and cover the copied part.
    int CopyTo(CVxImage& dest, CRect rect);
    // source(0, 0) lands on target(rect.left, rect.top); with a mask only
    // where its byte at the source position is non-zero. Rectangles one
    // pixel wide or high are refused (Windows intersection rule).
    int PasteFrom(CVxImage& source, CRect rect);
    int PasteFrom(CVxImage& source, CRect rect, CVxImage& mask);
};
