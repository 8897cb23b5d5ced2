#include <lumora/shading_correct.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "../core/cpu_dispatch.h"
#include "../core/layout.h"
#include "../core/parallel.h"
#include "../core/pixels.h"

using namespace lumora::detail;

// The arithmetic, exactly:
//
// Means of the blank image (N = width x height). 8-bit and 16-bit samples:
// each channel's samples are summed in a 32-bit signed integer that wraps
// (a large bright 16-bit blank wraps to a negative sum), the sum is divided
// by N in double precision and stored as a float. Float samples: each mean
// field gets the samples of its channel added to its previous value in
// single precision, pixel by pixel in row order, and is then divided by N
// in single precision; a one-channel float blank ends with mean 0 (its sum
// is never fed), so its additions are not made at all.
//
// Correction of the target, per channel c: M = trunc(mean + 0.5), the sum
// formed in double (exact for any float), limited above to the sample
// maximum; a mean that does not fit 32 bits (or is NaN) gives INT32_MIN, as
// the processor's truncating conversion does. Then, per sample with t the
// target and b the blank sample: v = (t x M) / b with the product wrapping
// in 32 bits and the quotient truncated toward zero, v = min(v, MAX), and the
// sample stores v's low 8 bits, for 16-bit images too. A blank sample of 0
// leaves the target sample as it is (a zero target stays 0 either way).
//
// The quotient is computed by a floating-point division: with p and b exact
// in the type and |p| + b below 2^24 (float) or 2^53 (double), the correctly
// rounded quotient never crosses an integer, so truncating it gives the
// integer quotient. Float is used when every |M| x MAX + MAX stays below
// 2^24 (every 8-bit case with M >= 0), double otherwise, so the loop stays a
// plain vector division instead of one integer division per sample.

namespace {

template <class T, int C>
void MeansOf(CVxImage& blank, float (&mean)[4]) {
    const int width = blank.m_nWidth, height = blank.m_nHeight;
    const std::int32_t pixels = width * height;
    const std::ptrdiff_t count = static_cast<std::ptrdiff_t>(width) * C;
    if constexpr (kIsFloatSample<T>) {
        if constexpr (C == 1) {
            mean[0] = static_cast<float>(0.0 / static_cast<double>(pixels));
        } else {
            for (int y = 0; y < height; ++y) {
                const float* row = RowOf<float>(blank, y);
                for (std::ptrdiff_t i = 0; i < count; ++i) mean[i % C] += row[i];
            }
            for (int c = 0; c < C; ++c) mean[c] = mean[c] / static_cast<float>(pixels);
        }
    } else {
        // Column sums first, folded into channels at the end: wrapping sums
        // are the same in any order, and the column loop vectorises.
        std::vector<std::uint32_t> columns(static_cast<size_t>(count), 0);
        for (int y = 0; y < height; ++y) {
            const T* row = RowOf<T>(blank, y);
            std::uint32_t* sums = columns.data();
            for (std::ptrdiff_t i = 0; i < count; ++i) sums[i] += row[i];
        }
        std::uint32_t sums[C] = {};
        for (std::ptrdiff_t i = 0; i < count; ++i) sums[i % C] += columns[static_cast<size_t>(i)];
        for (int c = 0; c < C; ++c)
            mean[c] = static_cast<float>(static_cast<double>(static_cast<std::int32_t>(sums[c])) /
                                         static_cast<double>(pixels));
    }
}

std::int32_t RoundedMean(float mean, std::int32_t max) {
    const double r = static_cast<double>(mean) + 0.5;
    const std::int32_t m = r > -2147483649.0 && r < 2147483648.0 ? static_cast<std::int32_t>(r) : INT32_MIN;
    return std::min(m, max);
}

template <class D, class T>
LUMORA_INLINE void CorrectRow(T* target, const T* blank, const std::int32_t* __restrict m, std::ptrdiff_t count,
                              std::int32_t max) {
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        const std::int32_t t = target[i], b = blank[i];
        const auto p = static_cast<std::int32_t>(static_cast<std::uint32_t>(t) * static_cast<std::uint32_t>(m[i]));
        // Written without branches so that the loop vectorises: a zero
        // blank sample divides by 1 and its result is masked away.
        const std::int32_t keep = -static_cast<std::int32_t>(b == 0);
        const auto q = static_cast<std::int32_t>(static_cast<D>(p) / static_cast<D>(b - keep));
        const std::int32_t v = q < max ? q : max;
        target[i] = static_cast<T>((t & keep) | (v & 0xFF & ~keep));
    }
}

