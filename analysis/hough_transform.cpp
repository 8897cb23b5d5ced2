// Hough line detection.
//
// Voting contract: for a pixel in buffer row r and column c, x = c + 1 (one-
// based) and y = H - 1 - r (bottom row 0). At angle bin t the distance is
//     rho = (cos[t] * x + sin[t] * y) * rhoScale + (R / 2)
// in double precision, evaluated in exactly that order (multiply, multiply,
// add, multiply, add; no fused operations), where cos/sin come from angles
// accumulated by repeated addition of the step. A pixel votes its grey value
// into bin truncate(rho) when 0 <= rho < R. Folding the scale into the tables
// would round differently and move votes between bins, so it is not done.
//
// Fast method: zero pixels add nothing and are skipped. The remaining pixels
// are gathered in chunks; for each angle the chunk's bin indices are computed
// as one vectorisable loop (the same operations per lane as the scalar
// formula) and then added into that angle's row, which stays in cache. Sums
// of integers do not depend on their order, so every count is exact.
#include <lumora/hough_transform.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numbers>
#include <type_traits>
#include <vector>

#include <lumora/histogram_processing.h>

#include "../core/cpu_dispatch.h"
#include "../core/layout.h"

using namespace lumora::detail;

namespace {

constexpr int kThetaCount = 360;
constexpr double kPi = std::numbers::pi;

// Non-zero pixels waiting to vote: coordinates as doubles, grey values.
struct VoteChunk {
    static constexpr int kSize = 2048;
    double x[kSize];
    double y[kSize];
    DWORD weight[kSize];
    int bin[kSize];
    int count = 0;
};

LUMORA_INLINE void CastVotes(VoteChunk& chunk, DWORD** rows, const double* cosines, const double* sines, int thetas,
                             double scale, double half, double limit) {
    const int n = chunk.count;
    const double* xs = chunk.x;
    const double* ys = chunk.y;
    int* bins = chunk.bin;
    for (int t = 0; t < thetas; ++t) {
        const double c = cosines[t], s = sines[t];
        for (int k = 0; k < n; ++k) {
            const double rho = (c * xs[k] + s * ys[k]) * scale + half;
            const double kept = (rho >= 0.0 && rho < limit) ? rho : -1.0;
            bins[k] = static_cast<int>(kept);
        }
        DWORD* row = rows[t];
        for (int k = 0; k < n; ++k)
            if (bins[k] >= 0) row[bins[k]] += chunk.weight[k];
    }
    chunk.count = 0;
}

// truncate(v) limited to 0..hi; `clamped` tells whether the limit applied.
int TruncClamp(double v, int hi, bool& clamped) {
    clamped = true;
    if (!(v > -1.0)) return 0;
    if (v >= hi + 1.0) return hi;
    clamped = false;
    return static_cast<int>(v);
}

// The pixel Inverse sets at step i of the line (row i of a steep line,
// column i of a flat one), as (column, row).
CPoint LinePixel(double rho, double c, double s, int i, int width, int height, bool& clamped) {
    if (std::fabs(c) > 0.5) {
        const int y = height - 1 - i;
        return CPoint(TruncClamp((rho - y * s) / c, width - 1, clamped), i);
    }
    return CPoint(i, height - 1 - TruncClamp((rho - i * c) / s, height - 1, clamped));
}

}  // namespace

CVxHoughTransform::CVxHoughTransform() : CVxHoughTransform(nullptr) {}

CVxHoughTransform::CVxHoughTransform(CVxImage* image)
    : CVxLumoraBase(image, nullptr),
      m_dRhoMax(0),
      m_dRhoMin(0),
      m_dThetaMax(0),
      m_dThetaMin(0),
      m_dRhoStep(0),
      m_dThetaStep(0),
      m_dRhoScale(0),
      m_dThetaScale(0),
      m_pSin(nullptr),
      m_pCos(nullptr),
      m_nTables(0) {}

CVxHoughTransform::~CVxHoughTransform() {
    RemoveThetaRhoArray();
    delete[] m_pSin;
    delete[] m_pCos;
}

void CVxHoughTransform::RemoveThetaRhoArray() {
    for (int k = 0; k < m_arrThetaRho.GetSize(); ++k) delete static_cast<ThetaRhoRecord*>(m_arrThetaRho[k]);
    m_arrThetaRho.RemoveAll();
}

bool CVxHoughTransform::HasTables() {
    return m_pSin != nullptr && m_HoughImage.IsCreated() && m_HoughImage.GetThetaCount() <= m_nTables;
}

void CVxHoughTransform::ComputeSINCOS() {
    delete[] m_pSin;
    delete[] m_pCos;
    m_nTables = m_HoughImage.GetThetaCount();
    m_pSin = new double[static_cast<size_t>(m_nTables)];
    m_pCos = new double[static_cast<size_t>(m_nTables)];
    double angle = m_dThetaMin;
    for (int t = 0; t < m_nTables; ++t) {
        m_pSin[t] = std::sin(angle);
        m_pCos[t] = std::cos(angle);
        angle += m_dThetaStep;
    }
}

