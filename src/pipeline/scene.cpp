// SPDX-License-Identifier: BSD-2-Clause
#include "pipeline/scene.h"

#include "platform/fixed.h"

namespace {

// While the camera rests, all frames are compared with the same reference: the noise of the measurement
// does not add up, and a slow movement counts as a whole once it stands out. After so many frames the
// reference is renewed, since light and scene change; what was measured then counts, however small.
const int32_t kMostRest = 32;
// At high rates several frames are compared with one reference too, as long as a frame lasts at 30
// frames a second. Else the errors of 240 frames a second would add up to three times as much shake.
const double kSpanRate = 30;
const double kRestNoise = 3;      // standard deviations of the measurement: a smaller motion is rest
const double kLeastRest = 0.03;   // pixels: so is one below this
const double kMatchedShare = 0.4; // of the textured tiles: with fewer, the frame is another scene
const double kKnown = 0.5;        // pixels: with a larger standard deviation the motion is unknown
const int32_t kLeastTextured = 4; // tiles: with fewer the picture counts as one without texture
const int32_t kFlashLevels = 10;  // grey levels: the mean of a flash differs by as much

enum Verdict { kMatches, kFlat, kDiffers };

// An upper bound of the movement at the corners of the picture.
double Extent(const RigidMotion *pMotion, const LumaLevel *pLevel) {
    return Magnitude(pMotion->dCol) + Magnitude(pMotion->dRow) +
           Magnitude(pMotion->dTheta) * (pLevel->lWidth + pLevel->lHeight) / 2;
}

// What is left of pWhole after pDone, the first part of it.
RigidMotion Remaining(const RigidMotion *pWhole, const RigidMotion *pDone) {
    const double dCol = pWhole->dCol - pDone->dCol, dRow = pWhole->dRow - pDone->dRow;
    return {dCol + pDone->dTheta * dRow, dRow - pDone->dTheta * dCol, pWhole->dTheta - pDone->dTheta};
}

bool IsRest(const RigidFit *pFit, const LumaLevel *pLevel) {
    const double dNoise =
        pFit->dShiftError + pFit->dThetaError * (pLevel->lWidth + pLevel->lHeight) / 4;
    const double dRest = kRestNoise * dNoise > kLeastRest ? kRestNoise * dNoise : kLeastRest;
    return Extent(&pFit->stMotion, pLevel) < dRest;
}

int32_t MeanLevel(const Pyramid *pPyramid) {
    const LumaLevel *pLevel = &pPyramid->stLevels[pPyramid->lLevels - 1];
    const int32_t lCount = pLevel->lWidth * pLevel->lHeight;
    int32_t lSum = 0;
    for (int32_t i = 0; i < lCount; i++) lSum += pLevel->pPixels[i];
    return lSum / lCount;
}

bool Jumps(const SceneState *pScene) {
    const int32_t lReference = MeanLevel(&pScene->stPyramids[pScene->lReference]);
    const int32_t lCurrent = MeanLevel(&pScene->stPyramids[pScene->lReference ^ 1]);
    return WrapAbs32(lCurrent - lReference) >= kFlashLevels;
}

// A picture without texture, or of noise alone, tells no motion. Where its brightness jumps it is a
// flash, or a covered lens.
Verdict Judge(const SceneState *pScene, const Alignment *pAlignment) {
    const RigidFit *p = &pAlignment->stMatch;
    const bool bTextured = p->lTextured >= kLeastTextured;
    if (bTextured && p->lMatched < kMatchedShare * p->lTextured) return kDiffers;
    if (!bTextured && Jumps(pScene)) return kDiffers;
    const bool bAlike = bTextured || 2 * p->lAlike >= p->lTiles;
    return bAlike && pAlignment->bSolved && pAlignment->stFit.dShiftError < kKnown ? kMatches : kFlat;
}

void TakeReference(SceneState *pScene, const RigidMotion *pMotion) {
    pScene->lReference ^= 1;
    pScene->bReference = true;
    pScene->bFlash = false;
    pScene->lAge = 0;
    pScene->stSince = {0, 0, 0};
    pScene->stLast = *pMotion;
}

FrameMotion StartScene(SceneState *pScene) {
    const RigidMotion stStill = {0, 0, 0};
    TakeReference(pScene, &stStill);
    FrameMotion st = {};
    st.bNewScene = true;
    return st;
}

bool IsStill(const RigidMotion *p) { return p->dCol == 0 && p->dRow == 0 && p->dTheta == 0; }

// A frame that matches the reference.
FrameMotion Follow(SceneState *pScene, const Alignment *pAlignment) {
    const LumaLevel *pLevel = &pScene->stPyramids[0].stLevels[0];
    FrameMotion st = {};
    st.bMeasured = true;
    pScene->bFlash = false;
    pScene->lAge++;
    const bool bRested = IsStill(&pScene->stSince);
    if (bRested && pScene->lAge <= kMostRest && IsRest(&pAlignment->stFit, pLevel)) return st;
    st.stMotion = Remaining(&pAlignment->stFit.stMotion, &pScene->stSince);
    pScene->stSince = pAlignment->stFit.stMotion;
    pScene->stLast = st.stMotion;
    if (pScene->lAge >= pScene->lSpan) TakeReference(pScene, &st.stMotion);
    return st;
}

// Where the reference is expected from the next frame.
RigidMotion Prediction(const SceneState *pScene) {
    const RigidMotion *p = &pScene->stSince, *pLast = &pScene->stLast;
    return {p->dCol + pLast->dCol, p->dRow + pLast->dRow, p->dTheta + pLast->dTheta};
}

FrameMotion Differ(SceneState *pScene) {
    if (pScene->bFlash || !Jumps(pScene)) return StartScene(pScene);
    pScene->bFlash = true;
    FrameMotion st = {};
    st.bHeld = true;
    return st;
}

// Where the picture seems to be another one, its texture may be too fine for the coarse levels: the
// search begins anew at finer ones.
Alignment AlignWithReference(MVS_Context *pCtx, SceneState *pScene, Verdict *pVerdict) {
    const Pyramid *pCurrent = &pScene->stPyramids[pScene->lReference ^ 1];
    const Pyramid *pReference = &pScene->stPyramids[pScene->lReference];
    const RigidMotion stPrediction = Prediction(pScene);
    int32_t lFirst = pCurrent->lLevels - 1;
    Alignment st = AlignFrames(pCtx, pCurrent, pReference, &stPrediction, lFirst, pScene->pFlows);
    *pVerdict = Judge(pScene, &st);
    while (*pVerdict == kDiffers && --lFirst >= 0) {
        const Alignment stFiner =
            AlignFrames(pCtx, pCurrent, pReference, &stPrediction, lFirst, pScene->pFlows);
        if (Judge(pScene, &stFiner) != kMatches) continue;
        *pVerdict = kMatches;
        st = stFiner;
    }
    return st;
}

} // namespace

FrameMotion MeasureFrame(MVS_Context *pCtx, SceneState *pScene, const LumaSource *pSource) {
    const Pyramid *pCurrent = &pScene->stPyramids[pScene->lReference ^ 1];
    BuildPyramid(pCtx, pSource, pCurrent);
    if (!pScene->bReference) return StartScene(pScene);
    Verdict eVerdict;
    const Alignment stAlignment = AlignWithReference(pCtx, pScene, &eVerdict);
    FrameMotion st = {};
    if (eVerdict == kMatches)
        st = Follow(pScene, &stAlignment);
    else if (eVerdict == kDiffers)
        st = Differ(pScene);
    else
        TakeReference(pScene, &st.stMotion);
    st.lTextured = stAlignment.stMatch.lTextured;
    st.lMatched = stAlignment.stMatch.lMatched;
    return st;
}

void SetSceneRate(SceneState *pScene, double dFramesPerSecond) {
    const int32_t lSpan = (int32_t)((dFramesPerSecond + kSpanRate / 2) / kSpanRate);
    pScene->lSpan = Max32(lSpan, 1);
}

void ForgetScene(SceneState *pScene) {
    pScene->bReference = false;
    pScene->bFlash = false;
}
