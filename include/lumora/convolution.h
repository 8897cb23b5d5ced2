// CVxConvolution: correlation of the target with a caller's rectangular kernel.
#pragma once

#include <lumora/lumora_base.h>

// What happens at the border.
enum CONVOLUTION_FLAG {
    CONVOLUTION_CREATE = 0,  // (re)create the destination, then as INNER
    CONVOLUTION_INNER = 1,   // border pixels keep the source values
    CONVOLUTION_EXTEND = 2   // border pixels computed with edge replication
};

class LUMORA_API CVxConvolution : public CVxLumoraBase {
public:
    CVxConvolution();
    explicit CVxConvolution(CVxImage* image);

    // `kernel` holds size.cy rows of size.cx weights; entry (i, j) weighs the
    // source at (x - cx/2 + i, y - cy/2 + j). Each sum is divided by `divisor`,
    // then `offset` is added, and the result clamped to the sample range.
    int Convolve(int* kernel, CSize size, CVxImage& dest, int divisor, int offset, CONVOLUTION_FLAG flag);
    int Convolve(float* kernel, CSize size, CVxImage& dest, float divisor, float offset, CONVOLUTION_FLAG flag);
    // As Convolve, but a negative offset + q becomes offset - q.
    int ConvolveABS(int* kernel, CSize size, CVxImage& dest, int divisor, int offset, CONVOLUTION_FLAG flag);
    int ConvolveABS(float* kernel, CSize size, CVxImage& dest, float divisor, float offset, CONVOLUTION_FLAG flag);
};
