#include <lumora/drawing.h>
#include <lumora/geometry_processing.h>
#include <lumora/misc_processing.h>

#include <array>
#include <cstdint>
#include <type_traits>
#include <cstring>
#include <vector>

#include "../core/cpu_dispatch.h"
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
// the method differs for speed: rows are exchanged in place without a
// scratch row, a row is reversed from a copy of it, and FLIP_BOTH reverses
// each pair of rows into each other in one pass instead of two.

namespace {

// Exchanges n bytes; the rows never overlap, which lets the compiler keep
// the loop in vector registers.
LUMORA_INLINE void SwapBytes(unsigned char* __restrict a, unsigned char* __restrict b, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        const unsigned char t = a[i];
        a[i] = b[i];
        b[i] = t;
    }
}

// The unsigned integer type of N bytes, where there is one.
template <size_t N>
using WordOf = std::conditional_t<N == 1, std::uint8_t, std::conditional_t<N == 2, std::uint16_t, std::uint32_t>>;

// Sixteen bytes as one vector, and the 16 / N units of N bytes at its start
// in reverse order (the remaining bytes are undefined).
typedef unsigned char Bytes16 __attribute__((vector_size(16)));

template <size_t N>
LUMORA_INLINE Bytes16 ReverseUnits16(Bytes16 v) {
#if defined(__clang__)
    if constexpr (N == 3) return __builtin_shufflevector(v, v, 12, 13, 14, 9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2, 15);
    else return __builtin_shufflevector(v, v, 6, 7, 8, 9, 10, 11, 0, 1, 2, 3, 4, 5, 12, 13, 14, 15);
#else
    if constexpr (N == 3) return __builtin_shuffle(v, Bytes16{12, 13, 14, 9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2, 15});
    else return __builtin_shuffle(v, Bytes16{6, 7, 8, 9, 10, 11, 0, 1, 2, 3, 4, 5, 12, 13, 14, 15});
#endif
}

// out[x] = in[width - 1 - x]; the two rows must not overlap. Units of 1, 2
// and 4 bytes are reversed as integers, a loop the compiler turns into
// vector shuffles; units of 3 and 6 bytes are reversed in groups by a byte
// shuffle. Rows start at multiples of four bytes, so the integer view is
// aligned.
template <size_t N>
LUMORA_INLINE void ReverseInto(unsigned char* __restrict out, const unsigned char* __restrict in, int width) {
    const size_t W = static_cast<size_t>(width);
    if constexpr (N == 1 || N == 2 || N == 4) {
        using Word = WordOf<N>;
        Word* __restrict to = reinterpret_cast<Word*>(out);
        const Word* __restrict from = reinterpret_cast<const Word*>(in);
        for (size_t x = 0; x < W; ++x) to[x] = from[W - 1 - x];
    } else if constexpr (N == 3 || N == 6) {
        // K units a 16-byte vector, reversed by one byte shuffle; the
        // vector's last bytes are overwritten by the next group. The first
        // unit is copied alone so that no load reads past the input row.
        constexpr size_t K = 16 / N;
        if (W == 0) return;
        std::memcpy(out, in + (W - 1) * N, N);
        size_t x = 1;
        for (; (x + K) * N + (16 - K * N) <= W * N; x += K) {
            Bytes16 v;
            std::memcpy(&v, in + (W - K - x) * N, 16);
            v = ReverseUnits16<N>(v);
            std::memcpy(out + x * N, &v, 16);
        }
        for (; x < W; ++x) std::memcpy(out + x * N, in + (W - 1 - x) * N, N);
    } else {
        for (size_t x = 0; x < W; ++x) std::memcpy(out + x * N, in + (W - 1 - x) * N, N);
    }
}

template <size_t N>
void FlipUnits(CVxImage& image, int flag) {
    const int W = image.m_nWidth, H = image.m_nHeight;
    void** rows = image.Get2DBuffer();
    const size_t rowBytes = static_cast<size_t>(W) * N;
    auto row = [&](int y) { return static_cast<unsigned char*>(rows[y]); };
    if (flag == CVxGeometryProcessing::FLIP_VERTICAL) {
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA {
            for (int y = 0; y < H / 2; ++y) SwapBytes(row(y), row(H - 1 - y), rowBytes);
        });
        return;
    }
    // Rows are first copied forward into scratch rows, so that memory is
    // read in the order the prefetcher follows, and reversed back from there.
    std::vector<unsigned char> scratch(2 * rowBytes);
    unsigned char* a = scratch.data();
    unsigned char* b = a + rowBytes;
    const bool both = flag == CVxGeometryProcessing::FLIP_BOTH;
    RunForCpu<Isa::Avx2, Isa::Ssse3>([&]() LUMORA_INLINE_LAMBDA {
        for (int y = 0; y < (both ? H / 2 : H); ++y) {
            const int mirror = both ? H - 1 - y : y;
            std::memcpy(a, row(y), rowBytes);
            if (both) std::memcpy(b, row(mirror), rowBytes);
            ReverseInto<N>(row(y), both ? b : a, W);
            if (both) ReverseInto<N>(row(mirror), a, W);
        }
        if (both && H % 2 != 0) {
            std::memcpy(a, row(H / 2), rowBytes);
            ReverseInto<N>(row(H / 2), a, W);
        }
    });
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
