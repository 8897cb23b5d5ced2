// Sample values as keys of a total order, for the rank filters (minimum,
// maximum, median).
//
// 8-bit and 16-bit samples are their own keys. A float sample becomes a
// 32-bit signed integer whose integer order is the float order, with two
// choices a plain float comparison leaves open made fixed:
//   - -0 orders below +0, so a minimum prefers -0 and a maximum +0;
//   - every NaN becomes one sentinel key placed at the end the caller picks
//     (above +infinity or below -infinity), and a sentinel turns back into
//     the quiet NaN. A minimum with NaN placed highest therefore ignores NaN
//     unless the whole window is NaN, and likewise a maximum with NaN lowest.
// Working on integers keeps the comparisons branch-free and lets the same
// min/max code serve all sample types.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "../core/cpu_dispatch.h"
#include "../core/layout.h"

namespace lumora::detail {

template <class T>
using OrderKey = std::conditional_t<kIsFloatSample<T>, std::int32_t, T>;

enum class NanPlace { Highest, Lowest };

template <class K>
LUMORA_INLINE K MinOf(K a, K b) {
    return b < a ? b : a;
}

template <class K>
LUMORA_INLINE K MaxOf(K a, K b) {
    return a < b ? b : a;
}

template <class T, NanPlace kNan>
LUMORA_INLINE OrderKey<T> ToOrderKey(T v) {
    if constexpr (kIsFloatSample<T>) {
        const auto bits = std::bit_cast<std::uint32_t>(v);
        const auto s = static_cast<std::int32_t>(bits);
        // Negative floats order backwards by their bit pattern; flipping the
        // magnitude bits of those makes the integer order the float order.
        const std::int32_t key = s ^ ((s >> 31) & 0x7FFFFFFF);
        constexpr std::int32_t kNanKey = kNan == NanPlace::Highest ? std::numeric_limits<std::int32_t>::max()
                                                                   : std::numeric_limits<std::int32_t>::min();
        return (bits & 0x7FFFFFFFu) > 0x7F800000u ? kNanKey : key;
    } else {
        return v;
    }
}

template <class T>
LUMORA_INLINE T FromOrderKey(OrderKey<T> key) {
    if constexpr (kIsFloatSample<T>) {
        const std::int32_t s = key ^ ((key >> 31) & 0x7FFFFFFF);
        const bool nan = key == std::numeric_limits<std::int32_t>::max() ||
                         key == std::numeric_limits<std::int32_t>::min();
        const auto bits = nan ? 0x7FC00000u : static_cast<std::uint32_t>(s);
        return std::bit_cast<float>(bits);
    } else {
        return key;
    }
}

}  // namespace lumora::detail
