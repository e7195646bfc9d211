// SPDX-License-Identifier: BSD-2-Clause
#include "warp/fine_map.h"

#include "platform/trigonometry.h"

namespace {

const double kMostPixels = 1 << 30; // far beyond every picture; NaN is taken for 0

int64_t ToQ32(double d) {
    if (!(d > -kMostPixels)) return d <= -kMostPixels ? -((int64_t)1 << 62) : 0;
    if (d > kMostPixels) d = kMostPixels;
    const double dScaled = d * 4294967296.0;
    return (int64_t)(dScaled + (dScaled < 0 ? -0.5 : 0.5));
}

} // namespace

// In luma pixels a plane's pixel (x, y) lies at (dStepX * x + dSiteX, dStepY * y + dSiteY).
FineMap FineMapOf(const FineView *pView, const FineSizes *pSizes, const FineSampling *pSampling) {
    const double dStepX = (double)((int64_t)1 << pSampling->lSubX);
    const double dStepY = (double)((int64_t)1 << pSampling->lSubY);
    const double dSiteX = pSampling->lSiteX / 4.0, dSiteY = pSampling->lSiteY / 4.0;
    const double dCos = pView->dScale * Cosine(pView->dTheta);
    const double dSin = pView->dScale * Sine(pView->dTheta);
    const double dX = dSiteX - (pSizes->lOutWidth - 1) / 2.0; // of the first pixel from the centre
    const double dY = dSiteY - (pSizes->lOutHeight - 1) / 2.0;
    const double dCol = (pSizes->lInWidth - 1) / 2.0 + pView->dCol + dCos * dX - dSin * dY;
    const double dRow = (pSizes->lInHeight - 1) / 2.0 + pView->dRow + dSin * dX + dCos * dY;
    FineMap st;
    st.llC0 = ToQ32((dCol - dSiteX) / dStepX);
    st.llCX = ToQ32(dCos);
    st.llCY = ToQ32(-dSin * dStepY / dStepX);
    st.llR0 = ToQ32((dRow - dSiteY) / dStepY);
    st.llRX = ToQ32(dSin * dStepX / dStepY);
    st.llRY = ToQ32(dCos);
    return st;
}
