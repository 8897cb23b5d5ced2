// Straightforward references for the analysis tests: the moving average and
// Hough voting, written the slow way from their rules.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

#include <lumora/lumora.h>

namespace lumora::test {

// Mean of the bins within `radius` that lie in [start, end], pass by pass.
inline std::vector<int> ReferenceSmooth(std::vector<int> source, std::vector<int> target, int passes, int radius,
                                        int start, int end) {
    const int n = static_cast<int>(source.size());
    if (start < 0) start = 0;
    if (end < 0 || end > n - 1) end = n - 1;
    std::vector<int> a = source, b = target;
    for (int pass = 0; pass < passes; ++pass) {
        for (int i = start; i <= end; ++i) {
            long long sum = 0;
            int count = 0;
            for (int j = i - radius; j <= i + radius; ++j)
                if (j >= start && j <= end) sum += a[j], ++count;
            b[i] = static_cast<int>(sum / count);
        }
        std::swap(a, b);
    }
    return a;
}

// Accumulator of an 8-bit grey image, row theta * R + rho.
inline std::vector<DWORD> ReferenceVotes(CVxImage& image, int& rhoCount) {
    const int w = image.m_nWidth, h = image.m_nHeight;
    const double d = std::sqrt(static_cast<double>(w * w + h * h));
    rhoCount = static_cast<int>(2 * d);
    const double scale = rhoCount / (2 * d);
    double sines[360], cosines[360], angle = -std::numbers::pi / 2;
    for (int t = 0; t < 360; ++t, angle += std::numbers::pi / 360) sines[t] = std::sin(angle), cosines[t] = std::cos(angle);
    std::vector<DWORD> votes(static_cast<size_t>(rhoCount) * 360, 0);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            const DWORD v = static_cast<std::uint8_t*>(image.Get2DBuffer()[r])[c];
            for (int t = 0; t < 360; ++t) {
                const double rho = (cosines[t] * (c + 1) + sines[t] * (h - 1 - r)) * scale + rhoCount / 2;
                if (rho >= 0 && rho < rhoCount) votes[static_cast<size_t>(t) * rhoCount + static_cast<int>(rho)] += v;
            }
        }
    return votes;
}

}  // namespace lumora::test
