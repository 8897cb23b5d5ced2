#include <lumora/edge_detection.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <type_traits>

#include <lumora/filter.h>

#include "../core/cpu_dispatch.h"
#include "../core/layout.h"
#include "../core/overwrite.h"
#include "../core/parallel.h"
#include "../core/pixels.h"

using namespace lumora::detail;

CVxEdgeDetection::CVxEdgeDetection() = default;

CVxEdgeDetection::CVxEdgeDetection(CVxImage* image) : CVxLumoraBase(image, nullptr) {}

namespace {

// Gradient kernels by direction: 0 diagonal, 1 horizontal edges, 2 vertical
// edges. The diagonal Prewitt runs 2 to -2 along the anti-diagonal, and the
// diagonal Sobel has doubled weights that its divisor of 2 takes back.
const int kPrewitt[3][9] = {
    {0, 1, 2, -1, 0, 1, -2, -1, 0},
    {1, 1, 1, 0, 0, 0, -1, -1, -1},
    {-1, 0, 1, -1, 0, 1, -1, 0, 1},
};
const int kPrewittDivisor[3] = {1, 1, 1};
const int kSobel[3][9] = {
    {-2, -2, 0, -2, 0, 2, 0, 2, 2},
    {1, 2, 1, 0, 0, 0, -1, -2, -1},
    {-1, 0, 1, -2, 0, 2, -1, 0, 1},
};
const int kSobelDivisor[3] = {2, 1, 1};

// |sum / divisor| clamped to the sample range, edges replicated.
int RunGradient(CVxImage* image, CVxImage* aoi, const int (&kernel)[9], int divisor, CVxImage& dest) {
    int copy[9];
    std::copy(std::begin(kernel), std::end(kernel), copy);
    CVxFilter filter(image);
    filter.SetAOIImage(aoi);
    return filter.ConvolveABS(copy, CSize(3, 3), dest, divisor, 0, CONVOLUTION_EXTEND);
}

// L = 8 x centre - sum of the 8 neighbours; integer samples divide it by 8
// (truncating), float samples take it in double precision times 0.125. The
// result is clamped to 0..255 for every sample type, and the outermost rows
// and columns are 0. For 8-bit samples every step fits 16 bits (|L| <= 2040),
// twice as many lanes per vector as 32-bit sums.
// Rows [y0, y1) of an image of n samples per row; the sizes are parameters,
// not captures of a lambda, so that stores through the sample pointers
// cannot alias them and the loop vectorises.
template <class T, int C>
LUMORA_INLINE void LaplacianRows(CVxImage& src, CVxImage& dst, int n, int height, int y0, int y1) {
    using Sum = std::conditional_t<sizeof(T) == 1, std::int16_t, int>;
    const int inner = n - 2 * C;
    for (int y = y0; y < y1; ++y) {
        T* __restrict out = RowOf<T>(dst, y);
        if (y == 0 || y == height - 1 || inner <= 0) {
            std::fill(out, out + n, T{});
            continue;
        }
        std::fill(out, out + C, T{});
        std::fill(out + n - C, out + n, T{});
        const T* __restrict up = RowOf<T>(src, y - 1) + C;
        const T* __restrict mid = RowOf<T>(src, y) + C;
        const T* __restrict down = RowOf<T>(src, y + 1) + C;
        out += C;
        for (int k = 0; k < inner; ++k) {
            if constexpr (kIsFloatSample<T>) {
                const double neighbours = static_cast<double>(up[k - C]) + up[k] + up[k + C] + mid[k - C] +
                                          mid[k + C] + down[k - C] + down[k] + down[k + C];
                double v = (8.0 * mid[k] - neighbours) * 0.125;
                v = v > 0.0 ? v : 0.0;  // also turns NaN into 0
                v = v < 255.0 ? v : 255.0;
                out[k] = static_cast<float>(static_cast<int>(v));
            } else {
                const Sum neighbours = static_cast<Sum>(up[k - C] + up[k] + up[k + C] + mid[k - C] + mid[k + C] +
                                                        down[k - C] + down[k] + down[k + C]);
                const Sum v = static_cast<Sum>(static_cast<Sum>(8 * mid[k] - neighbours) / 8);
                out[k] = static_cast<T>(std::clamp<Sum>(v, 0, 255));
            }
        }
    }
}

template <class T, int C>
void Laplacian(CVxImage& src, CVxImage& dst) {
    const int n = src.m_nWidth * C, height = src.m_nHeight;
    ParallelRows(0, height, static_cast<std::int64_t>(n) * 10, [&](int y0, int y1) {
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { LaplacianRows<T, C>(src, dst, n, height, y0, y1); });
    });
}

}  // namespace

int CVxEdgeDetection::Prewitt(CVxImage& dest, PREWITT_FLAG flag) {
    if (flag < 0 || flag > 2) return FALSE;
    return RunGradient(m_pImage, m_pAOIImage, kPrewitt[flag], kPrewittDivisor[flag], dest);
}

int CVxEdgeDetection::Sobel3(CVxImage& dest, SOBEL_FLAG flag) {
    if (flag < 0 || flag > 2) return FALSE;
    return RunGradient(m_pImage, m_pAOIImage, kSobel[flag], kSobelDivisor[flag], dest);
}

int CVxEdgeDetection::Laplacian3(CVxImage& dest) {
    if (m_pImage == nullptr) return FALSE;
    // The destination is cleared before it is written; when it is the target
    // itself, read from a copy so the response is that of the source.
    std::optional<CVxImage> sourceCopy;
    CVxImage* source = m_pImage;
    if (source == &dest) {
        sourceCopy.emplace(*source);
        source = &*sourceCopy;
    }
    CVxImage& src = *source;
    // Every sample is written: zero or the response.
    AssignForOverwrite(src, dest, src.m_nChannel);
    const bool dispatched = DispatchLayout(src, src.m_nChannel, [&]<class T, int C>() { Laplacian<T, C>(src, dest); });
    return dispatched ? TRUE : FALSE;
}

int CVxEdgeDetection::FeiChen(CVxImage&) { return FALSE; }
int CVxEdgeDetection::Laplacian3Minus(CVxImage&) { return FALSE; }
int CVxEdgeDetection::Laplacian3Prewitt(CVxImage&) { return FALSE; }
int CVxEdgeDetection::Laplacian3_4(CVxImage&) { return FALSE; }
int CVxEdgeDetection::Laplacian5(CVxImage&) { return FALSE; }
int CVxEdgeDetection::Laplacian9(CVxImage&) { return FALSE; }
int CVxEdgeDetection::MedianSquare2x2(CVxImage&) { return FALSE; }
int CVxEdgeDetection::PixelDifference(CVxImage&) { return FALSE; }
int CVxEdgeDetection::Roberts2(CVxImage&) { return FALSE; }
int CVxEdgeDetection::SeperatedPixelDifference(CVxImage&) { return FALSE; }
int CVxEdgeDetection::ShadowMask(CVxImage&) { return FALSE; }
