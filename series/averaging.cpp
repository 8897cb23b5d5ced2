#include <lumora/averaging.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include <lumora/drawing.h>

#include "../core/cpu_dispatch.h"
#include "../core/layout.h"
#include "../core/parallel.h"
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
// column of the result are 0. The sums are built in bands of rows, every
// frame added in order for each lane, so a vector lane does exactly what the
// scalar code does for its sample; threads take separate rows. While no sum can
// reach 2^24 the sums are kept as integers (16-bit lanes for up to 257 8-bit
// frames), which are then exactly the float sums.
//
// The destination's samples are defined as cleared before any frame is read,
// so a frame that is the destination itself adds only zeros: such a frame is
// left out of the sums (adding +0 to a non-negative sum changes nothing) while
// still counting in n. Only the last row and column are then cleared, since
// every other sample is overwritten.

namespace {

// Adds up to four frames' row y to `sums`, in array order for each lane.
template <int K, class A, class T>
LUMORA_INLINE void AddRows(CVxImage* const* frames, int y, A* __restrict sums, std::ptrdiff_t count) {
    const T* __restrict in[K];
    for (int k = 0; k < K; ++k) in[k] = RowOf<T>(*frames[k], y);
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        A sum = sums[i];
        for (int k = 0; k < K; ++k) sum = static_cast<A>(sum + static_cast<A>(in[k][i]));
        sums[i] = sum;
    }
}

template <class A, class T>
LUMORA_INLINE void StoreMeans(const A* __restrict sums, T* __restrict out, std::ptrdiff_t count, float divisor) {
    for (std::ptrdiff_t i = 0; i < count; ++i)
        out[i] = static_cast<T>(static_cast<std::int32_t>(static_cast<float>(sums[i]) / divisor));
}

// Rows are summed in bands: each pass adds four frames to every row of the
// band, so only four frames are read side by side, each over consecutive
// rows, which the hardware prefetcher follows; the band's sums stay in cache.
constexpr int kBandBytes = 768 * 1024;

template <class A, class T>
void AverageRows(CVxImage& dest, const std::vector<CVxImage*>& read, std::ptrdiff_t count, float divisor) {
    const int rows = dest.m_nHeight - 1;
    const int band = static_cast<int>(std::clamp<std::ptrdiff_t>(kBandBytes / (count * sizeof(A)), 1, rows));
    CVxImage* const* frames = read.data();
    const size_t frameCount = read.size();
    // Each thread sums its own rows, each sum over the frames in order as on
    // one thread.
    ParallelRows(0, rows, static_cast<std::int64_t>(count) * static_cast<std::int64_t>(frameCount + 1), [&](int y0, int y1) {
        std::vector<A> sums(static_cast<size_t>(count) * static_cast<size_t>(std::min(band, y1 - y0)));
        for (int top = y0; top < y1; top += band) {
            const int bottom = std::min(top + band, y1);
            std::fill(sums.begin(), sums.end(), A{0});
            for (size_t f = 0; f < frameCount; f += 4) {
                const size_t group = std::min<size_t>(4, frameCount - f);
                for (int y = top; y < bottom; ++y) {
                    A* rowSums = sums.data() + static_cast<std::ptrdiff_t>(y - top) * count;
                    CVxImage* const* from = frames + f;
                    RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA {
                        switch (group) {
                            case 4: AddRows<4, A, T>(from, y, rowSums, count); break;
                            case 3: AddRows<3, A, T>(from, y, rowSums, count); break;
                            case 2: AddRows<2, A, T>(from, y, rowSums, count); break;
                            default: AddRows<1, A, T>(from, y, rowSums, count); break;
                        }
                    });
                }
            }
            for (int y = top; y < bottom; ++y) {
                const A* rowSums = sums.data() + static_cast<std::ptrdiff_t>(y - top) * count;
                T* out = RowOf<T>(dest, y);
                RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { StoreMeans<A, T>(rowSums, out, count, divisor); });
            }
        }
    });
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
    const float divisor = static_cast<float>(n);
    // Sums of whole numbers below 2^24 are exact in float, so while the
    // largest possible sum stays below that, integer sums are the float sums.
    const std::int64_t largest = std::int64_t{kSampleMax<T>} * n;
    if (sizeof(T) == 1 && largest <= 0xFFFF)
        AverageRows<std::uint16_t, T>(dest, read, count, divisor);
    else if (largest < (std::int64_t{1} << 24))
        AverageRows<std::uint32_t, T>(dest, read, count, divisor);
    else
        AverageRows<float, T>(dest, read, count, divisor);
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
