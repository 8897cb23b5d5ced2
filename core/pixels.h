// Typed access to an image's rows and to the area-of-interest mask.
#pragma once

#include <cstdint>
#include <tuple>
#include <utility>
#include <lumora/lumora_base.h>
#include <lumora/vxpixel.h>

namespace lumora::detail {

// The pixel record of a layout: the type the fill and the other by-value
// pixel arguments take for C samples of type T (one sample: T itself).
template <class T>
struct PixelRecords;
template <>
struct PixelRecords<std::uint8_t> {
    using type = std::tuple<unsigned char, tagVXG2, tagVXG3, tagVXG4>;
};
template <>
struct PixelRecords<std::uint16_t> {
    using type = std::tuple<unsigned short, tagVXGW2, tagVXGW3, tagVXGW4>;
};
template <>
struct PixelRecords<float> {
    using type = std::tuple<float, tagVXGF2, tagVXGF3, tagVXGF4>;
};
template <class T, int C>
using PixelRecord = std::tuple_element_t<C - 1, typename PixelRecords<T>::type>;

template <class T>
inline T* RowOf(CVxImage& image, int y) {
    return static_cast<T*>(image.Get2DBuffer()[y]);
}

// The area-of-interest mask as the filters read it: one byte per pixel, 0
// meaning "leave this pixel alone". With no mask every pixel is selected.
struct AoiMask {
    unsigned char** rows = nullptr;

    bool Active() const { return rows != nullptr; }
    bool Selected(int x, int y) const { return rows == nullptr || rows[y][x] != 0; }
    const unsigned char* Row(int y) const { return rows ? rows[y] : nullptr; }
};

// Reads the base's mask for a target. Returns false when a mask is bound
// that cannot serve the target: not created, not one 8-bit channel, or
// smaller than the target (reading it would leave its rows).
inline bool BindAoiMask(CVxLumoraBase& base, CVxImage& target, AoiMask& out) {
    out = AoiMask{};
    CVxImage* mask = base.GetAOIImage();
    if (mask == nullptr) return true;
    if (!mask->IsCreated() || mask->m_nChannel != 1 || mask->m_nBitsPerSample > 8 ||
        mask->m_nWidth < target.m_nWidth || mask->m_nHeight < target.m_nHeight ||
        mask->m_nBytesPerLine < mask->m_nWidth)
        return false;
    out.rows = std::as_const(base).GetAOIImage();
    return true;
}

}  // namespace lumora::detail
