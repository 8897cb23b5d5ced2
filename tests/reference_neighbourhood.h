// Straightforward per-pixel references of the neighbourhood operations:
// windows read with clamped coordinates, terms in row-major order, results
// by the stated rules. The fast code is compared with these.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cmath>
#include <cstdlib>
#include <type_traits>
#include <vector>

#include "test_support.h"

namespace lumora::test {

// Sample (x, y, c) with the coordinates clamped into the image.
inline double Clamped(CVxImage& image, int x, int y, int c) {
    return Sample(image, std::clamp(x, 0, image.m_nWidth - 1), std::clamp(y, 0, image.m_nHeight - 1), c);
}

inline bool Selected(CVxImage* mask, int x, int y) { return !mask || Sample(*mask, x, y, 0) != 0; }

// Convolution of `src` into `out` (which starts as a copy of src). An int
// kernel sums in 32-bit wrapping arithmetic (in single-precision steps on
// float samples); a float kernel sums in float. Then q = sum / divisor,
// v = offset + q (offset - q when ABS and negative), clamped to the sample
// range; float samples keep the whole number. Without `extend` only pixels
// whose window lies inside the image are written.
template <class K>
void ReferenceConvolve(CVxImage& src, CVxImage& out, const K* kernel, int cx, int cy, K divisor, K offset, bool abs,
                       bool extend, CVxImage* mask = nullptr) {
    const int W = src.m_nWidth, H = src.m_nHeight, hx = cx / 2, hy = cy / 2;
    const bool isFloat = src.m_nBitsPerSample > 16;
    const double max = src.m_nBitsPerSample <= 8 ? 255 : src.m_nBitsPerSample <= 16 ? 65535 : 2147483648.0;
    auto wrap = [](long long v) { return static_cast<long long>(static_cast<int>(static_cast<std::uint32_t>(v))); };
    ForEachSample(src, [&](int x, int y, int c) {
        const bool inner = x >= hx && x < W - hx && y >= hy && y < H - hy;
        if ((!inner && !extend) || !Selected(mask, x, y)) return;
        auto at = [&](int i, int j) { return Clamped(src, x - hx + i, y - hy + j, c); };
        double v;
        if constexpr (std::is_same_v<K, int>) {
            long long sum = 0;
            for (int j = 0; j < cy; ++j)
                for (int i = 0; i < cx; ++i) {
                    const int w = kernel[j * cx + i];
                    if (isFloat) {
                        const float step = static_cast<float>(w) * static_cast<float>(at(i, j)) + static_cast<float>(sum);
                        sum = step >= -2147483648.0f && step < 2147483648.0f ? static_cast<int>(step) : INT_MIN;
                    } else {
                        sum += static_cast<long long>(w) * static_cast<long long>(at(i, j));
                    }
                }
            const long long q = static_cast<int>(static_cast<std::uint32_t>(sum)) / static_cast<long long>(divisor);
            long long iv = wrap(offset + q);
            if (abs && iv < 0) iv = wrap(offset - q);
            v = static_cast<double>(std::clamp<long long>(iv, 0, isFloat ? 2147483647LL : (long long)max));
        } else {
            float sum = 0.0f;
            for (int j = 0; j < cy; ++j)
                for (int i = 0; i < cx; ++i) sum = sum + kernel[j * cx + i] * static_cast<float>(at(i, j));
            const float q = sum / divisor;
            float fv = offset + q;
            if (abs && fv < 0.0f) fv = offset - q;
            v = std::trunc(static_cast<double>(std::clamp(fv, 0.0f, static_cast<float>(max))));
        }
        SetSample(out, x, y, c, v);
    });
}

// Minimum (or maximum) over the (2r + 1)^2 clamped window, found by sorting;
// pixels whose mask byte is 0 keep the source.
inline CVxImage ReferenceRank(CVxImage& src, int r, bool maximum, CVxImage* mask = nullptr) {
    CVxImage out = src;
    std::vector<double> window;
    ForEachSample(src, [&](int x, int y, int c) {
        if (!Selected(mask, x, y)) return;
        window.clear();
        for (int wy = std::max(0, y - r); wy <= std::min(src.m_nHeight - 1, y + r); ++wy)
            for (int wx = std::max(0, x - r); wx <= std::min(src.m_nWidth - 1, x + r); ++wx)
                window.push_back(Sample(src, wx, wy, c));
        std::sort(window.begin(), window.end());
        SetSample(out, x, y, c, maximum ? window.back() : window.front());
    });
    return out;
}

// 8 x centre - neighbours; float samples accumulate float differences into
// an int term by term.
inline long long ReferenceLaplacian(CVxImage& src, int x, int y, int c) {
    const double centre = Sample(src, x, y, c);
    double sum = 0;
    int l = 0;
    bool first = true;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            if (!dx && !dy) continue;
            const double n = Sample(src, x + dx, y + dy, c);
            sum += n;
            const float term = static_cast<float>(centre) - static_cast<float>(n);
            l = static_cast<int>(first ? term : static_cast<float>(l) + term);
            first = false;
        }
    return src.m_nBitsPerSample <= 16 ? static_cast<long long>(8 * centre - sum) : l;
}

// Inner samples whose |Laplacian| exceeds the threshold become the median of
// their 3 x 3 neighbourhood; threshold < 0 is the plain median.
inline CVxImage ReferenceMedian(CVxImage& src, int threshold) {
    CVxImage out = src;
    ForEachSample(src, [&](int x, int y, int c) {
        if (x < 1 || y < 1 || x + 1 >= src.m_nWidth || y + 1 >= src.m_nHeight) return;
        if (std::llabs(ReferenceLaplacian(src, x, y, c)) <= threshold) return;
        double v[9];
        for (int i = 0; i < 9; ++i) v[i] = Sample(src, x + i % 3 - 1, y + i / 3 - 1, c);
        std::sort(v, v + 9);
        SetSample(out, x, y, c, v[4]);
    });
    return out;
}

}  // namespace lumora::test
