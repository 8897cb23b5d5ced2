// CVxFilter: blur, sharpen, median and selective noise removal.
#pragma once

#include <lumora/convolution.h>

class LUMORA_API CVxFilter : public CVxConvolution {
public:
    CVxFilter();
    explicit CVxFilter(CVxImage* image);

    // 3 x 3 float kernel (0.03125 around, 0.75 centre), edges replicated, AOI honoured.
    int Blur(CVxImage& dest);
    // 3 x 3 float kernel (-0.1 around, 1.8 centre) over the whole image, AOI ignored.
    int Sharpen(CVxImage& dest);
    // 3 x 3 median of every inner pixel; the one-pixel border keeps the source.
    int Median(CVxImage& dest);
    // The median only where |8 x centre - sum of the 8 neighbours| > threshold.
    int RemoveRandomNoise(CVxImage& dest, int threshold);
};
