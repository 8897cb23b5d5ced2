#include <lumora/threshold_processing.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "../core/cpu_dispatch.h"
#include "../core/layout.h"
#include "../core/overwrite.h"
#include "../core/parallel.h"
#include "../core/pixels.h"

using namespace lumora::detail;

namespace {

enum class Family { Threshold, UpperCut, LowerCut };

// The level is compared moved by one (s > level - 1, s < level + 1). For
// integer samples that is s >= level and s <= level; float samples keep the
// moved comparison, which also admits values within one below (or above) the
// level. The moved level is formed in 64 bits so that INT_MIN and INT_MAX
// move past the end instead of wrapping; every other level gives the 32-bit
// value.
//
// The background fills every byte of the block; for the lower cut that makes
// 16-bit samples 65535 and float samples an all-ones NaN.
template <Family F, class T>
struct Rule {
    unsigned char backgroundByte = F == Family::LowerCut ? 0xFF : 0x00;
    T background{};
    T edge{};
    bool nonePass = false;

    explicit Rule(int level) {
        std::memset(&background, backgroundByte, sizeof background);
        const std::int64_t moved = F == Family::LowerCut ? std::int64_t{level} + 1 : std::int64_t{level} - 1;
        // Integer samples compare against the moved level turned into an
        // inclusive edge of the sample's own type (s > moved is
        // s >= moved + 1, s < moved is s <= moved - 1), so the loop stays in
        // narrow lanes; an edge beyond the sample range means no sample
        // passes. Float samples compare with the moved level converted to
        // float.
        if constexpr (kIsFloatSample<T>) {
            edge = static_cast<float>(moved);
        } else {
            constexpr std::int64_t kMax = std::numeric_limits<T>::max();
            const std::int64_t inclusive = F == Family::LowerCut ? moved - 1 : moved + 1;
            nonePass = F == Family::LowerCut ? inclusive < 0 : inclusive > kMax;
            edge = static_cast<T>(std::clamp<std::int64_t>(inclusive, 0, kMax));
        }
    }

    // Writing the background where the test fails (rather than skipping the
    // sample) lets the loop run as a vector select.
    T operator()(T s) const {
        bool passes;
        if constexpr (kIsFloatSample<T>)
            passes = F == Family::LowerCut ? s < edge : s > edge;
        else
            passes = F == Family::LowerCut ? s <= edge : s >= edge;
        if constexpr (F == Family::Threshold)
            return passes ? static_cast<T>(255) : background;
        else
            return passes ? s : background;
    }
};

// The result in the order it is defined: dest holds a copy of the target,
// the background fills dest's block (up to its image size), then every sample
// of the target is tested. When dest is the target the fill has already
// replaced the samples the test reads.
template <Family F, class T>
void CopyFillAndTest(CVxImage& target, CVxImage& dest, const Rule<F, T>& rule) {
    const std::int64_t blockBytes = std::int64_t{dest.m_nHeight} * dest.m_nBytesPerLine;
    const std::int64_t fillBytes = std::clamp<std::int64_t>(dest.m_nImageSize, 0, blockBytes);
    if (fillBytes > 0) std::memset(dest.GetBuffer(), rule.backgroundByte, static_cast<size_t>(fillBytes));
    if (rule.nonePass) return;
    const int width = target.m_nWidth, height = target.m_nHeight;
    for (int y = 0; y < height; ++y) {
        const T* s = RowOf<T>(target, y);
        T* d = RowOf<T>(dest, y);
        for (int x = 0; x < width; ++x) d[x] = rule(s[x]);
    }
}

// Rows [y0, y1) of the one-pass form below. The sizes and the rule are
// parameters, not captures, so that stores through the sample pointers
// cannot alias them and the loop vectorises.
template <Family F, class T>
LUMORA_INLINE void TestRows(CVxImage& target, CVxImage& dest, const Rule<F, T> rule, int width, size_t padding, int y0, int y1) {
    const size_t sampleBytes = static_cast<size_t>(width) * sizeof(T);
    for (int y = y0; y < y1; ++y) {
        const T* __restrict s = RowOf<T>(target, y);
        T* __restrict d = RowOf<T>(dest, y);
        for (int x = 0; x < width; ++x) d[x] = rule(s[x]);
        if (padding > 0) std::memset(reinterpret_cast<unsigned char*>(d) + sampleBytes, rule.backgroundByte, padding);
    }
}

// The same result in one pass, for a dest that already has the target's
// geometry (see TakeShapeWithoutPixels): each row gets its tested samples
// and the background over its padding, and the copy is never made, since
// the fill would overwrite all of it.
template <Family F, class T>
void TestIntoShapedBlock(CVxImage& target, CVxImage& dest, const Rule<F, T>& rule) {
    const int width = target.m_nWidth, height = target.m_nHeight;
    const size_t sampleBytes = static_cast<size_t>(width) * sizeof(T);
    const size_t padding = static_cast<size_t>(dest.m_nBytesPerLine) - sampleBytes;
    if (rule.nonePass) {
        std::memset(dest.GetBuffer(), rule.backgroundByte,
                    static_cast<size_t>(height) * static_cast<size_t>(dest.m_nBytesPerLine));
        return;
    }
    ParallelRows(0, height, width, [&](int y0, int y1) {
        RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA {
            TestRows<F, T>(target, dest, Rule<F, T>(rule), width, padding, y0, y1);
        });
    });
}

// Makes dest what "dest = target" makes it, except for the pixels, and only
// where the assignment would keep dest's block and the operation is about to
// overwrite every byte of that block: one 1-channel layout the routine takes
// and a fill that covers the whole block. Otherwise returns false and
// changes nothing.
bool TakeShapeWithoutPixels(CVxImage& target, CVxImage& dest) {
    if (ModelChannels(target) != 1 || target.m_nHeight < 1) return false;
    if (target.m_nImageSize != std::int64_t{target.m_nHeight} * target.m_nBytesPerLine) return false;
    if (!CanSkipSampleCopy(target, dest, 1)) return false;
    AssignForOverwrite(target, dest, 1);
    return true;
}

template <Family F>
int RunThreshold(CVxImage* target, CVxImage& dest, int level) {
    if (target == nullptr) return FALSE;
    // dest is a copy of the target before any check, even when the call fails.
    const bool shaped = TakeShapeWithoutPixels(*target, dest);
    if (!shaped) dest = *target;
    if (ModelChannels(*target) != 1) return FALSE;
    const bool dispatched = DispatchLayout(*target, 1, [&]<class T, int C>() {
        const Rule<F, T> rule(level);
        if (shaped)
            TestIntoShapedBlock<F, T>(*target, dest, rule);
        else
            CopyFillAndTest<F, T>(*target, dest, rule);
    });
    return dispatched ? TRUE : FALSE;
}

}  // namespace

CVxThresholdProcessing::CVxThresholdProcessing() = default;

CVxThresholdProcessing::CVxThresholdProcessing(CVxImage* image) : CVxLumoraBase(image, nullptr) {}

int CVxThresholdProcessing::Threshold(CVxImage& dest, int level) {
    return RunThreshold<Family::Threshold>(m_pImage, dest, level);
}

int CVxThresholdProcessing::Cut(CVxImage& dest, int level, int upper) {
    if (upper != 0) return RunThreshold<Family::UpperCut>(m_pImage, dest, level);
    return RunThreshold<Family::LowerCut>(m_pImage, dest, level);
}

int CVxThresholdProcessing::Partial(CVxImage& dest, int /*level*/) {
    if (m_pImage != nullptr) dest = *m_pImage;
    return FALSE;
}
