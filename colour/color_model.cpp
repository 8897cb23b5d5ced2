#include <lumora/color_processing.h>

CVxColorProcessing::CVxColorProcessing() = default;

CVxColorProcessing::CVxColorProcessing(CVxImage* image) : CVxLumoraBase(image) {}
