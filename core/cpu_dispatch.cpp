#include "cpu_dispatch.h"

#include <cstdlib>
#include <cstring>

namespace lumora::detail {

namespace {

// The environment variable LUMORA_MAX_SIMD caps the sets used: "none" (the
// baseline copies only), "ssse3" or "avx2"; unset or anything else allows
// every set the processor has. The tests run once per cap, so that every
// copy is compared with the others on the same machine.
int Ceiling() {
    static const int ceiling = [] {
        const char* text = std::getenv("LUMORA_MAX_SIMD");
        if (text == nullptr) return 3;
        if (std::strcmp(text, "none") == 0) return 0;
        if (std::strcmp(text, "ssse3") == 0) return 1;
        if (std::strcmp(text, "avx2") == 0) return 2;
        return 3;
    }();
    return ceiling;
}

}  // namespace

bool CpuHas(Isa isa) {
#ifdef LUMORA_X86_DISPATCH
    // __builtin_cpu_init makes the answers valid even when the first call
    // comes from a static constructor; "avx2" also checks that the
    // operating system saves the wide registers.
    static const bool ssse3 = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("ssse3") != 0;
    }();
#ifdef LUMORA_HAVE_AVX2_COPY
    static const bool avx2 = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    static const bool avx512vbmi = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
               __builtin_cpu_supports("avx512vbmi") != 0;
    }();
#else
    constexpr bool avx2 = false;
    constexpr bool avx512vbmi = false;
#endif
    switch (isa) {
        case Isa::Ssse3:
            return ssse3 && Ceiling() >= 1;
        case Isa::Avx2:
            return avx2 && Ceiling() >= 2;
        case Isa::Avx512Vbmi:
            return avx512vbmi && Ceiling() >= 3;
    }
#endif
    (void)isa;
    return false;
}

}  // namespace lumora::detail
