#include <lumora/averaging.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include <lumora/drawing.h>

#include "../core/cpu_dispatch.h"
#include "../core/layout.h"
#include "../core/pixels.h"

using namespace lumora::detail;

// The mean of n frames, sample by sample, in this exact arithmetic: a
// single-precision sum that starts at 0 and adds the frames in array order,
// divided by n converted to single precision, truncated toward zero and
// stored as the 8-bit or 16-bit sample. Sums of whole numbers are exact below
// 2^24, so 8-bit series of any practical length never round; a long 16-bit
// series does, and then the order of the additions decides the result.
//
// Only rows 0..H-2 and columns 0..W-2 are averaged: the last row and the last
// column of the result are 0. The result is built one row at a time into a
// row of float sums, every frame added in order for each lane, so a vector
// lane does exactly what the scalar code does for its sample.
//
// The destination's samples are defined as cleared before any frame is read,
// so a frame that is the destination itself adds only zeros: such a frame is
// left out of the sums (adding +0 to a non-negative sum changes nothing) while
// still counting in n. Only the last row and column are then cleared, since
// every other sample is overwritten.

namespace {

template <class T>
LUMORA_INLINE void AverageRow(CVxImage* const* frames, size_t frameCount, int y, float* __restrict sums,
                              T* __restrict out, std::ptrdiff_t count, float divisor) {
    std::fill(sums, sums + count, 0.0f);
    for (size_t f = 0; f < frameCount; ++f) {
        const T* __restrict in = RowOf<T>(*frames[f], y);
        for (std::ptrdiff_t i = 0; i < count; ++i) sums[i] += static_cast<float>(in[i]);
    }
    for (std::ptrdiff_t i = 0; i < count; ++i)
        out[i] = static_cast<T>(static_cast<std::int32_t>(sums[i] / divisor));
}

// dest already holds the first frame's copy and has its layout. Every frame
// must have a block that holds the first frame's rows at its row length;
// otherwise the series is refused before dest changes further.
template <class T, int C>
bool AverageFrames(CVxImageArray& array, CVxImage& dest) {
    const int width = dest.m_nWidth, height = dest.m_nHeight;
    const std::int64_t rowBytes = std::int64_t{width} * C * static_cast<std::int64_t>(sizeof(T));
    const int n = array.GetSize();
    std::vector<CVxImage*> read;
    for (int k = 0; k < n; ++k) {
        CVxImage* frame = array.GetAt(k);
        if (frame == nullptr || !frame->IsCreated() || frame->m_nHeight < height ||
            frame->m_nBytesPerLine < rowBytes)
            return false;
        if (frame != &dest) read.push_back(frame);
    }

    CVxDrawing clear(&dest);
    const PixelRecord<T, C> zero{};
    clear.SetFill(zero, CRect(width - 1, 0, width - 1, height - 1));
    clear.SetFill(zero, CRect(0, height - 1, width - 1, height - 1));
    if (width < 2 || height < 2) return true;

    const std::ptrdiff_t count = static_cast<std::ptrdiff_t>(width - 1) * C;
    std::vector<float> sums(static_cast<size_t>(count));
    const float divisor = static_cast<float>(n);
    CVxImage* const* frames = read.data();
    const size_t frameCount = read.size();
    for (int y = 0; y < height - 1; ++y) {
        T* out = RowOf<T>(dest, y);
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA {
            AverageRow<T>(frames, frameCount, y, sums.data(), out, count, divisor);
        });
    }
    return true;
}

}  // namespace

CVxAveraging::CVxAveraging(CVxImageArray* frames) : CVxLumoraBase(frames, nullptr) {}

int CVxAveraging::Averaging(CVxImage& dest, int mode) { return mode == 0 ? AveragingAverage(dest) : FALSE; }

int CVxAveraging::AveragingAverage(CVxImage& dest) {
    if (m_pImageArray == nullptr || m_pImageArray->GetSize() == 0) return FALSE;
    CVxImage* first = m_pImageArray->GetAt(0);
    if (first == nullptr) return FALSE;
    dest = *first;
    // A single frame is its own mean, whatever its layout.
    if (m_pImageArray->GetSize() == 1) return TRUE;
    const int channels = ModelChannels(*first);
    if (channels != 1 && channels != 3 && channels != 4) return FALSE;
    bool done = false;
    DispatchLayout(*first, channels, [&]<class T, int C>() {
        if constexpr (!kIsFloatSample<T>) done = AverageFrames<T, C>(*m_pImageArray, dest);
    });
    return done ? TRUE : FALSE;
}

int CVxAveraging::AveragingAccumulation(CVxImage& /*dest*/) { return FALSE; }

int CVxAveraging::AveragingMinMax(CVxImage& /*dest*/) { return FALSE; }
