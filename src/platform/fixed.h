// SPDX-License-Identifier: BSD-2-Clause
// Fixed-point helpers. Results that may overflow wrap around: they are computed in unsigned
// arithmetic.
#pragma once

#include <stdint.h>

#if defined(__clang__)
#define QEL_WRAPS __attribute__((no_sanitize("integer")))
#else
#define QEL_WRAPS
#endif

QEL_WRAPS static inline int32_t Low32(int64_t v) { return (int32_t)(uint32_t)(uint64_t)v; }

QEL_WRAPS static inline int32_t WrapAdd32(int32_t a, int32_t b) {
    return (int32_t)((uint32_t)a + (uint32_t)b);
}
QEL_WRAPS static inline int32_t WrapSub32(int32_t a, int32_t b) {
    return (int32_t)((uint32_t)a - (uint32_t)b);
}
QEL_WRAPS static inline int32_t WrapMul32(int32_t a, int32_t b) {
    return (int32_t)((uint32_t)a * (uint32_t)b);
}
QEL_WRAPS static inline int64_t WrapAdd64(int64_t a, int64_t b) {
    return (int64_t)((uint64_t)a + (uint64_t)b);
}
QEL_WRAPS static inline int64_t WrapSub64(int64_t a, int64_t b) {
    return (int64_t)((uint64_t)a - (uint64_t)b);
}
QEL_WRAPS static inline int64_t WrapMul64(int64_t a, int64_t b) {
    return (int64_t)((uint64_t)a * (uint64_t)b);
}

// |INT32_MIN| stays INT32_MIN.
static inline int32_t WrapAbs32(int32_t v) { return v < 0 ? WrapSub32(0, v) : v; }

// Quotients rounded toward zero. A divisor of 0 gives 0, and no operands trap.
static inline int32_t Quotient32(int32_t a, int32_t b) { return b ? Low32((int64_t)a / b) : 0; }
static inline int64_t Quotient64(int64_t a, int64_t b) {
    if (b == 0) return 0;
    return b == -1 ? WrapSub64(0, a) : a / b;
}

// Shift right by n = 0..63, rounded toward zero.
static inline int64_t ShiftToZero64(int64_t v, int32_t n) {
    return v < 0 ? WrapSub64(0, WrapSub64(0, v) >> n) : v >> n;
}

// Q10 to whole pixels, toward zero.
static inline int32_t Div1024(int32_t v) { return v / 1024; }

static inline int32_t Clamp32(int32_t v, int32_t lo, int32_t hi) {
    return v < lo ? lo : v > hi ? hi : v;
}
static inline int32_t Min32(int32_t a, int32_t b) { return a < b ? a : b; }
static inline int32_t Max32(int32_t a, int32_t b) { return a > b ? a : b; }

// Toward zero; saturates, and NaN gives 0.
static inline int32_t TruncateFloat(float f) {
    if (f != f) return 0;
    if (f >= 2147483648.0f) return INT32_MAX;
    if (f <= -2147483648.0f) return INT32_MIN;
    return (int32_t)f;
}
