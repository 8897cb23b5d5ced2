#include "cpu_dispatch.h"

namespace lumora::detail {

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
#else
    constexpr bool avx2 = false;
#endif
    switch (isa) {
        case Isa::Ssse3:
            return ssse3;
        case Isa::Avx2:
            return avx2;
    }
#endif
    (void)isa;
    return false;
}

}  // namespace lumora::detail