template <class D, class T>
void CorrectRows(CVxImage& target, CVxImage& blank, const std::int32_t* m, std::ptrdiff_t count, std::int32_t max) {
    ParallelRows(0, target.m_nHeight, count * 4, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            T* t = RowOf<T>(target, y);
            const T* b = RowOf<T>(blank, y);
            RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { CorrectRow<D, T>(t, b, m, count, max); });
        }
    });
}

template <class T, int C>
bool CorrectImage(CVxImage& target, CVxImage& blank, const float (&mean)[4]) {
    if (!HasPixelBlockFor(blank, C, static_cast<int>(sizeof(T)))) return false;
    constexpr std::int32_t kMax = kSampleMax<T>;
    const std::ptrdiff_t count = static_cast<std::ptrdiff_t>(target.m_nWidth) * C;
    // M laid out like a row, so the per-sample loop needs no channel index.
    std::vector<std::int32_t> m(static_cast<size_t>(count));
    bool exactInFloat = true;
    for (int c = 0; c < C; ++c) {
        const std::int32_t mc = RoundedMean(mean[c], kMax);
        exactInFloat = exactInFloat && (mc < 0 ? -std::int64_t{mc} : mc) * kMax + kMax < (1 << 24);
        for (std::ptrdiff_t i = c; i < count; i += C) m[static_cast<size_t>(i)] = mc;
    }
    if (exactInFloat)
        CorrectRows<float, T>(target, blank, m.data(), count, kMax);
    else
        CorrectRows<double, T>(target, blank, m.data(), count, kMax);
    return true;
}

bool IsCorrectedChannelCount(int channels) { return channels == 1 || channels == 3 || channels == 4; }

}  // namespace

CLMRShadingCorrect::CLMRShadingCorrect() : m_fMean{} {}

CLMRShadingCorrect::CLMRShadingCorrect(CVxImage* target) : CVxLumoraBase(target, nullptr), m_fMean{} {}

CLMRShadingCorrect::CLMRShadingCorrect(const CLMRShadingCorrect& other)
    : CVxLumoraBase(other), m_BlankImage(other.m_BlankImage) {
    std::memcpy(m_fMean, other.m_fMean, sizeof m_fMean);
}

CLMRShadingCorrect& CLMRShadingCorrect::operator=(const CLMRShadingCorrect& other) {
    CVxLumoraBase::operator=(other);
    std::memcpy(m_fMean, other.m_fMean, sizeof m_fMean);
    m_BlankImage = other.m_BlankImage;
    return *this;
}

CLMRShadingCorrect::~CLMRShadingCorrect() = default;

void CLMRShadingCorrect::SetBlankImage(CVxImage* blank) {
    if (blank == nullptr) return;
    m_BlankImage = *blank;
    GetMean(blank);
}

int CLMRShadingCorrect::GetMean(CVxImage* /*image*/) {
    if (!m_BlankImage.IsCreated()) return FALSE;
    const int channels = ModelChannels(m_BlankImage);
    // Other channel counts and samples wider than 32 bits have no means.
    if (!IsCorrectedChannelCount(channels) || SampleKindOf(m_BlankImage.m_nBitsPerSample) == SampleKind::None)
        return TRUE;
    const bool done = DispatchLayout(m_BlankImage, channels,
                                     [&]<class T, int C>() { MeansOf<T, C>(m_BlankImage, m_fMean); });
    return done ? TRUE : FALSE;
}

int CLMRShadingCorrect::ShadingCorrect() {
    CVxImage* target = m_pImage;
    if (target == nullptr || !target->IsCreated() || !m_BlankImage.IsCreated()) return FALSE;
    if (target->m_nWidth != m_BlankImage.m_nWidth || target->m_nHeight != m_BlankImage.m_nHeight) return FALSE;
    const int channels = ModelChannels(*target);
    const SampleKind kind = SampleKindOf(target->m_nBitsPerSample);
    if (!IsCorrectedChannelCount(channels) || (kind != SampleKind::U8 && kind != SampleKind::U16)) return TRUE;
    if (ModelChannels(m_BlankImage) != channels || SampleKindOf(m_BlankImage.m_nBitsPerSample) != kind) return FALSE;
    bool done = false;
    DispatchLayout(*target, channels, [&]<class T, int C>() {
        if constexpr (!kIsFloatSample<T>) done = CorrectImage<T, C>(*target, m_BlankImage, m_fMean);
    });
    return done ? TRUE : FALSE;
}
