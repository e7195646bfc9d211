// SPDX-License-Identifier: BSD-2-Clause
#include "smooth/path.h"

#include "platform/trigonometry.h"

namespace {

const double kMostZoomOut = 2;
const double kRollShare = 7.0 / 16; // of the roll that would take the whole room

// 0 for NaN.
double Limited(double d, double dMost) {
    return d > dMost ? dMost : d < -dMost ? -dMost : d == d ? d : 0;
}

} // namespace

void SetRoom(SmoothSettings *pSettings, int32_t lInWidth, int32_t lInHeight, int32_t lOutWidth,
             int32_t lOutHeight, double dStep) {
    pSettings->dWidth = lInWidth;
    pSettings->dHalfX = dStep * lOutWidth / 2;
    pSettings->dHalfY = dStep * lOutHeight / 2;
    pSettings->dRoomX = lInWidth / 2.0 - pSettings->dHalfX;
    pSettings->dRoomY = lInHeight / 2.0 - pSettings->dHalfY;
    pSettings->dRoomRoll =
        kRollShare * Less(pSettings->dRoomY / pSettings->dHalfX, pSettings->dRoomX / pSettings->dHalfY);
}

bool SetWindow(SmoothSettings *pSettings, int32_t lInWidth, int32_t lInHeight, int32_t lOutWidth,
               int32_t lOutHeight, int32_t lWindow) {
    const double dStep =
        lWindow / 1024.0 * Less((double)lInWidth / lOutWidth, (double)lInHeight / lOutHeight);
    if (dStep > kMostZoomOut) return false;
    SetRoom(pSettings, lInWidth, lInHeight, lOutWidth, lOutHeight, dStep);
    return true;
}

Picture Carry(Picture st, const RigidMotion *pMotion) {
    const double c = Cosine(pMotion->dTheta), s = Sine(pMotion->dTheta);
    const double x = st.dX - pMotion->dCol, y = st.dY - pMotion->dRow;
    return {x * c + y * s, y * c - x * s, st.dRoll - pMotion->dTheta};
}

Picture ClampPicture(const SmoothSettings *pSettings, Picture st) {
    st.dRoll = Limited(st.dRoll, pSettings->dRoomRoll);
    const double dRoll = Magnitude(st.dRoll);
    st.dX = Limited(st.dX, pSettings->dRoomX - pSettings->dHalfY * dRoll);
    st.dY = Limited(st.dY, pSettings->dRoomY - pSettings->dHalfX * dRoll);
    return st;
}
