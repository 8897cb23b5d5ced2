#include "row_shuffle.h"

#include <algorithm>

#include "cpu_dispatch.h"

#ifdef LUMORA_X86_DISPATCH
#include <immintrin.h>
#endif

namespace lumora::detail {

namespace {

constexpr size_t kBlock = 16;

void CopyBytes(const std::uint8_t* in, std::uint8_t* out, const int* index, size_t count) {
    for (size_t j = 0; j < count; ++j) out[j] = in[index[j]];
}

#ifdef LUMORA_X86_DISPATCH
// A shuffle byte with its top bit set writes 0, so each output byte takes
// its source from exactly one of the two loads and the OR joins them.
__attribute__((target("ssse3"))) void RunShuffles(const std::uint8_t* in, std::uint8_t* out, const int* index,
                                                  const int* base, const std::uint8_t* masks, size_t count) {
    const size_t blocks = count / kBlock;
    for (size_t b = 0; b < blocks; ++b) {
        std::uint8_t* to = out + b * kBlock;
        if (base[b] < 0) {
            CopyBytes(in, to, index + b * kBlock, kBlock);
            continue;
        }
        const std::uint8_t* from = in + base[b];
        const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + kBlock));
        const __m128i* mask = reinterpret_cast<const __m128i*>(masks + 2 * kBlock * b);
        const __m128i v = _mm_or_si128(_mm_shuffle_epi8(low, _mm_loadu_si128(mask)),
                                       _mm_shuffle_epi8(high, _mm_loadu_si128(mask + 1)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v);
    }
    CopyBytes(in, out + blocks * kBlock, index + blocks * kBlock, count - blocks * kBlock);
}
#endif

}  // namespace

RowShuffle::RowShuffle(const int* index, size_t count, size_t sourceBytes) : index_(index, index + count) {
#ifdef LUMORA_X86_DISPATCH
    if (!CpuHas(Isa::Ssse3) || sourceBytes < 2 * kBlock) return;
    const size_t blocks = count / kBlock;
    base_.assign(blocks, -1);
    masks_.assign(blocks * 2 * kBlock, 0x80);
    size_t shuffled = 0;
    for (size_t b = 0; b < blocks; ++b) {
        const int* block = index + b * kBlock;
        const auto [lo, hi] = std::minmax_element(block, block + kBlock);
        // Both loads must stay within the row: a block near its end reads
        // the row's last 32 bytes.
        const int first = std::min(*lo, static_cast<int>(sourceBytes - 2 * kBlock));
        if (*hi - first >= static_cast<int>(2 * kBlock)) continue;
        base_[b] = first;
        for (size_t j = 0; j < kBlock; ++j) {
            const int at = block[j] - first;
            masks_[b * 2 * kBlock + (at < 16 ? 0 : kBlock) + j] = static_cast<std::uint8_t>(at % 16);
        }
        ++shuffled;
    }
    usable_ = 2 * shuffled >= blocks && blocks > 0;
#else
    (void)sourceBytes;
#endif
}

void RowShuffle::Run(const std::uint8_t* in, std::uint8_t* out) const {
#ifdef LUMORA_X86_DISPATCH
    RunShuffles(in, out, index_.data(), base_.data(), masks_.data(), index_.size());
#else
    CopyBytes(in, out, index_.data(), index_.size());
#endif
}

}  // namespace lumora::detail
