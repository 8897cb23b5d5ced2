#include "overwrite.h"

#include <cstdint>
#include <cstring>

#include "layout.h"

namespace lumora::detail {

namespace {

// Rows lie back to back at m_nBytesPerLine, as the store creates them; an
// image whose row pointers were edited afterwards may not match that.
bool RowsAreContiguous(CVxImage& image) {
    auto* block = static_cast<unsigned char*>(image.GetBuffer());
    void** rows = image.Get2DBuffer();
    for (int y = 0; y < image.m_nHeight; ++y)
        if (rows[y] != block + static_cast<std::ptrdiff_t>(y) * image.m_nBytesPerLine) return false;
    return true;
}

// True when bits-per-sample-ex points at the image's own four values (the
// state the store keeps); the assignment copies those, not what a caller
// may have pointed it at.
bool OwnsBitsPerSampleEx(const CVxImage& image) {
    const auto p = reinterpret_cast<std::uintptr_t>(image.m_pBitsPerSampleEx);
    const auto self = reinterpret_cast<std::uintptr_t>(&image);
    return p >= self && p + 4 * sizeof(int) <= self + sizeof(CVxImage);
}

}  // namespace

bool CanSkipSampleCopy(CVxImage& source, CVxImage& dest, int channels) {
    if (&dest == &source || !source.IsCreated() || !dest.IsCreated()) return false;
    if (dest.m_nHeight != source.m_nHeight || dest.m_nBytesPerLine != source.m_nBytesPerLine) return false;
    const SampleKind kind = SampleKindOf(source.m_nBitsPerSample);
    if (kind == SampleKind::None || channels < 1 || channels > 4) return false;
    const int sampleBytes = kind == SampleKind::U8 ? 1 : kind == SampleKind::U16 ? 2 : 4;
    if (!HasPixelBlockFor(source, channels, sampleBytes) || source.m_nWidth < 0 || source.m_nHeight < 0) return false;
    if (!RowsAreContiguous(source) || !RowsAreContiguous(dest)) return false;
    return OwnsBitsPerSampleEx(source) && OwnsBitsPerSampleEx(dest);
}

void AssignForOverwrite(CVxImage& source, CVxImage& dest, int channels) {
    if (!CanSkipSampleCopy(source, dest, channels)) {
        dest = source;
        return;
    }
    dest.m_ColorModel = source.m_ColorModel;
    dest.m_nChannel = source.m_nChannel;
    dest.m_nBitsPerSample = source.m_nBitsPerSample;
    dest.SetBitsPerSampleEx(source.m_pBitsPerSampleEx);
    dest.m_nWidth = source.m_nWidth;
    dest.m_nImageSize = source.m_nImageSize;
    dest.m_Palette = source.m_Palette;
    const size_t rowBytes = static_cast<size_t>(source.m_nBytesPerLine);
    const size_t sampleBytes =
        static_cast<size_t>(source.m_nWidth) * static_cast<size_t>(channels) *
        static_cast<size_t>(CVxImageInfo::GetSampleBytes(source.m_nBitsPerSample));
    if (sampleBytes >= rowBytes) return;
    auto* from = static_cast<const unsigned char*>(source.GetBuffer());
    auto* to = static_cast<unsigned char*>(dest.GetBuffer());
    for (int y = 0; y < source.m_nHeight; ++y) {
        const size_t row = static_cast<size_t>(y) * rowBytes;
        std::memcpy(to + row + sampleBytes, from + row + sampleBytes, rowBytes - sampleBytes);
    }
}

}  // namespace lumora::detail
