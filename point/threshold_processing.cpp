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
    // Float samples meet the moved level converted to float; integer samples
    // meet it clamped to one step outside their range, which answers every
    // comparison the same way and keeps the loop in narrow lanes.
    using Bound = std::conditional_t<kIsFloatSample<T>, float, std::conditional_t<sizeof(T) == 1, std::int16_t, std::int32_t>>;
    Bound bound;
    if constexpr (kIsFloatSample<T>)
        bound = static_cast<float>(moved);
    else
        bound = static_cast<Bound>(std::clamp<std::int64_t>(moved, -1, std::int64_t{std::numeric_limits<T>::max()} + 1));

    // The background fills every byte; for the lower cut that makes 16-bit
    // samples 65535 and float samples an all-ones NaN.
    const unsigned char backgroundByte = F == Family::LowerCut ? 0xFF : 0x00;
    const std::int64_t blockBytes = std::int64_t{dest.m_nHeight} * dest.m_nBytesPerLine;
    const std::int64_t fillBytes = std::clamp<std::int64_t>(dest.m_nImageSize, 0, blockBytes);
    if (fillBytes > 0) std::memset(dest.GetBuffer(), backgroundByte, static_cast<size_t>(fillBytes));
    T background;
    std::memset(&background, backgroundByte, sizeof background);

    const T marked = static_cast<T>(255);
    for (int y = 0; y < target.m_nHeight; ++y) {
        const T* s = RowOf<T>(target, y);
        T* d = RowOf<T>(dest, y);
        // Writing the background where the test fails leaves the filled
        // value in place and lets the loop run as a vector select.
        for (int x = 0; x < target.m_nWidth; ++x) {
            if constexpr (F == Family::Threshold)
                d[x] = static_cast<Bound>(s[x]) > bound ? marked : background;
            else if constexpr (F == Family::UpperCut)
                d[x] = static_cast<Bound>(s[x]) > bound ? s[x] : background;
            else
                d[x] = static_cast<Bound>(s[x]) < bound ? s[x] : background;
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
