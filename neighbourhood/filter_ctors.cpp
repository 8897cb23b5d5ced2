#include <lumora/filter.h>

CVxConvolution::CVxConvolution() = default;

CVxConvolution::CVxConvolution(CVxImage* image) : CVxLumoraBase(image, nullptr) {}

CVxFilter::CVxFilter() = default;

CVxFilter::CVxFilter(CVxImage* image) : CVxConvolution(image) {}
