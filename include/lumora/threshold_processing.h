// CVxThresholdProcessing: binary thresholds and one-sided cuts of a one-channel image.
#pragma once

#include <lumora/lumora_base.h>

class LUMORA_API CVxThresholdProcessing : public CVxLumoraBase {
public:
    CVxThresholdProcessing();
    explicit CVxThresholdProcessing(CVxImage* image);

    // 255 where the sample is at least `level`, 0 elsewhere.
    int Threshold(CVxImage& dest, int level);
    // upper != 0: keep samples >= level, 0 elsewhere; upper == 0: keep samples
    // <= level, all bits set elsewhere.
    int Cut(CVxImage& dest, int level, int upper);
    // Fixed answer: dest becomes a copy of the target; returns FALSE.
    int Partial(CVxImage& dest, int level);
};
