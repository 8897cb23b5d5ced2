// Run-time choice of instruction set for hot loops.
//
// The library is built for the architecture's baseline (x86-64: SSE2), so a
// loop the compiler vectorises uses 16-byte vectors at best. A routine that
// gains from a wider set is compiled a second time for it and the copy is
// chosen when the processor has that set:
//
//     RunForCpu<Isa::Avx2>([&]() LUMORA_INLINE_LAMBDA { HotRoutine<T, C>(...); });
//
// The lambda and everything it reaches in the hot path must be inlined into
// the per-set wrapper (functions marked LUMORA_INLINE, or small inline ones
// the compiler inlines anyway): only code inlined there is compiled for the
// wider set; a call that stays a call runs the baseline copy, which is
// correct, only slower. The wrapper itself is a real call, so the lambda
// reads its captures through the closure; a loop that used them directly
// would re-read them after every store through a byte pointer (which may
// alias anything) and not vectorise. So the lambda only hands the values to
// an inlined routine, whose parameters are plain locals.
//
// Only instruction sets are added, never fused multiply-add: the build keeps
// every multiply and add separately rounded, and a wider vector computes
// each lane exactly as the scalar code does, so every result is unchanged.
#pragma once

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#define LUMORA_X86_DISPATCH 1
#endif

#if defined(__GNUC__)
#define LUMORA_INLINE [[gnu::always_inline]] inline
#define LUMORA_INLINE_LAMBDA __attribute__((always_inline))
#else
#define LUMORA_INLINE inline
#define LUMORA_INLINE_LAMBDA
#endif

namespace lumora::detail {

// Avx512Vbmi (with AVX-512 F and BW) serves hand-written kernels only, not
// RunForCpu: the morphology and median loops compiled for 64-byte vectors
// ran slower than their AVX2 copies on a Zen 4 processor, and such vectors
// lower the clock of some others.
enum class Isa { Ssse3, Avx2, Avx512Vbmi };

// Whether the processor (and, for AVX, the operating system) supports the
// set; computed once. Always false where the library has no copy for it.
bool CpuHas(Isa isa);

#ifdef LUMORA_X86_DISPATCH
template <class Fn>
__attribute__((target("ssse3"))) void RunSsse3(Fn& fn) {
    fn();
}

// 64-bit Windows compilers of the gcc family cannot align the stack to the
// 32 bytes that spilled AVX registers need, so no AVX copy is made there.
#if !defined(_WIN32)
#define LUMORA_HAVE_AVX2_COPY 1
template <class Fn>
__attribute__((target("avx2"))) void RunAvx2(Fn& fn) {
    fn();
}
#endif
#endif

#ifdef LUMORA_X86_DISPATCH
template <Isa kIsa, class Fn>
bool TryRunFor(Fn& fn) {
    static_assert(kIsa != Isa::Avx512Vbmi, "AVX-512 is for hand-written kernels");
    if constexpr (kIsa == Isa::Ssse3) {
        if (!CpuHas(kIsa)) return false;
        RunSsse3(fn);
        return true;
    } else {
#ifdef LUMORA_HAVE_AVX2_COPY
        if (!CpuHas(kIsa)) return false;
        RunAvx2(fn);
        return true;
#else
        return false;
#endif
    }
}
#endif

// Runs fn() compiled for the first listed set the processor has, else for
// the baseline. List wider sets first.
template <Isa... kIsas, class Fn>
void RunForCpu(Fn&& fn) {
#ifdef LUMORA_X86_DISPATCH
    if ((TryRunFor<kIsas>(fn) || ...)) return;
#endif
    fn();
}

}  // namespace lumora::detail
