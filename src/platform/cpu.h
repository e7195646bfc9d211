// SPDX-License-Identifier: BSD-2-Clause
// Which vector instructions the library may use.
//
// A level is an instruction set. A handle chooses its level when it is created; see kernels.h.
#pragma once

#include <stdint.h>

enum CpuLevel : int32_t { kCpuPortable, kCpuSse2, kCpuSsse3, kCpuAvx2, kCpuNeon, kCpuLevels };

#if defined(__x86_64__) || defined(__i386__)
#define QEL_X86 1
#define QEL_TARGET(isa) __attribute__((target(isa)))
#define QEL_SSE2 QEL_TARGET("sse2")
#define QEL_SSSE3 QEL_TARGET("ssse3")
#define QEL_AVX2 QEL_TARGET("avx2")
#elif defined(__wasm_simd128__) && defined(__SSSE3__)
// Emscripten's headers translate the intrinsics up to SSSE3. A module has vector instructions
// throughout or not at all, so functions need no targets of their own.
#define QEL_X86 1
#define QEL_SSE2
#define QEL_SSSE3
#elif defined(__aarch64__)
#define QEL_NEON 1
#endif

// The best level of this processor, within the limit of LimitCpuLevel.
CpuLevel ChooseCpuLevel();

// For tests and benchmarks: no handle created from now on uses more than this level (kCpuLevels: any).
void LimitCpuLevel(CpuLevel eHighest);

// Gives way to the other hardware thread of the core while this one spins.
static inline void PauseCore() {
#if defined(QEL_X86) && !defined(__wasm__)
    __builtin_ia32_pause();
#elif defined(QEL_NEON)
    __asm__ volatile("isb"); // on most cores the yield instruction does nothing
#endif
}
