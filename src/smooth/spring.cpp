// SPDX-License-Identifier: BSD-2-Clause
#include "smooth/spring.h"

namespace {

const double kTwoPi = 6.28318530717958647692;
const double kSlow = 0.06;      // Hz: what is slower is followed
const double kSlowRoll = 0.024; // Hz: the same for the roll, so that the horizon stays level longer
const double kStiffer = 0.27;   // Hz: added at the margin
// Of what the stop cuts off, the speed loses kRebound / rate: an eighth at 30 frames a second.
const double kRebound = 30.0 / 8;
// Radians a frame, for low rates: a step is stable up to 1.236, but from 1 on it calms nothing.
const double kStiffest = 0.5;

struct Axis {
    double *pPlace, *pSpeed;
    double dBefore; // place in the frame before
    double dMargin; // both ways from 0
    double dSlow;   // Hz
    bool bRebounds;
};

// How far from the middle the axis may be in this frame: half of the margin that was free in the frame
// before may be used up.
double Stop(const Axis *pAxis) {
    const bool bSameSide = (pAxis->dBefore > 0) == (*pAxis->pPlace > 0);
    const double dTaken = bSameSide ? Smaller(Magnitude(pAxis->dBefore), pAxis->dMargin) : 0;
    return dTaken + (pAxis->dMargin - dTaken) / 2;
}

void PullAxis(const SmoothSettings *pSettings, const Axis *pAxis) {
    double *c = pAxis->pPlace, *v = pAxis->pSpeed;
    if (!(pAxis->dMargin > 0)) {
        *c = *v = 0;
        return;
    }
    const double dOut = __builtin_sqrt(Smaller(Magnitude(*c) / pAxis->dMargin, 1));
    const double dRate = pSettings->dFramesPerSecond;
    const double w =
        Smaller(kTwoPi / dRate * (pAxis->dSlow + kStiffer * dOut) / pSettings->dStrength, kStiffest);
    *v -= w * w * *c + w * *v;
    *c += *v;
    const double dStop = Stop(pAxis);
    if (Magnitude(*c) <= dStop) return;
    const double dBack = (*c > 0 ? dStop : -dStop) - *c;
    *c += dBack;
    if (pAxis->bRebounds) *v += dRate > kRebound ? dBack * kRebound / dRate : dBack; // at most all
}

} // namespace

void StartSpring(Spring *pSpring) { *pSpring = {}; }

void StepSpring(const SmoothSettings *pSettings, const RigidMotion *pMotion, Spring *pSpring) {
    const View stBefore = pSpring->stView;
    const RigidMotion stTurn = {0, 0, pMotion->dTheta}; // turns the speed to the axes of this frame
    const double dRollSpeed = pSpring->stSpeed.dRoll;
    View *p = &pSpring->stView, *v = &pSpring->stSpeed;
    *p = Carry(stBefore, pMotion);
    *v = Carry(*v, &stTurn);
    v->dRoll = dRollSpeed;
    if (pSettings->bRoll) {
        const Axis st = {&p->dRoll, &v->dRoll, stBefore.dRoll, pSettings->dMarginRoll,
                         kSlowRoll, false};
        PullAxis(pSettings, &st);
    } else {
        p->dRoll = v->dRoll = 0;
    }
    // The roll takes margin from the other axes, so it comes first.
    const double dRoll = Magnitude(p->dRoll);
    const Axis stX = {&p->dX, &v->dX, stBefore.dX, pSettings->dMarginX - pSettings->dHalfY * dRoll,
                      kSlow,  true};
    const Axis stY = {&p->dY, &v->dY, stBefore.dY, pSettings->dMarginY - pSettings->dHalfX * dRoll,
                      kSlow,  true};
    PullAxis(pSettings, &stX);
    PullAxis(pSettings, &stY);
}