int CVxHoughTransform::Direct() {
    if (m_pImage == nullptr || m_pImage->m_nChannel != 1) return FALSE;
    CVxImage& image = *m_pImage;
    int result = FALSE;
    DispatchLayout(image, 1, [&]<class T, int C>() {
        if constexpr (std::is_same_v<T, std::uint8_t> && C == 1) {
            const int width = image.m_nWidth, height = image.m_nHeight;
            const double diagonal =
                std::sqrt(static_cast<double>(std::int64_t{width} * width + std::int64_t{height} * height));
            m_dRhoMax = diagonal;
            m_dRhoMin = -diagonal;
            m_dThetaMax = kPi / 2;
            m_dThetaMin = -kPi / 2;
            const int rhoCount = static_cast<int>(2 * diagonal);
            m_HoughImage.Create(rhoCount, kThetaCount);
            m_dThetaScale = kThetaCount / kPi;
            m_dThetaStep = kPi / kThetaCount;
            m_dRhoScale = rhoCount / (2 * diagonal);
            m_dRhoStep = 2 * diagonal / rhoCount;
            ComputeSINCOS();

            auto chunk = std::make_unique<VoteChunk>();
            DWORD** rows = m_HoughImage.GetBuffer();
            const double* cosines = m_pCos;
            const double* sines = m_pSin;
            const double scale = m_dRhoScale, half = rhoCount / 2, limit = rhoCount;
            auto flush = [&] {
                RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA {
                    CastVotes(*chunk, rows, cosines, sines, kThetaCount, scale, half, limit);
                });
            };
            for (int r = 0; r < height; ++r) {
                const auto* row = static_cast<const std::uint8_t*>(image.Get2DBuffer()[r]);
                const double y = height - 1 - r;
                for (int c = 0; c < width; ++c) {
                    if (row[c] == 0) continue;
                    VoteChunk& v = *chunk;
                    v.x[v.count] = c + 1;
                    v.y[v.count] = y;
                    v.weight[v.count] = row[c];
                    if (++v.count == VoteChunk::kSize) flush();
                }
            }
            if (chunk->count > 0) flush();
            result = TRUE;
        }
    });
    return result;
}

int CVxHoughTransform::DetectLine(CVxImage& lines) {
    if (m_pImage == nullptr || !HasTables()) return FALSE;
    RemoveThetaRhoArray();
    CVxHoughImage& votes = m_HoughImage;
    const int rhoCount = votes.GetRhoCount(), thetaCount = votes.GetThetaCount();

    // Dominant angles: the votes of the strong bins, summed per angle.
    const DWORD strong = static_cast<DWORD>(0.6 * votes.GetMax());
    CVxHistogram angleHistogram(thetaCount);
    for (int t = 0; t < thetaCount; ++t) {
        const DWORD* row = votes.GetThetaBuffer(t);
        DWORD sum = 0;  // wraps like the bin it is added to
        for (int r = 0; r < rhoCount; ++r) sum += row[r] > strong ? row[r] : 0;
        angleHistogram.AddValue(t, static_cast<int>(sum), HIST_RAW);
    }
    CVxHoughImage peaks(rhoCount, thetaCount);
    CVxHistogramProcessing angles(&angleHistogram);
    angles.Smooth(10, HIST_SMOOTHED, 2, -1, -1);
    angles.SetMinIntervalRatio(0.05);
    angles.FindMaximaMinima();

    CPtrArray& dominant = angles.GetValidMaximaArray();
    for (int a = 0; a < dominant.GetSize(); ++a) {
        const int theta = static_cast<CVxHistogramDensity*>(dominant[a])->m_nPos;
        auto* record = new ThetaRhoRecord;
        record->nTheta = theta;
        m_arrThetaRho.Add(record);
        // The angle index is passed where a rho index belongs, as the original
        // does: the threshold comes from rho column `theta`.
        const DWORD floor = static_cast<DWORD>(0.3 * votes.GetRhoMax(theta));
        CVxHistogram rhoHistogram(rhoCount);
        const DWORD* row = votes.GetThetaBuffer(theta);
        for (int r = 0; r < rhoCount; ++r)
            if (row[r] > floor) rhoHistogram.AddValue(r, static_cast<int>(row[r]), HIST_RAW);
        CVxHistogramProcessing distances(&rhoHistogram);
        distances.Smooth(10, HIST_SMOOTHED, 2, -1, -1);
        distances.SetMinIntervalRatio(0.002);
        distances.SetMaxValidMaximaCount(2147483647);
        distances.FindMaximaMinima();
        CPtrArray& found = distances.GetValidMaximaArray();
        for (int k = 0; k < found.GetSize(); ++k) {
            const int rho = static_cast<CVxHistogramDensity*>(found[k])->m_nPos;
            record->arrRho.Add(rho);
            peaks.SetAt(rho, theta, votes.GetAt(rho, theta));
        }
    }

    lines.Create(CM_GRAY, 8, m_pImage->m_nWidth, m_pImage->m_nHeight, 0, nullptr);
    if (!lines.IsCreated()) return FALSE;
    std::memset(lines.GetBuffer(), 0, static_cast<size_t>(lines.m_nImageSize));
    Inverse(lines, peaks);
    SetLineInfo();
    return TRUE;
}

