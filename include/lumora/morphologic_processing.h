// CVxMorphologicProcessing: grey-level erosion and dilation with a flat square.
#pragma once

#include <lumora/lumora_base.h>

class LUMORA_API CVxMorphologicProcessing : public CVxLumoraBase {
public:
    CVxMorphologicProcessing();
    explicit CVxMorphologicProcessing(CVxImage* image);

    // Window of (2 radius + 1)^2 pixels, edges replicated, AOI honoured.
    int Erode(CVxImage& dest, int radius);
    int Dilate(CVxImage& dest, int radius);
    // Erosion then dilation (Open) or the reverse (Close), over the whole image.
    int Open(CVxImage& dest, int radius);
    int Close(CVxImage& dest, int radius);
};
