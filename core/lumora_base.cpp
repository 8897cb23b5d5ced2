#include <lumora/lumora_base.h>

#include <cstdint>
#include <cstring>

#include "cpu_dispatch.h"
#include "layout.h"
#include "pixels.h"

using namespace lumora::detail;

// The constructors that do not name a field leave it null: a correct caller
// cannot tell, and a wrong one gets a clean refusal instead of garbage.
CVxLumoraBase::CVxLumoraBase() : m_pImage(nullptr), m_pImageArray(nullptr), m_pAOIImage(nullptr) {}

CVxLumoraBase::CVxLumoraBase(CVxImage* image, CVxImage* aoi)
    : m_pImage(image), m_pImageArray(nullptr), m_pAOIImage(aoi) {}

CVxLumoraBase::CVxLumoraBase(CVxImageArray* array, CVxImage* aoi)
    : m_pImage(nullptr), m_pImageArray(array), m_pAOIImage(aoi) {}

CVxLumoraBase::~CVxLumoraBase() = default;

CVxLumoraBase& CVxLumoraBase::operator=(const CVxLumoraBase& other) {
    m_pImage = other.m_pImage;
    m_pImageArray = other.m_pImageArray;
    m_pAOIImage = other.m_pAOIImage;
    return *this;
}

unsigned char** CVxLumoraBase::GetAOIImage() const {
    if (m_pAOIImage == nullptr) return nullptr;
    return reinterpret_cast<unsigned char**>(m_pAOIImage->Get2DBuffer());
}

// ---------------------------------------------------------------------------
// Plane access. Samples move unchanged between channel `index` of the target
// and a one-channel image, in the sample type of the target.

namespace {

template <class T, int C>
LUMORA_INLINE void CopyPlaneOutRows(CVxImage& target, CVxImage& plane, int index) {
    // Width and height are read once: a store through a uint8_t pointer may
    // alias the image's attributes, and re-reading the width every sample
    // keeps the compiler from vectorising the loop.
    const int width = target.m_nWidth, height = target.m_nHeight;
    for (int y = 0; y < height; ++y) {
        const T* src = RowOf<T>(target, y) + index;
        T* dst = RowOf<T>(plane, y);
        for (int x = 0; x < width; ++x) dst[x] = src[x * C];
    }
}

// Gathering every C-th small integer sample needs a byte shuffle to
// vectorise; the x86-64 baseline (SSE2) has none, and the compiler falls
// back to slow unpacking (8-bit RGB: about ten times slower than with
// SSSE3's pshufb). So the loop also has an SSSE3 copy. Float samples gain
// nothing.
template <class T, int C>
void CopyPlaneOut(CVxImage& target, CVxImage& plane, int index) {
    if constexpr (kIsFloatSample<T>)
        CopyPlaneOutRows<T, C>(target, plane, index);
    else
        RunForCpu<Isa::Avx2, Isa::Ssse3>([&]() LUMORA_INLINE_LAMBDA { CopyPlaneOutRows<T, C>(target, plane, index); });
}

template <class T, int C>
void CopyPlaneIn(CVxImage& target, CVxImage& plane, int index) {
    const int width = target.m_nWidth, height = target.m_nHeight;
    for (int y = 0; y < height; ++y) {
        T* dst = RowOf<T>(target, y) + index;
        const T* src = RowOf<T>(plane, y);
        for (int x = 0; x < width; ++x) dst[x * C] = src[x];
    }
}

}  // namespace

int CVxLumoraBase::GetPlane(int index, CVxImage& plane) {
    if (m_pImage == nullptr) return FALSE;
    CVxImage& target = *m_pImage;
    const int channels = ModelChannels(target);
    if (channels == 1 || channels < index) return FALSE;

    plane.Remove();
    plane.Create(CM_GRAY, target.m_nBitsPerSample, target.m_nWidth, target.m_nHeight, 0, nullptr, 255);
    // An index equal to the channel count, or a negative one, names no
    // channel: the fresh plane is returned as it is.
    if (index < 0 || index >= channels || !plane.IsCreated()) return TRUE;
    DispatchLayout(target, channels, [&]<class T, int C>() {
        if constexpr (C > 1) CopyPlaneOut<T, C>(target, plane, index);
    });
    return TRUE;
}

int CVxLumoraBase::SetPlane(int index, CVxImage& plane) {
    if (m_pImage == nullptr) return FALSE;
    CVxImage& target = *m_pImage;
    if (plane.m_nWidth != target.m_nWidth || plane.m_nHeight != target.m_nHeight) return FALSE;
    const int channels = ModelChannels(target);
    if (channels == 1 || channels < index) return FALSE;
    if (index < 0 || index >= channels) return TRUE;
    int result = TRUE;
    DispatchLayout(target, channels, [&]<class T, int C>() {
        // The plane is read in the target's sample type; its own model is
        // not consulted, but a plane whose rows are too short for that is
        // refused rather than read past its end.
        if (!HasPixelBlockFor(plane, 1, static_cast<int>(sizeof(T)))) {
            result = FALSE;
            return;
        }
        if constexpr (C > 1) CopyPlaneIn<T, C>(target, plane, index);
    });
    return result;
}
