#include <lumora/drawing.h>
#include <lumora/geometry_processing.h>
#include <lumora/misc_processing.h>

#include <array>
#include <cstring>
#include <vector>

#include "../core/units.h"

using namespace lumora::detail;

CVxGeometryProcessing::CVxGeometryProcessing() : m_BackColor(0) {}

CVxGeometryProcessing::CVxGeometryProcessing(CVxImage* image) : CVxLumoraBase(image, nullptr), m_BackColor(0) {}

CVxGeometryProcessing& CVxGeometryProcessing::operator=(const CVxGeometryProcessing& other) {
    CVxLumoraBase::operator=(other);
    m_BackColor = other.m_BackColor;
    return *this;
}

namespace {

// Replaces the low `count` bytes of the word, channel i in bits 8i..8i+7.
DWORD WithChannels(DWORD word, const BYTE* values, int count) {
    for (int i = 0; i < count; ++i)
        word = (word & ~(DWORD{0xFF} << (8 * i))) | (DWORD{values[i]} << (8 * i));
    return word;
}

}  // namespace

void CVxGeometryProcessing::SetBackColor(BYTE value) { m_BackColor = WithChannels(m_BackColor, &value, 1); }
void CVxGeometryProcessing::SetBackColor(tagVXG2 value) { m_BackColor = WithChannels(m_BackColor, value.v, 2); }
void CVxGeometryProcessing::SetBackColor(tagVXG3 value) { m_BackColor = WithChannels(m_BackColor, value.v, 3); }
void CVxGeometryProcessing::SetBackColor(tagVXG4 value) { m_BackColor = WithChannels(m_BackColor, value.v, 4); }

// Flip moves whole pixels and never looks at them, so it is written for
// units of N bytes. The results are those of the plain method (rows
// exchanged through a scratch row, pixels exchanged pairwise within a row);
// the method differs for speed: a row is reversed into a scratch row that
// stays in the first-level cache and copied back, and FLIP_BOTH reverses
// each pair of rows into each other in one pass instead of two.

namespace {

// Exchanges n bytes in 32-byte blocks, which the compiler keeps in vector
// registers.
void SwapBytes(unsigned char* a, unsigned char* b, size_t n) {
    constexpr size_t kBlock = 32;
    size_t i = 0;
    for (; i + kBlock <= n; i += kBlock) {
        unsigned char ta[kBlock], tb[kBlock];
        std::memcpy(ta, a + i, kBlock);
        std::memcpy(tb, b + i, kBlock);
        std::memcpy(a + i, tb, kBlock);
        std::memcpy(b + i, ta, kBlock);
    }
    for (; i < n; ++i) std::swap(a[i], b[i]);
}

// out[x] = in[width - 1 - x]; the two rows must not overlap.
template <size_t N>
void ReverseInto(unsigned char* __restrict out, const unsigned char* __restrict in, int width) {
    using U = Unit<N>;
    const U* from = reinterpret_cast<const U*>(in) + width;
    U* to = reinterpret_cast<U*>(out);
    for (int x = 0; x < width; ++x) to[x] = from[-1 - x];
}

template <size_t N>
void FlipUnits(CVxImage& image, int flag) {
    const int W = image.m_nWidth, H = image.m_nHeight;
    void** rows = image.Get2DBuffer();
    const size_t rowBytes = static_cast<size_t>(W) * N;
    auto row = [&](int y) { return static_cast<unsigned char*>(rows[y]); };
    if (flag == CVxGeometryProcessing::FLIP_VERTICAL) {
        for (int y = 0; y < H / 2; ++y) SwapBytes(row(y), row(H - 1 - y), rowBytes);
        return;
    }
    std::vector<unsigned char> scratch(rowBytes);
    if (flag == CVxGeometryProcessing::FLIP_HORIZONTAL) {
        for (int y = 0; y < H; ++y) {
            ReverseInto<N>(scratch.data(), row(y), W);
            std::memcpy(row(y), scratch.data(), rowBytes);
        }
        return;
    }
    for (int y = 0; y < H / 2; ++y) {
        unsigned char* top = row(y);
        unsigned char* bottom = row(H - 1 - y);
        ReverseInto<N>(scratch.data(), bottom, W);
        ReverseInto<N>(bottom, top, W);
        std::memcpy(top, scratch.data(), rowBytes);
    }
    if (H % 2 != 0) {
        ReverseInto<N>(scratch.data(), row(H / 2), W);
        std::memcpy(row(H / 2), scratch.data(), rowBytes);
    }
}

// Flip's own sample rule: 1 to 8 bits one byte, 16 two, 32 four, nothing else.
int FlipSampleBytes(int bitsPerSample) {
    if (bitsPerSample >= 1 && bitsPerSample <= 8) return 1;
    if (bitsPerSample == 16) return 2;
    if (bitsPerSample == 32) return 4;
    return 0;
}

}  // namespace

int CVxGeometryProcessing::Flip(FLIP_FLAG flag) {
    CVxImage* image = m_pImage;
    if (image == nullptr) return FALSE;
    const int flagValue = static_cast<int>(flag);
    const bool known = flagValue == FLIP_VERTICAL || flagValue == FLIP_HORIZONTAL || flagValue == FLIP_BOTH;
    const bool dispatched =
        DispatchUnit(*image, image->m_nChannel, FlipSampleBytes(image->m_nBitsPerSample), [&]<size_t N>() {
            if (known) FlipUnits<N>(*image, flagValue);
        });
    return dispatched ? TRUE : FALSE;
}

// Shift fills the whole target with the background colour, one byte value
// per channel widened to the sample type (255 stays 255 in 16-bit and float
// images), then pastes a copy of the old content at the offset rectangle.
// The paste clips, and refuses an intersection one pixel wide or high, so
// such shifts leave only the background and answer FALSE.
int CVxGeometryProcessing::Shift(CPoint offset) {
    CVxImage* image = m_pImage;
    if (image == nullptr) return FALSE;
    const int channels = ModelChannels(*image);
    if (channels < 1 || channels > 4) return static_cast<int>(offset.y);

    CVxImage old(*image);
    CRect whole(0, 0, image->m_nWidth - 1, image->m_nHeight - 1);
    DispatchThreeWayLayout(image->m_nBitsPerSample, channels, [&]<class T, int C>() {
        T samples[C];
        for (int c = 0; c < C; ++c) samples[c] = static_cast<T>((m_BackColor >> (8 * c)) & 0xFF);
        auto value = ZeroPixel<T, C>();
        static_assert(sizeof value == sizeof samples);
        std::memcpy(&value, samples, sizeof value);
        CVxDrawing(image).SetFill(value, whole);
    });
    whole.OffsetRect(offset);
    CVxMiscProcessing paste(image);
    return paste.PasteFrom(old, whole);
}