int CVxHoughTransform::Inverse(CVxImage& lines, CVxHoughImage& peaks) {
    if (m_pSin == nullptr || lines.m_nChannel != 1 || lines.m_nBitsPerSample > 8 || !HasPixelBlockFor(lines, 1, 1))
        return FALSE;
    const int width = lines.m_nWidth, height = lines.m_nHeight;
    if (width <= 0 || height <= 0) return TRUE;
    const double peak = peaks.GetMax();
    auto** rows = reinterpret_cast<std::uint8_t**>(lines.Get2DBuffer());
    const int thetas = std::min(peaks.GetThetaCount(), m_nTables);
    for (int t = 0; t < thetas; ++t) {
        const DWORD* row = peaks.GetThetaBuffer(t);
        for (int r = 0; r < peaks.GetRhoCount(); ++r) {
            const DWORD n = row[r];
            // A fixed threshold on the raw count, kept as the original has it.
            if (n < 128) continue;
            const auto value = static_cast<std::uint8_t>(static_cast<int>(n / peak * 255.0));
            const double rho = r * m_dRhoStep - m_dRhoMax;
            const int steps = std::fabs(m_pCos[t]) > 0.5 ? height : width;
            bool clamped;
            for (int i = 0; i < steps; ++i) {
                const CPoint p = LinePixel(rho, m_pCos[t], m_pSin[t], i, width, height, clamped);
                rows[p.y][p.x] = value;
            }
        }
    }
    return TRUE;
}

// The first and last pixel Inverse draws on the line without pulling it onto
// the border: where the line enters and leaves the image. A line that misses
// the image keeps the first and last border pixel Inverse draws for it.
void CVxHoughTransform::EndPoints(int theta, int rho, int width, int height, CPoint& first, CPoint& second) {
    const double r = rho * m_dRhoStep - m_dRhoMax;
    const double c = m_pCos[theta], s = m_pSin[theta];
    const int steps = std::fabs(c) > 0.5 ? height : width;
    bool clamped, inside = false;
    for (int i = 0; i < steps; ++i) {
        const CPoint p = LinePixel(r, c, s, i, width, height, clamped);
        if (i == 0) first = second = p;
        if (clamped) continue;
        if (!inside) first = p;
        second = p;
        inside = true;
    }
    if (!inside && steps > 0) second = LinePixel(r, c, s, steps - 1, width, height, clamped);
}

void CVxHoughTransform::SetLineInfo() {
    if (m_pImage == nullptr || m_pSin == nullptr) return;
    const int width = m_pImage->m_nWidth, height = m_pImage->m_nHeight;
    if (width <= 0 || height <= 0) return;
    for (int k = 0; k < m_arrThetaRho.GetSize(); ++k) {
        auto* record = static_cast<ThetaRhoRecord*>(m_arrThetaRho[k]);
        if (record->nTheta < 0 || record->nTheta >= m_nTables) continue;
        for (int i = 0; i < record->arrRho.GetSize(); ++i) {
            CPoint first, second;
            EndPoints(record->nTheta, record->arrRho[i], width, height, first, second);
            record->arrPoint1.Add(first);
            record->arrPoint2.Add(second);
        }
    }
}

int CVxHoughTransform::GetDisplayImage(CVxImage& picture) {
    CVxHoughImage& votes = m_HoughImage;
    if (!votes.IsCreated()) return FALSE;
    picture.Create(CM_GRAY, 8, votes.GetRhoCount(), votes.GetThetaCount(), 0, nullptr);
    if (!picture.IsCreated()) return FALSE;
    const float peak = static_cast<float>(votes.GetMax());
    for (int t = 0; t < votes.GetThetaCount(); ++t) {
        auto* out = static_cast<std::uint8_t*>(picture.Get2DBuffer()[t]);
        const DWORD* row = votes.GetThetaBuffer(t);
        for (int r = 0; r < votes.GetRhoCount(); ++r)
            // An all-zero accumulator would divide by zero: it shows black.
            out[r] = peak == 0.0f ? 0
                                  : static_cast<std::uint8_t>(
                                        static_cast<int>(static_cast<double>(static_cast<float>(row[r]) / peak) * 255.0));
    }
    return TRUE;
}
