// SPDX-License-Identifier: BSD-2-Clause
#include "smooth/path.h"

#include "platform/trigonometry.h"

namespace {

const double kMostZoomOut = 2;
const double kRollShare = 7.0 / 16; // of the roll that would take the whole margin

// 0 for NaN.
double Limited(double d, double dMost) {
    return d > dMost ? dMost : d < -dMost ? -dMost : d == d ? d : 0;
}

} // namespace

void SetViewStep(SmoothSettings *pSettings, int32_t lInWidth, int32_t lInHeight, int32_t lOutWidth,
                 int32_t lOutHeight, double dStep) {
    pSettings->dWidth = lInWidth;
    pSettings->dHalfX = dStep * lOutWidth / 2;
    pSettings->dHalfY = dStep * lOutHeight / 2;
    pSettings->dMarginX = lInWidth / 2.0 - pSettings->dHalfX;
    pSettings->dMarginY = lInHeight / 2.0 - pSettings->dHalfY;
    pSettings->dMarginRoll = kRollShare * Smaller(pSettings->dMarginY / pSettings->dHalfX,
                                                  pSettings->dMarginX / pSettings->dHalfY);
}

bool SetViewPart(SmoothSettings *pSettings, int32_t lInWidth, int32_t lInHeight, int32_t lOutWidth,
                 int32_t lOutHeight, int32_t lPart) {
    const double dStep =
        lPart / 1024.0 * Smaller((double)lInWidth / lOutWidth, (double)lInHeight / lOutHeight);
    if (dStep > kMostZoomOut) return false;
    SetViewStep(pSettings, lInWidth, lInHeight, lOutWidth, lOutHeight, dStep);
    return true;
}

View Carry(View st, const RigidMotion *pMotion) {
    const double c = Cosine(pMotion->dTheta), s = Sine(pMotion->dTheta);
    const double x = st.dX - pMotion->dCol, y = st.dY - pMotion->dRow;
    return {x * c + y * s, y * c - x * s, st.dRoll - pMotion->dTheta};
}

View ClampView(const SmoothSettings *pSettings, View st) {
    st.dRoll = Limited(st.dRoll, pSettings->dMarginRoll);
    const double dRoll = Magnitude(st.dRoll);
    st.dX = Limited(st.dX, pSettings->dMarginX - pSettings->dHalfY * dRoll);
    st.dY = Limited(st.dY, pSettings->dMarginY - pSettings->dHalfX * dRoll);
    return st;
}
