// Pixel layouts and the one dispatcher from an image's (channels, sample
// type) to a routine templated on both.
//
// A generic routine is written once as
//     template <class T, int C> int Routine(...);
// and reached for all twelve layouts through
//     DispatchLayout(image, channels, [&]<class T, int C>() { result = Routine<T, C>(...); });
// Per-layout differences (unsupported combinations, float rules) belong in
// `if constexpr` inside the routine, never in a copy of it.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>
#include <lumora/imagestore.h>

namespace lumora::detail {

enum class SampleKind { U8, U16, F32, None };

// Up to 8 bits per sample: 8-bit; 9 to 16: 16-bit; 17 to 32: float; above: none.
constexpr SampleKind SampleKindOf(int bitsPerSample) {
    if (bitsPerSample <= 8) return SampleKind::U8;
    if (bitsPerSample <= 16) return SampleKind::U16;
    if (bitsPerSample <= 32) return SampleKind::F32;
    return SampleKind::None;
}

template <class T>
inline constexpr bool kIsFloatSample = std::is_same_v<T, float>;

// The largest value a sample type stores, as the clamps of the filters use
// it: 2^bits - 1 through a 32-bit conversion, so float samples get INT_MAX.
template <class T>
inline constexpr int kSampleMax = kIsFloatSample<T> ? std::numeric_limits<std::int32_t>::max()
                                                    : static_cast<int>(std::numeric_limits<T>::max());

// Channel count from the colour model, the way the point operations and
// plane access count channels.
inline int ModelChannels(const CVxImage& image) { return CVxImageInfo::GetChannel(image.m_ColorModel); }

// True when the image's pixel block can hold `channels` samples of its
// sample type per pixel in every row: the guard that keeps a routine inside
// the block whatever attributes a caller has put on the image.
inline bool HasPixelBlockFor(CVxImage& image, int channels, int sampleBytes) {
    if (!image.IsCreated() || image.m_nWidth < 0 || image.m_nHeight < 0) return false;
    const auto rowBytes = static_cast<std::int64_t>(image.m_nWidth) * channels * sampleBytes;
    return rowBytes <= image.m_nBytesPerLine || image.m_nHeight == 0;
}

// Calls fn.template operator()<T>() for the image's sample type (uint8_t,
// uint16_t or float). Returns false without calling it for more than 32 bits.
template <class Fn>
bool DispatchSample(int bitsPerSample, Fn&& fn) {
    switch (SampleKindOf(bitsPerSample)) {
        case SampleKind::U8:
            fn.template operator()<std::uint8_t>();
            return true;
        case SampleKind::U16:
            fn.template operator()<std::uint16_t>();
            return true;
        case SampleKind::F32:
            fn.template operator()<float>();
            return true;
        case SampleKind::None:
            break;
    }
    return false;
}

// Calls fn.template operator()<T, C>() for `channels` (1 to 4) and the
// image's sample type. Returns false without calling it when channels is
// outside 1..4, the samples are wider than 32 bits, or the image has no
// pixel block large enough for that layout.
template <class Fn>
bool DispatchLayout(CVxImage& image, int channels, Fn&& fn) {
    if (channels < 1 || channels > 4) return false;
    bool dispatched = false;
    DispatchSample(image.m_nBitsPerSample, [&]<class T>() {
        if (!HasPixelBlockFor(image, channels, static_cast<int>(sizeof(T)))) return;
        switch (channels) {
            case 1: fn.template operator()<T, 1>(); break;
            case 2: fn.template operator()<T, 2>(); break;
            case 3: fn.template operator()<T, 3>(); break;
            default: fn.template operator()<T, 4>(); break;
        }
        dispatched = true;
    });
    return dispatched;
}

// A zero pixel record of layout <T, C>: the type the fill takes for it
// (unsigned char, unsigned short or float for one channel, tagVXG... else).
template <class T, int C>
auto ZeroPixel() {
    if constexpr (C == 1) {
        if constexpr (std::is_same_v<T, std::uint8_t>) return static_cast<unsigned char>(0);
        else if constexpr (std::is_same_v<T, std::uint16_t>) return static_cast<unsigned short>(0);
        else return 0.0f;
    } else if constexpr (std::is_same_v<T, std::uint8_t>) {
        if constexpr (C == 2) return tagVXG2{};
        else if constexpr (C == 3) return tagVXG3{};
        else return tagVXG4{};
    } else if constexpr (std::is_same_v<T, std::uint16_t>) {
        if constexpr (C == 2) return tagVXGW2{};
        else if constexpr (C == 3) return tagVXGW3{};
        else return tagVXGW4{};
    } else {
        if constexpr (C == 2) return tagVXGF2{};
        else if constexpr (C == 3) return tagVXGF3{};
        else return tagVXGF4{};
    }
}

}  // namespace lumora::detail
