// Plain per-sample forms of frame averaging and shading correction.
#pragma once

#include <algorithm>

#include "test_support.h"

namespace lumora::test {

// The first frame with every sample but the last row's and column's replaced
// by the truncated float mean of the frames, summed in array order.
inline CVxImage ReferenceAverage(CVxImageArray& frames) {
    CVxImage out = *frames.GetAt(0);
    for (int y = 0; y < out.m_nHeight; ++y)
        for (int x = 0; x < out.m_nWidth; ++x)
            for (int c = 0; c < out.m_nChannel; ++c) {
                float sum = 0;
                for (int f = 0; f < frames.GetSize(); ++f)
                    sum += static_cast<float>(Sample(*frames.GetAt(f), x, y, c));
                const bool inner = y < out.m_nHeight - 1 && x < out.m_nWidth - 1;
                SetSample(out, x, y, c, inner ? static_cast<int>(sum / static_cast<float>(frames.GetSize())) : 0);
            }
    return out;
}

// Corrects `target` in place against `blank`'s wrapped 32-bit channel sums.
inline void ReferenceShading(CVxImage& target, CVxImage& blank) {
    const int max = target.m_nBitsPerSample <= 8 ? 255 : 65535, n = target.m_nWidth * target.m_nHeight;
    for (int c = 0; c < target.m_nChannel; ++c) {
        std::uint32_t sum = 0;
        for (int y = 0; y < target.m_nHeight; ++y)
            for (int x = 0; x < target.m_nWidth; ++x) sum += static_cast<std::uint32_t>(Sample(blank, x, y, c));
        const float mean = static_cast<float>(static_cast<std::int32_t>(sum) / static_cast<double>(n));
        const std::int64_t m = std::min(static_cast<int>(static_cast<double>(mean) + 0.5), max);
        for (int y = 0; y < target.m_nHeight; ++y)
            for (int x = 0; x < target.m_nWidth; ++x) {
                const auto t = static_cast<std::int64_t>(Sample(target, x, y, c));
                const auto b = static_cast<std::int64_t>(Sample(blank, x, y, c));
                const auto p = static_cast<std::int32_t>(static_cast<std::uint32_t>(t * m));
                if (b != 0) SetSample(target, x, y, c, static_cast<double>(std::min<std::int64_t>(p / b, max) & 0xFF));
            }
    }
}

}  // namespace lumora::test
