#include <lumora/filter.h>

CVxFilter::CVxFilter() = default;

CVxFilter::CVxFilter(CVxImage* image) : CVxConvolution(image) {}

int CVxFilter::Blur(CVxImage& dest) {
    float kernel[9] = {0.03125f, 0.03125f, 0.03125f, 0.03125f, 0.75f, 0.03125f, 0.03125f, 0.03125f, 0.03125f};
    CVxFilter filter(m_pImage);
    filter.SetAOIImage(m_pAOIImage);
    return filter.Convolve(kernel, CSize(3, 3), dest, 1.0f, 0.0f, CONVOLUTION_EXTEND);
}

// Sharpening always covers the whole image: the mask is deliberately not
// handed on.
int CVxFilter::Sharpen(CVxImage& dest) {
    float kernel[9] = {-0.1f, -0.1f, -0.1f, -0.1f, 1.8f, -0.1f, -0.1f, -0.1f, -0.1f};
    CVxFilter filter(m_pImage);
    return filter.Convolve(kernel, CSize(3, 3), dest, 1.0f, 0.0f, CONVOLUTION_EXTEND);
}
