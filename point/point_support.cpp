#include "point_support.h"

#include "../core/cpu_dispatch.h"

#ifdef LUMORA_HAVE_AVX2_COPY
#include <immintrin.h>
#endif

namespace lumora::detail {

namespace {

// Groups of eight independent lookups, all loads before the stores, keep the
// load ports busy. The function stays out of line on purpose: where the
// compiler can see that the table is a local array apart from the run, gcc
// "vectorises" the loop by assembling every vector byte by byte through the
// stack, which runs at half the speed of this scalar loop. Behind a plain
// pointer the table might overlap the run, and the loop stays scalar.
[[gnu::noinline]] void LookUpBytesScalar(std::uint8_t* run, int count, const std::uint8_t* table) {
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        const std::uint8_t a0 = table[run[i]], a1 = table[run[i + 1]], a2 = table[run[i + 2]], a3 = table[run[i + 3]];
        const std::uint8_t a4 = table[run[i + 4]], a5 = table[run[i + 5]], a6 = table[run[i + 6]], a7 = table[run[i + 7]];
        run[i] = a0;
        run[i + 1] = a1;
        run[i + 2] = a2;
        run[i + 3] = a3;
        run[i + 4] = a4;
        run[i + 5] = a5;
        run[i + 6] = a6;
        run[i + 7] = a7;
    }
    for (; i < count; ++i) run[i] = table[run[i]];
}

#ifdef LUMORA_HAVE_AVX2_COPY
// 32 lookups at a time: the table is sixteen rows of sixteen bytes, and a
// byte shuffle looks up the low nibble of every sample in one row at once.
// Each row's answers are kept where the high nibble names that row.
__attribute__((target("avx2"))) void LookUpBytesAvx2(std::uint8_t* run, int count, const std::uint8_t* table) {
    __m256i rows[16];
    for (int h = 0; h < 16; ++h)
        rows[h] = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * h)));
    const __m256i lowNibble = _mm256_set1_epi8(0x0F);
    int i = 0;
    for (; i + 32 <= count; i += 32) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(run + i));
        const __m256i low = _mm256_and_si256(v, lowNibble);
        const __m256i high = _mm256_andnot_si256(lowNibble, v);
        __m256i r = _mm256_shuffle_epi8(rows[0], low);
        for (int h = 1; h < 16; ++h) {
            const __m256i inRow = _mm256_cmpeq_epi8(high, _mm256_set1_epi8(static_cast<char>(h << 4)));
            r = _mm256_blendv_epi8(r, _mm256_shuffle_epi8(rows[h], low), inRow);
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(run + i), r);
    }
    LookUpBytesScalar(run + i, count - i, table);
}
#endif

}  // namespace

void LookUpBytes(std::uint8_t* run, int count, const std::uint8_t* table) {
#ifdef LUMORA_HAVE_AVX2_COPY
    if (CpuHas(Isa::Avx2)) {
        LookUpBytesAvx2(run, count, table);
        return;
    }
#endif
    LookUpBytesScalar(run, count, table);
}

}  // namespace lumora::detail
