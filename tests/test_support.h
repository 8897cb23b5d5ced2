// Shared helpers of the tests: images of every layout, random content,
// typed sample access and exact comparison.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>
#include <lumora/lumora.h>

namespace lumora::test {

// One pixel layout: channel count and bits per sample (8, 16 or 32 = float).
struct Layout {
    int channels;
    int bits;
};

inline COLOR_MODEL ModelFor(int channels) {
    const COLOR_MODEL models[] = {CM_GRAY, CM_GRAYA, CM_RGB, CM_RGBA};
    return models[std::clamp(channels, 1, 4) - 1];
}

inline std::vector<Layout> AllLayouts() {
    std::vector<Layout> out;
    for (int bits : {8, 16, 32})
        for (int c = 1; c <= 4; ++c) out.push_back({c, bits});
    return out;
}

// "u8x3", "f32x1": what a parameterised test over layouts is called.
inline std::string LayoutName(const testing::TestParamInfo<Layout>& info) {
    const char* type = info.param.bits == 8 ? "u8" : info.param.bits == 16 ? "u16" : "f32";
    return type + std::string("x") + std::to_string(info.param.channels);
}

// A suite over the twelve layouts: Layouts/Suite.Test/u8x3.
#define LUMORA_ALL_LAYOUTS(Suite) \
    INSTANTIATE_TEST_SUITE_P(Layouts, Suite, testing::ValuesIn(::lumora::test::AllLayouts()), ::lumora::test::LayoutName)

inline CVxImage MakeImage(Layout layout, int width, int height) {
    return CVxImage(ModelFor(layout.channels), layout.bits, width, height, 0, nullptr, 255);
}

// Every byte zero, padding included: the store leaves new blocks uninitialised.
inline CVxImage Zeroed(Layout layout, int width, int height) {
    CVxImage image = MakeImage(layout, width, height);
    if (image.GetBuffer()) std::memset(image.GetBuffer(), 0, static_cast<size_t>(image.m_nImageSize));
    return image;
}

// Sample (x, y, c) as a double, whatever the sample type.
inline double Sample(CVxImage& image, int x, int y, int c) {
    void* row = image.Get2DBuffer()[y];
    const int i = x * image.m_nChannel + c;
    if (image.m_nBitsPerSample <= 8) return static_cast<std::uint8_t*>(row)[i];
    if (image.m_nBitsPerSample <= 16) return static_cast<std::uint16_t*>(row)[i];
    return static_cast<float*>(row)[i];
}

inline void SetSample(CVxImage& image, int x, int y, int c, double v) {
    void* row = image.Get2DBuffer()[y];
    const int i = x * image.m_nChannel + c;
    if (image.m_nBitsPerSample <= 8)
        static_cast<std::uint8_t*>(row)[i] = static_cast<std::uint8_t>(v);
    else if (image.m_nBitsPerSample <= 16)
        static_cast<std::uint16_t*>(row)[i] = static_cast<std::uint16_t>(v);
    else
        static_cast<float*>(row)[i] = static_cast<float>(v);
}

// Calls fn(x, y, c) for every sample of the image, row by row; after a
// fatal failure (an ASSERT in fn) no further rows.
template <class Fn>
void ForEachSample(const CVxImage& image, Fn&& fn) {
    for (int y = 0; y < image.m_nHeight && !testing::Test::HasFatalFailure(); ++y)
        for (int x = 0; x < image.m_nWidth; ++x)
            for (int c = 0; c < image.m_nChannel; ++c) fn(x, y, c);
}

// Fills every sample with random values in [0, maxValue] (whole numbers for
// integer samples; float samples get fractions too unless `whole`).
inline void FillRandom(CVxImage& image, unsigned seed, double maxValue = -1, bool whole = false) {
    std::mt19937 rng(seed);
    if (maxValue < 0) maxValue = image.m_nBitsPerSample <= 8 ? 255 : image.m_nBitsPerSample <= 16 ? 65535 : 1000;
    std::uniform_real_distribution<double> dist(0.0, maxValue);
    const bool integral = whole || image.m_nBitsPerSample <= 16;
    ForEachSample(image, [&](int x, int y, int c) {
        double v = dist(rng);
        if (integral) v = static_cast<double>(static_cast<long long>(v + 0.5));
        SetSample(image, x, y, c, v);
    });
}

// Byte-exact comparison of the pixels (padding excluded) and attributes.
inline ::testing::AssertionResult SamePixels(CVxImage& a, CVxImage& b) {
    if (a.m_nWidth != b.m_nWidth || a.m_nHeight != b.m_nHeight || a.m_nChannel != b.m_nChannel ||
        a.m_nBitsPerSample != b.m_nBitsPerSample)
        return ::testing::AssertionFailure() << "images differ in size or layout";
    const size_t rowBytes =
        static_cast<size_t>(a.m_nWidth) * a.m_nChannel * CVxImageInfo::GetSampleBytes(a.m_nBitsPerSample);
    for (int y = 0; y < a.m_nHeight; ++y)
        if (std::memcmp(a.Get2DBuffer()[y], b.Get2DBuffer()[y], rowBytes) != 0) {
            for (int x = 0; x < a.m_nWidth; ++x)
                for (int c = 0; c < a.m_nChannel; ++c) {
                    const double va = Sample(a, x, y, c), vb = Sample(b, x, y, c);
                    if (std::memcmp(&va, &vb, sizeof va) != 0)
                        return ::testing::AssertionFailure() << "first difference at (" << x << ", " << y
                                                             << ") channel " << c << ": " << va << " vs " << vb;
                }
            return ::testing::AssertionFailure() << "row " << y << " differs";
        }
    return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult SamePixels(CVxImage& a, const CVxImage& b) {
    return SamePixels(a, const_cast<CVxImage&>(b));
}

// The same pixel block, byte for byte, whatever the attributes say.
inline bool SameBlock(const CVxImage& a, const CVxImage& b) {
    return a.m_nImageSize == b.m_nImageSize &&
           std::memcmp(a.GetBuffer(), b.GetBuffer(), static_cast<size_t>(a.m_nImageSize)) == 0;
}

}  // namespace lumora::test
