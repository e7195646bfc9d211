// SPDX-License-Identifier: BSD-2-Clause
// The smoother's starting state.
#include "smooth/smooth.h"

#include "platform/fixed.h"
#include "quorvel/memory.h"

namespace {

void SetCovariance(KalmanState *pState, int64_t llP00, int64_t llP01, int64_t llP10, int64_t llP11) {
    pState->llP00 = llP00;
    pState->llP01 = llP01;
    pState->llP10 = llP10;
    pState->llP11 = llP11;
}

// A translation axis whose crop can move by lMargin whole pixels.
void InitAxis(KalmanAxisLong *pAxis, int32_t lMargin) {
    const int64_t c = lMargin;
    pAxis->st.llProcNoise = 1024;
    pAxis->st.llProcNoise2 = 1;
    pAxis->st.llMeasNoise =
        WrapMul64(c * c, 1024) / 9; // a third of the margin is one standard deviation
    pAxis->st.llDevLimit = c * 1024;
    pAxis->llMargin7_8 = c * 896;
    pAxis->llMargin11_16 = c * 704;
    pAxis->llMarginHalf = c * 512;
    pAxis->llMarginQuarter = c * 256;
}

// Rotation that moves no corner of the output by more than the margins, Q10 radians.
int32_t AngleMargin(const MVS_Context *pCtx) {
    const int32_t lByRow = Quotient32(WrapMul32(pCtx->lCropY, 1024), pCtx->lOutWidth >> 1);
    const int32_t lByCol = Quotient32(WrapMul32(pCtx->lCropX, 1024), pCtx->lOutHeight >> 1);
    return Min32(lByRow, lByCol);
}

void InitThetaAxis(KalmanAxisShort *pAxis, int32_t lMargin) {
    const int64_t t = lMargin;
    const int64_t llNoise = t * t >> 11;
    pAxis->st.llProcNoise = llNoise ? llNoise : 1;
    pAxis->st.llProcNoise2 = pAxis->st.llProcNoise;
    pAxis->st.llMeasNoise = t * t / 9;
    pAxis->st.llDevLimit = t * 256;
    pAxis->llMarginRaw = t;
}

} // namespace

void InitKalmanFilter(MVS_Context *pCtx) {
    KalmanSideBlock *pSide = pCtx->pSideBlock;
    MMemSet(pSide, 0, (uint32_t)sizeof(*pSide));
    InitAxis(&pSide->stAxisRow, pCtx->lCropY);
    InitAxis(&pSide->stAxisCol, pCtx->lCropX);
    InitThetaAxis(&pSide->stAxisTheta, AngleMargin(pCtx));
    SetCovariance(&pSide->stAxisRow.st, 11129679, 104992, 1203244, 12395);
    SetCovariance(&pSide->stAxisCol.st, 17978107, 141269, 1761272, 15003);
    SetCovariance(&pSide->stAxisTheta.st, 138167, 1952, 18711, 294);
    pSide->lPredictModeRow = 1;
    pSide->lPredictModeCol = 1;
    pSide->lPredictModeTheta = 1;
    pSide->lSpare30[0] = 30;
    pSide->lSpare30[1] = 30;
    pSide->lAdaptCountdown = 30;
    pSide->lGainShiftRow = 13;
    pSide->lGainShiftCol = 13;
    pSide->lGainShiftTheta = 14;
}

MVS_MotionTriple ResetGmvQueue(MVS_Context *pCtx) {
    InitKalmanFilter(pCtx);
    return {0, 0, 0};
}
