// CVxBrightnessProcessing: brightness as a whole-image addition or subtraction.
#pragma once

#include <lumora/point_processing.h>

class LUMORA_API CVxBrightnessProcessing : public CVxPointProcessing {
public:
    CVxBrightnessProcessing();
    explicit CVxBrightnessProcessing(CVxImage* image);
    virtual ~CVxBrightnessProcessing();

    // value < 1 subtracts -value (floored at 0); otherwise adds value (capped at 255).
    int Brightness(int value);
};
