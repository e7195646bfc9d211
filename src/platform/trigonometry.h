// SPDX-License-Identifier: BSD-2-Clause
// Sine and cosine that are the same bits everywhere: series, without the C library.
#pragma once

#include <stdint.h>

// An angle between -pi and pi; angles of more than 2^30 turns are taken for 0.
static inline double ReducedAngle(double a) {
    const double kTurn = 6.28318530717958647692;
    const double dTurns = a / kTurn;
    if (!(dTurns > -1073741824.0 && dTurns < 1073741824.0)) return 0;
    return a - kTurn * (double)(int32_t)(dTurns + (dTurns < 0 ? -0.5 : 0.5));
}

// a^(lPower) / lPower! - a^(lPower + 2) / (lPower + 2)! + ..: exact to a few units of the last place.
static inline double AlternatingSeries(double a, double dTerm, int32_t lPower) {
    double dSum = dTerm;
    for (int32_t n = lPower + 2; n < 28; n += 2) {
        dTerm *= -a * a / (double)(n * (n - 1));
        dSum += dTerm;
    }
    return dSum;
}

static inline double Sine(double a) {
    a = ReducedAngle(a);
    return AlternatingSeries(a, a, 1);
}
static inline double Cosine(double a) {
    a = ReducedAngle(a);
    return AlternatingSeries(a, 1, 0);
}
