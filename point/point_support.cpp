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
// byte shuffle looks up the low nibble of every sample in all sixteen rows.
// The high nibble then picks one of the sixteen answers by halving: bit 4
// chooses within each pair of rows, bit 5 within each pair of pairs, and so
// on. A byte blend follows the top bit of each mask byte, so the sample is
// shifted left until the deciding bit sits there; 16-bit shifts by up to 7
// bring each byte's top bit from that same byte.
__attribute__((target("avx2"))) void LookUpBytesAvx2(std::uint8_t* run, int count, const std::uint8_t* table) {
    __m256i rows[16];
    for (int h = 0; h < 16; ++h)
        rows[h] = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * h)));
    const __m256i lowNibble = _mm256_set1_epi8(0x0F);
    int i = 0;
    for (; i + 32 <= count; i += 32) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(run + i));
        const __m256i low = _mm256_and_si256(v, lowNibble);
        __m256i pick[8];
        const __m256i bit4 = _mm256_slli_epi16(v, 3);
        for (int p = 0; p < 8; ++p)
            pick[p] = _mm256_blendv_epi8(_mm256_shuffle_epi8(rows[2 * p], low),
                                         _mm256_shuffle_epi8(rows[2 * p + 1], low), bit4);
        const __m256i bit5 = _mm256_slli_epi16(v, 2);
        for (int p = 0; p < 4; ++p) pick[p] = _mm256_blendv_epi8(pick[2 * p], pick[2 * p + 1], bit5);
        const __m256i bit6 = _mm256_slli_epi16(v, 1);
        for (int p = 0; p < 2; ++p) pick[p] = _mm256_blendv_epi8(pick[2 * p], pick[2 * p + 1], bit6);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(run + i), _mm256_blendv_epi8(pick[0], pick[1], v));
    }
    LookUpBytesScalar(run + i, count - i, table);
}

// 64 lookups at a time: a two-table byte permute looks up the low seven bits
// in either half of the table, and bit 7 picks the half. The last partial
// vector is read and written under a mask.
#define LUMORA_AVX512_VBMI __attribute__((target("avx512f,avx512bw,avx512vbmi")))

LUMORA_AVX512_VBMI inline __m512i LookUp64(__m512i v, const __m512i (&q)[4]) {
    const __m512i low = _mm512_permutex2var_epi8(q[0], v, q[1]), high = _mm512_permutex2var_epi8(q[2], v, q[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(v), low, high);
}

LUMORA_AVX512_VBMI void LookUpBytesAvx512(std::uint8_t* run, int count, const std::uint8_t* table) {
    __m512i q[4];
    for (int h = 0; h < 4; ++h) q[h] = _mm512_loadu_si512(table + 64 * h);
    int i = 0;
    for (; i + 64 <= count; i += 64) _mm512_storeu_si512(run + i, LookUp64(_mm512_loadu_si512(run + i), q));
    if (i < count) {
        const __mmask64 tail = (std::uint64_t{1} << (count - i)) - 1;
        _mm512_mask_storeu_epi8(run + i, tail, LookUp64(_mm512_maskz_loadu_epi8(tail, run + i), q));
    }
}
#endif

}  // namespace

void LookUpBytes(std::uint8_t* run, int count, const std::uint8_t* table) {
#ifdef LUMORA_HAVE_AVX2_COPY
    if (CpuHas(Isa::Avx512Vbmi)) {
        LookUpBytesAvx512(run, count, table);
        return;
    }
    if (CpuHas(Isa::Avx2)) {
        LookUpBytesAvx2(run, count, table);
        return;
    }
#endif
    LookUpBytesScalar(run, count, table);
}

}  // namespace lumora::detail
