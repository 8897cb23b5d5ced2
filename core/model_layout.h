// Pixel layouts read from the colour model rather than from the channel
// count alone: a model fixes both how many samples a pixel has and whether
// they are integers (8- or 16-bit by the bits per sample) or floats.
#pragma once

#include "layout.h"

namespace lumora::detail {

enum class ModelSamples { Integer, Float, None };

struct ModelLayout {
    int channels = 0;
    ModelSamples samples = ModelSamples::None;
};

// Bitmap, Gray, GrayA, RGB, RGBA and CMYK hold integers; LOGL one float; the
// ten perceptual spaces three floats. Index (a palette) and numbers that name
// no model have no pixel layout here.
inline ModelLayout ModelLayoutOf(COLOR_MODEL model) {
    const int channels = CVxImageInfo::GetChannel(model);
    switch (model) {
        case CM_INDEX: return {};
        case CM_BITMAP:
        case CM_GRAY:
        case CM_GRAYA:
        case CM_RGB:
        case CM_RGBA:
        case CM_CMYK: return {channels, ModelSamples::Integer};
        default: return {channels, channels > 0 ? ModelSamples::Float : ModelSamples::None};
    }
}

// Calls fn.template operator()<T, C>() for the image's model layout when its
// bits per sample agree with the model: integer models take 1 to 16 bits
// (uint8_t up to 8, uint16_t above), float models 17 to 32. Returns false
// without calling fn otherwise, or when DispatchLayout refuses the block.
template <class Fn>
bool DispatchModelLayout(CVxImage& image, Fn&& fn) {
    const ModelLayout layout = ModelLayoutOf(image.m_ColorModel);
    if (layout.samples == ModelSamples::None || image.m_nBitsPerSample < 1) return false;
    bool called = false;
    DispatchLayout(image, layout.channels, [&]<class T, int C>() {
        if ((layout.samples == ModelSamples::Float) != kIsFloatSample<T>) return;
        fn.template operator()<T, C>();
        called = true;
    });
    return called;
}

}  // namespace lumora::detail
