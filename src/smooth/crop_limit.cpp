// SPDX-License-Identifier: BSD-2-Clause
// From the measured motion to a compensation that keeps the crop inside the frame.
#include "smooth/smooth.h"

#include "platform/fixed.h"

namespace {

const float kMinBound = 5716.0f; // 5 degrees, Q16 radians

// Bounds the rotation by what the margins allow, but allows at least 5 degrees. MarginScale takes care
// of smaller margins.
float ThetaBound(const MVS_Context *pCtx) {
    const float fByCol = (float)Quotient32(WrapMul32(pCtx->lCropX, 65536), pCtx->lOutHeight >> 1);
    const float fByRow = (float)Quotient32(WrapMul32(pCtx->lCropY, 65536), pCtx->lOutWidth >> 1);
    const float fLimit = fByRow < fByCol ? fByRow : fByCol;
    return fLimit < kMinBound ? kMinBound : fLimit;
}

// How far a corner of the rotated and moved crop is outside the centred crop, Q10 pixels.
float Reach(int32_t lOutSize, int32_t lMargin, float fAbsTheta, int32_t lShift) {
    const float fSweep = (0.5f * (float)lOutSize - (float)lMargin) * fAbsTheta * 0.015625f;
    return fSweep + (float)(lShift < 0 ? -(int64_t)lShift : (int64_t)lShift);
}

// The factor, at most 1, that keeps both reaches within the margins. The reach along an axis is
// estimated from the output's size on the same axis, so at large angles a corner of a wide frame may
// be outside the input by a few rows. The warp repeats the edge there.
float MarginScale(const MVS_Context *pCtx, MVS_MotionTriple stMotion, float fTheta) {
    const float fAbsTheta = fTheta < 0 ? -fTheta : fTheta;
    const float fReachCol = Reach(pCtx->lOutWidth, pCtx->lCropX, fAbsTheta, stMotion.lCol);
    float fScale = 1.0f;
    if (fReachCol != 0) {
        fScale = (float)pCtx->lCropX * 1024.0f / fReachCol;
        if (!(fScale < 1.0f)) fScale = 1.0f;
    }
    const float fReachRow = Reach(pCtx->lOutHeight, pCtx->lCropY, fAbsTheta, stMotion.lRow);
    if (fReachRow != 0) {
        const float fScaleRow = (float)pCtx->lCropY * 1024.0f / fReachRow;
        if (fScaleRow < fScale) fScale = fScaleRow;
    }
    return fScale;
}

// Moves a filter's position to that of the limited compensation, and its velocity by what the
// covariance of both predicts.
void ReviseAxis(KalmanState *pState, int32_t lNew, int32_t lOld) {
    const int32_t d = WrapSub32(lNew, lOld);
    if (d == 0) return;
    pState->llPos = WrapAdd64(pState->llPos, d);
    if (pState->llP00 == 0) return;
    pState->llVel = WrapAdd64(pState->llVel, Quotient64(WrapMul64(d, pState->llP10), pState->llP00));
}

} // namespace

MVS_MotionTriple AddGmvQueueM3(MVS_Context *pCtx, int32_t lRow, int32_t lCol, int32_t lTheta) {
    const MVS_MotionTriple stRaw = KalmanFilterOnePos(pCtx, lRow, lCol, lTheta);
    const float fBound = ThetaBound(pCtx);
    float fTheta = (float)stRaw.lTheta;
    if (fTheta > fBound) fTheta = (float)TruncateFloat(fBound);
    if (fTheta < -fBound) fTheta = (float)TruncateFloat(-fBound);
    const float fScale = MarginScale(pCtx, stRaw, fTheta);
    const MVS_MotionTriple stComp = {TruncateFloat((float)stRaw.lRow * fScale),
                                     TruncateFloat((float)stRaw.lCol * fScale),
                                     TruncateFloat(fTheta * fScale)};
    ReviseKFCurPos(stComp.lRow, stComp.lCol, stComp.lTheta, stRaw.lRow, stRaw.lCol, stRaw.lTheta, pCtx);
    return stComp;
}

void ReviseKFCurPos(int32_t lNewRow, int32_t lNewCol, int32_t lNewTheta, int32_t lOldRow,
                    int32_t lOldCol, int32_t lOldTheta, MVS_Context *pCtx) {
    KalmanSideBlock *pSide = pCtx->pSideBlock;
    ReviseAxis(&pSide->stAxisRow.st, lNewRow, lOldRow);
    ReviseAxis(&pSide->stAxisCol.st, lNewCol, lOldCol);
    ReviseAxis(&pSide->stAxisTheta.st, lNewTheta, lOldTheta);
}

int32_t SmoothGlobalMotionM3(MVS_Context *pCtx, int32_t bValid) {
    const MVS_MotionTriple stComp =
        bValid == 1
            ? AddGmvQueueM3(pCtx, pCtx->lCurMotionRow, pCtx->lCurMotionCol, pCtx->lCurMotionTheta)
            : ResetGmvQueue(pCtx);
    pCtx->lCompRow = stComp.lRow;
    pCtx->lCompCol = stComp.lCol;
    pCtx->lCompTheta = stComp.lTheta;
    return 1;
}
