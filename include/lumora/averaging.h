// CVxAveraging: the per-sample mean of a series of frames.
#pragma once

#include <lumora/lumora_base.h>

// Bound to an image array (not owned); every frame is read at the first
// frame's size and layout.
class LUMORA_API CVxAveraging : public CVxLumoraBase {
public:
    explicit CVxAveraging(CVxImageArray* frames);

    // Mode 0 runs AveragingAverage; any other mode returns FALSE untouched.
    int Averaging(CVxImage& dest, int mode);
    // dest becomes the first frame, then every sample except those of the
    // last row and the last column becomes the truncated mean of the frames
    // (those two stay 0). One frame: TRUE with the plain copy. 8-bit and
    // 16-bit grey, RGB and RGBA only: otherwise FALSE with the copy left.
    int AveragingAverage(CVxImage& dest);
    // Fixed answers: FALSE at once, nothing touched.
    int AveragingAccumulation(CVxImage& dest);
    int AveragingMinMax(CVxImage& dest);
};
