#include <lumora/drawing.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "../core/layout.h"

using namespace lumora::detail;

CVxDrawing::CVxDrawing() = default;

CVxDrawing::CVxDrawing(CVxImage* image) : CVxLumoraBase(image, nullptr) {}

// The value is written as raw bytes, pixel after pixel at a stride of its
// size, whatever the target's colour model. Every overload reduces to one of
// these routines on the value's bytes, so records of equal size share a body.

namespace {

template <size_t N>
using Bytes = std::array<unsigned char, N>;

template <class V>
Bytes<sizeof(V)> BytesOf(const V& value) {
    Bytes<sizeof(V)> out;
    std::memcpy(out.data(), &value, sizeof(V));
    return out;
}

// A target whose rows cannot hold its width in values of this size is
// refused instead of written past its rows.
bool CanHold(CVxImage* target, size_t valueSize) {
    if (target == nullptr || !target->IsCreated() || target->m_nWidth < 0 || target->m_nHeight < 0) return false;
    return static_cast<std::int64_t>(target->m_nWidth) * static_cast<std::int64_t>(valueSize) <=
               target->m_nBytesPerLine ||
           target->m_nHeight == 0;
}

template <size_t N>
int FillMasked(CVxImage* target, const Bytes<N>& value, CVxImage& mask) {
    if (!CanHold(target, N)) return FALSE;
    // The mask is read one byte per pixel: the first byte of each of its
    // pixels. A mask that does not cover the target is refused.
    if (!mask.IsCreated() || mask.m_nChannel < 1 || mask.m_nWidth < target->m_nWidth ||
        mask.m_nHeight < target->m_nHeight)
        return FALSE;
    const std::int64_t maskPixel =
        static_cast<std::int64_t>(mask.m_nChannel) * CVxImageInfo::GetSampleBytes(mask.m_nBitsPerSample);
    if (target->m_nWidth > 0 && maskPixel * target->m_nWidth > mask.m_nBytesPerLine) return FALSE;
    const size_t step = static_cast<size_t>(maskPixel);
    for (int y = 0; y < target->m_nHeight; ++y) {
        const unsigned char* m = static_cast<const unsigned char*>(mask.Get2DBuffer()[y]);
        unsigned char* out = static_cast<unsigned char*>(target->Get2DBuffer()[y]);
        for (int x = 0; x < target->m_nWidth; ++x)
            if (m[x * step] != 0) std::memcpy(out + static_cast<size_t>(x) * N, value.data(), N);
    }
    return TRUE;
}

template <size_t N>
int FillRect(CVxImage* target, const Bytes<N>& value, CRect rect) {
    if (!CanHold(target, N)) return FALSE;
    const int W = target->m_nWidth, H = target->m_nHeight;
    // Unlike the region argument of the processing operations, the fill
    // knows no whole-image rectangle: (-1, -1, -1, -1) misses the image.
    rect.NormalizeRect();
    if (rect.left > W - 1 || rect.right < 0 || rect.top > H - 1 || rect.bottom < 0) return FALSE;
    const int left = std::max<int>(rect.left, 0), top = std::max<int>(rect.top, 0);
    const int right = std::min<int>(rect.right, W - 1), bottom = std::min<int>(rect.bottom, H - 1);

    const size_t spanBytes = static_cast<size_t>(right - left + 1) * N;
    const size_t start = static_cast<size_t>(left) * N;
    if constexpr (N == 1) {
        for (int y = top; y <= bottom; ++y)
            std::memset(static_cast<unsigned char*>(target->Get2DBuffer()[y]) + start, value[0], spanBytes);
    } else {
        // One row of the pattern, built by doubling, then copied to every row.
        std::vector<unsigned char> pattern(spanBytes);
        std::memcpy(pattern.data(), value.data(), N);
        for (size_t filled = N; filled < spanBytes; filled *= 2)
            std::memcpy(pattern.data() + filled, pattern.data(), std::min(filled, spanBytes - filled));
        for (int y = top; y <= bottom; ++y)
            std::memcpy(static_cast<unsigned char*>(target->Get2DBuffer()[y]) + start, pattern.data(), spanBytes);
    }
    return TRUE;
}

}  // namespace

int CVxDrawing::SetFill(unsigned char value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }
int CVxDrawing::SetFill(unsigned short value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }
int CVxDrawing::SetFill(float value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }
int CVxDrawing::SetFill(tagVXG2 value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }
int CVxDrawing::SetFill(tagVXG3 value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }
int CVxDrawing::SetFill(tagVXG4 value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }
int CVxDrawing::SetFill(tagVXGW2 value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }
int CVxDrawing::SetFill(tagVXGW3 value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }
int CVxDrawing::SetFill(tagVXGW4 value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }
int CVxDrawing::SetFill(tagVXGF2 value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }
int CVxDrawing::SetFill(tagVXGF3 value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }
int CVxDrawing::SetFill(tagVXGF4 value, CVxImage& mask) { return FillMasked(m_pImage, BytesOf(value), mask); }

int CVxDrawing::SetFill(unsigned char value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
int CVxDrawing::SetFill(unsigned short value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
int CVxDrawing::SetFill(float value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
int CVxDrawing::SetFill(tagVXG2 value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
int CVxDrawing::SetFill(tagVXG3 value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
int CVxDrawing::SetFill(tagVXG4 value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
int CVxDrawing::SetFill(tagVXGW2 value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
int CVxDrawing::SetFill(tagVXGW3 value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
int CVxDrawing::SetFill(tagVXGW4 value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
int CVxDrawing::SetFill(tagVXGF2 value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
int CVxDrawing::SetFill(tagVXGF3 value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
int CVxDrawing::SetFill(tagVXGF4 value, CRect rect) { return FillRect(m_pImage, BytesOf(value), rect); }
