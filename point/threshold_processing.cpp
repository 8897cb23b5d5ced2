#include <lumora/threshold_processing.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>

#include "../core/layout.h"
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
template <Family F, class T>
void RunFamily(CVxImage& target, CVxImage& dest, int level) {
    const std::int64_t moved = F == Family::LowerCut ? std::int64_t{level} + 1 : std::int64_t{level} - 1;

    // The background fills every byte; for the lower cut that makes 16-bit
    // samples 65535 and float samples an all-ones NaN.
    const unsigned char backgroundByte = F == Family::LowerCut ? 0xFF : 0x00;
    const std::int64_t blockBytes = std::int64_t{dest.m_nHeight} * dest.m_nBytesPerLine;
    const std::int64_t fillBytes = std::clamp<std::int64_t>(dest.m_nImageSize, 0, blockBytes);
    if (fillBytes > 0) std::memset(dest.GetBuffer(), backgroundByte, static_cast<size_t>(fillBytes));
    T background;
    std::memset(&background, backgroundByte, sizeof background);

    // Integer samples compare against the moved level turned into an
    // inclusive edge of the sample's own type (s > moved is s >= moved + 1,
    // s < moved is s <= moved - 1), so the loop stays in narrow lanes; an edge
    // beyond the sample range means no sample passes. Float samples compare
    // with the moved level converted to float.
    T edge{};
    if constexpr (kIsFloatSample<T>) {
        edge = static_cast<float>(moved);
    } else {
        constexpr std::int64_t kMax = std::numeric_limits<T>::max();
        const std::int64_t inclusive = F == Family::LowerCut ? moved - 1 : moved + 1;
        if (F == Family::LowerCut ? inclusive < 0 : inclusive > kMax) return;
        edge = static_cast<T>(std::clamp<std::int64_t>(inclusive, 0, kMax));
    }
    auto passes = [edge](T s) {
        if constexpr (kIsFloatSample<T>)
            return F == Family::LowerCut ? s < edge : s > edge;
        else
            return F == Family::LowerCut ? s <= edge : s >= edge;
    };

    const T marked = static_cast<T>(255);
    const int width = target.m_nWidth, height = target.m_nHeight;
    for (int y = 0; y < height; ++y) {
        const T* s = RowOf<T>(target, y);
        T* d = RowOf<T>(dest, y);
        // Writing the background where the test fails leaves the filled
        // value in place and lets the loop run as a vector select.
        for (int x = 0; x < width; ++x) {
            if constexpr (F == Family::Threshold)
                d[x] = passes(s[x]) ? marked : background;
            else
                d[x] = passes(s[x]) ? s[x] : background;
        }
    }
}

template <Family F>
int RunThreshold(CVxImage* target, CVxImage& dest, int level) {
    if (target == nullptr) return FALSE;
    // dest is a copy of the target before any check, even when the call fails.
    dest = *target;
    if (ModelChannels(*target) != 1) return FALSE;
    const bool dispatched = DispatchLayout(*target, 1, [&]<class T, int C>() { RunFamily<F, T>(*target, dest, level); });
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
