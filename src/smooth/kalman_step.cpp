// SPDX-License-Identifier: BSD-2-Clause
// One frame of the smoother: predict and correct for each axis, then choose the gains for the next
// frame.
#include "smooth/smooth.h"

#include "platform/fixed.h"

namespace {

const int64_t kPathBound = 262142; // about 256 pixels, or 4 radians
const int32_t kAdaptFrames = 30;

// Deviations of the rotation, Q16 radians: up to the first the path counts as calm, up to the second
// it is smoothed.
const int32_t kThetaCalm = 2000;
const int32_t kThetaLimit = 6000;

// P <- P - K * P with the gain in Q13.
int64_t Corrected(int64_t llP, int64_t llGain) {
    return WrapSub64(llP, ShiftToZero64(WrapMul64(llGain, llP), 13));
}

// The position is predicted unchanged, while the covariance is predicted as if the velocity were added;
// P10 and P11 are corrected with themselves. Both make the path calmer than the textbook filter would.
void StepAxis(KalmanState *pState, int32_t lMotion, int32_t lGainShift, int32_t *pPredictMode,
              int32_t lHighestMode, int64_t llNextNoise) {
    pState->llMeasPos = WrapAdd64(pState->llMeasPos, lMotion);
    int64_t llPos = pState->llPos;
    if (*pPredictMode == 2) llPos = WrapAdd64(llPos, pState->llVel);

    const int64_t q = pState->llProcNoise;
    const int64_t llP00 = WrapAdd64(WrapAdd64(pState->llP00, pState->llP01),
                                    WrapAdd64(WrapAdd64(pState->llP10, pState->llP11), q >> 2));
    const int64_t llP01 = WrapAdd64(WrapAdd64(pState->llP01, pState->llP11), q >> 1);
    const int64_t llP10 = WrapAdd64(WrapAdd64(pState->llP10, pState->llP11), q >> 1);
    const int64_t llP11 = WrapAdd64(pState->llP11, q);

    const int64_t llS = WrapAdd64(pState->llMeasNoise, ShiftToZero64(llP00, 10));
    const int64_t llK0 = Quotient64(WrapMul64(llP00, 8), llS); // Q13; 0 where S is 0
    const int64_t llK1 = Quotient64(WrapMul64(llP10, 8), llS);

    const int32_t lShift = lGainShift & 63;
    int64_t llE = WrapSub64(pState->llMeasPos, llPos);
    if (*pPredictMode >= 1 && *pPredictMode <= lHighestMode) {
        llPos = WrapAdd64(llPos, ShiftToZero64(WrapMul64(llK0, llE), lShift));
        llE = WrapSub64(pState->llMeasPos, llPos);
    }
    pState->llVel = WrapAdd64(pState->llVel, ShiftToZero64(WrapMul64(llK1, llE), lShift));

    pState->llP00 = Corrected(llP00, llK0);
    pState->llP01 = Corrected(llP01, llK0);
    pState->llP10 = Corrected(llP10, llK1);
    pState->llP11 = Corrected(llP11, llK1);
    pState->llPos = llPos;
    pState->llProcNoise = llNextNoise;
    *pPredictMode = 1;
    CheckKFPos(&pState->llMeasPos, &pState->llPos);
}

bool InBound(int64_t v) { return v >= -kPathBound && v <= kPathBound; }

int32_t Deviation(const KalmanState *pState) {
    return WrapSub32(Low32(pState->llPos), Low32(pState->llMeasPos));
}

void SetGains(KalmanSideBlock *pSide, int32_t bFollow, int32_t lShift, int32_t lShiftTheta) {
    pSide->bFollowMode = bFollow;
    pSide->lGainShiftRow = lShift;
    pSide->lGainShiftCol = lShift;
    pSide->lGainShiftTheta = lShiftTheta;
    pSide->lAdaptCountdown = kAdaptFrames;
}

// Reconsiders the gains every 30 frames: the calmer the path, the smaller the gains. A deviation that
// reaches its limit sets full gains at once, for at least 30 frames.
void AdaptGains(KalmanSideBlock *pSide, MVS_MotionTriple stDev) {
    const int64_t llRow = WrapAbs32(stDev.lRow), llCol = WrapAbs32(stDev.lCol);
    const int64_t llTheta = WrapAbs32(stDev.lTheta);
    const int64_t llLimitRow = pSide->stAxisRow.st.llDevLimit,
                  llLimitCol = pSide->stAxisCol.st.llDevLimit;
    const bool bCalm = llTheta <= kThetaCalm && llRow < llLimitRow >> 3 && llCol < llLimitCol >> 3;
    const bool bInLimits = llTheta <= kThetaLimit && llRow < llLimitRow && llCol < llLimitCol;
    pSide->lAdaptCountdown = WrapSub32(pSide->lAdaptCountdown, 1);

    if (pSide->bFollowMode) {
        if (pSide->lAdaptCountdown) return;
        if (bCalm)
            SetGains(pSide, 0, 13, 18);
        else
            SetGains(pSide, 1, 13, 14);
    } else if (!bInLimits) {
        SetGains(pSide, 1, 13, 14);
    } else if (!pSide->lAdaptCountdown) {
        SetGains(pSide, 0, bCalm ? 15 : 14, 18);
    }
}

} // namespace

void CheckKFPos(int64_t *pMeasPos, int64_t *pPos) {
    int64_t z = *pMeasPos, x = *pPos;
    const int64_t d = WrapSub64(z, x);
    if (!InBound(z)) {
        x = WrapSub64(x, z);
        z = 0;
    }
    if (!InBound(x)) {
        z = d;
        x = 0;
    }
    *pMeasPos = z;
    *pPos = x;
}

MVS_MotionTriple KalmanFilterOnePos(MVS_Context *pCtx, int32_t lRow, int32_t lCol, int32_t lTheta) {
    KalmanSideBlock *pSide = pCtx->pSideBlock;
    StepAxis(&pSide->stAxisRow.st, lRow, pSide->lGainShiftRow, &pSide->lPredictModeRow, 2, 128);
    StepAxis(&pSide->stAxisCol.st, lCol, pSide->lGainShiftCol, &pSide->lPredictModeCol, 2, 128);
    StepAxis(&pSide->stAxisTheta.st, lTheta, pSide->lGainShiftTheta, &pSide->lPredictModeTheta, 1, 4);
    const MVS_MotionTriple stDev = {Deviation(&pSide->stAxisRow.st), Deviation(&pSide->stAxisCol.st),
                                    Deviation(&pSide->stAxisTheta.st)};
    AdaptGains(pSide, stDev);
    return stDev;
}
