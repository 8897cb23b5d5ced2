// Straightforward references for the geometry tests: pixels moved one at a
// time as bytes, indices computed per pixel from the stated formulas.
#pragma once

#include <cmath>
#include <functional>

#include "test_support.h"

namespace lumora::test {

inline size_t PixelBytes(const CVxImage& image) {
    return static_cast<size_t>(image.m_nChannel) * CVxImageInfo::GetSampleBytes(image.m_nBitsPerSample);
}

inline unsigned char* PixelAt(CVxImage& image, int x, int y) {
    return static_cast<unsigned char*>(image.Get2DBuffer()[y]) + x * PixelBytes(image);
}

inline void CopyPixel(CVxImage& to, int tx, int ty, CVxImage& from, int fx, int fy) {
    std::memcpy(PixelAt(to, tx, ty), PixelAt(from, fx, fy), PixelBytes(to));
}

// An image of `width` x `height` in the layout of `like` whose pixel (x, y)
// is like(map(x, y)).
using PixelMap = std::function<std::pair<int, int>(int, int)>;
inline CVxImage Mapped(CVxImage& like, int width, int height, const PixelMap& map) {
    CVxImage out(like.m_ColorModel, like.m_nBitsPerSample, width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const auto [sx, sy] = map(x, y);
            CopyPixel(out, x, y, like, sx, sy);
        }
    return out;
}

// Clamped truncation of a non-negative index to 0..size-1.
inline int Index(double v, int size) { return v >= size ? size - 1 : static_cast<int>(v); }

// Bilinear with truncation at each of the three stages, per pixel.
inline CVxImage RefBilinear(CVxImage& src, int width, int height) {
    CVxImage out(src.m_ColorModel, src.m_nBitsPerSample, width, height);
    const double sx = double(src.m_nWidth) / width, sy = double(src.m_nHeight) / height;
    const bool wide = src.m_nBitsPerSample > 8;
    auto narrow = [&](double v) { return wide ? double(std::uint16_t(int(v))) : double(std::uint8_t(int(v))); };
    for (int x = 0; x < width; ++x)
        for (int y = 0; y < height; ++y) {
            const double u = x * sx, v = y * sy;
            const int x0 = int(std::floor(u)), y0 = int(std::floor(v));
            const int x1 = x0 + 1 < src.m_nWidth ? x0 + 1 : x0, y1 = y0 + 1 < src.m_nHeight ? y0 + 1 : y0;
            const double fx = u - x0, fy = v - y0;
            for (int c = 0; c < src.m_nChannel; ++c) {
                const double top = narrow(Sample(src, x0, y0, c) * (1 - fx) + Sample(src, x1, y0, c) * fx);
                const double bottom = narrow(Sample(src, x0, y1, c) * (1 - fx) + Sample(src, x1, y1, c) * fx);
                SetSample(out, x, y, c, narrow(top * (1 - fy) + bottom * fy));
            }
        }
    return out;
}

}  // namespace lumora::test
