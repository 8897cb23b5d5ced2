// Pixels as opaque units: the dispatcher for routines that move whole pixels
// without looking at their samples, so that layouts of equal pixel size
// (four 8-bit channels and two 16-bit ones, for instance) share one body.
//
//     DispatchUnit(image, channels, sampleBytes, [&]<size_t N>() { Routine<N>(...); });
//
// The caller decides the sample width by its own rule (the rules differ
// between operations), the dispatcher only turns channels x bytes into N.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "layout.h"

namespace lumora::detail {

// N bytes of one pixel, copied whole; trivially copyable so that arrays of it
// move with plain loads and stores.
template <size_t N>
struct Unit {
    unsigned char bytes[N];
};

// The sample width by the three-way rule of the whole-pixel operations:
// below 9 bits one byte, 9 to 16 two, anything wider a four-byte float.
constexpr int ThreeWaySampleBytes(int bitsPerSample) {
    return bitsPerSample < 9 ? 1 : bitsPerSample <= 16 ? 2 : 4;
}

// Bytes of one pixel of `image` by the three-way rule and its model's
// channel count; 0 when the model has no 1 to 4 channels.
inline int ThreeWayUnitBytes(const CVxImage& image) {
    const int channels = ModelChannels(image);
    if (channels < 1 || channels > 4) return 0;
    return channels * ThreeWaySampleBytes(image.m_nBitsPerSample);
}

// Calls fn.template operator()<N>() with N = channels x sampleBytes (1, 2, 3,
// 4, 6, 8, 12 or 16). Returns false without calling it when channels is
// outside 1..4, sampleBytes is not 1, 2 or 4, or the image's rows cannot
// hold its width in such pixels.
template <class Fn>
bool DispatchUnit(CVxImage& image, int channels, int sampleBytes, Fn&& fn) {
    if (channels < 1 || channels > 4) return false;
    if (sampleBytes != 1 && sampleBytes != 2 && sampleBytes != 4) return false;
    if (!HasPixelBlockFor(image, channels, sampleBytes)) return false;
    switch (channels * sampleBytes) {
        case 1: fn.template operator()<1>(); break;
        case 2: fn.template operator()<2>(); break;
        case 3: fn.template operator()<3>(); break;
        case 4: fn.template operator()<4>(); break;
        case 6: fn.template operator()<6>(); break;
        case 8: fn.template operator()<8>(); break;
        case 12: fn.template operator()<12>(); break;
        default: fn.template operator()<16>(); break;
    }
    return true;
}

// Calls fn.template operator()<T, C>() for the three-way sample type and
// `channels` (1 to 4; false without calling it otherwise). Unlike
// DispatchLayout it does not look at the image's block: for callers whose
// own steps guard it.
template <class Fn>
bool DispatchThreeWayLayout(int bitsPerSample, int channels, Fn&& fn) {
    if (channels < 1 || channels > 4) return false;
    auto withType = [&]<class T>() {
        switch (channels) {
            case 1: fn.template operator()<T, 1>(); break;
            case 2: fn.template operator()<T, 2>(); break;
            case 3: fn.template operator()<T, 3>(); break;
            default: fn.template operator()<T, 4>(); break;
        }
    };
    switch (ThreeWaySampleBytes(bitsPerSample)) {
        case 1: withType.template operator()<std::uint8_t>(); break;
        case 2: withType.template operator()<std::uint16_t>(); break;
        default: withType.template operator()<float>(); break;
    }
    return true;
}

// True when a partner image (the destination, source or mask of a copy)
// stores pixels of `unitBytes` bytes and covers width x height of them.
inline bool PartnerCovers(CVxImage& partner, int unitBytes, int width, int height) {
    if (!partner.IsCreated() || ThreeWayUnitBytes(partner) != unitBytes) return false;
    if (partner.m_nWidth < width || partner.m_nHeight < height) return false;
    return static_cast<std::int64_t>(width) * unitBytes <= partner.m_nBytesPerLine;
}

}  // namespace lumora::detail
