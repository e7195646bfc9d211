// SPDX-License-Identifier: BSD-2-Clause
// Refined handles: making, settings, and the frame that is measured next.
#include "api/refined.h"

#include "motion/tile_flow.h"
#include "platform/buffers.h"
#include "platform/fixed.h"
#include "quorvel/refined.h"

namespace {

const int32_t kDefaultPart = 896;
const int32_t kMostLookahead = 240;
const int32_t kMostTurn = 52707179; // Q24: half a turn
const int32_t kLeastStep = 1 << 10; // Q16: one input pixel becomes 64 pixels of the output

bool IsNew(const MVS_Context *pCtx) {
    return pCtx && pCtx->pRefined && pCtx->pRefined->eUse == kUnused;
}

bool HasKnownFormat(const MVS_Context *pCtx) {
    return pCtx->lInFormat >= QEL_MVS_FORMAT_I420 && pCtx->lInFormat <= QEL_MVS_FORMAT_NV21_SEPARATE;
}

bool SetPart(const MVS_Context *pCtx, Refined *pRefined, int32_t lPart) {
    return SetViewPart(&pRefined->stCompensator.stSettings, pCtx->lInWidth, pCtx->lInHeight,
                       pCtx->lOutWidth, pCtx->lOutHeight, lPart);
}

bool AllocMeasurement(const MVS_Context *pCtx, Refined *pRefined) {
    const uint32_t lBytes = PyramidBytes(pCtx->lInWidth, pCtx->lInHeight);
    const uint32_t lTiles = (uint32_t)MostTiles(pCtx->lInWidth, pCtx->lInHeight);
    pRefined->pLuma = (uint8_t *)MMemAlloc(nullptr, 2 * lBytes);
    pRefined->stScene.pFlows = (TileFlow *)AllocFilled(lTiles * (uint32_t)sizeof(TileFlow), 0);
    if (!pRefined->pLuma || !pRefined->stScene.pFlows) return false;
    for (uint32_t i = 0; i < 2; i++)
        LayOutPyramid(&pRefined->stScene.stPyramids[i], pRefined->pLuma + i * lBytes, pCtx->lInWidth,
                      pCtx->lInHeight);
    return true;
}

void Free(Refined *pRefined) {
    if (!pRefined) return;
    FreeCompensator(&pRefined->stCompensator);
    MMemFree(nullptr, pRefined->stScene.pFlows);
    MMemFree(nullptr, pRefined->pLuma);
    MMemFree(nullptr, pRefined);
}

// With the default settings; null where there is no memory, or the view too large.
Refined *MakeRefined(const MVS_Context *pCtx) {
    Refined *pRefined = (Refined *)AllocFilled((uint32_t)sizeof(Refined), 0);
    if (!pRefined) return nullptr;
    SmoothSettings *pSettings = &pRefined->stCompensator.stSettings;
    pSettings->dFramesPerSecond = 30;
    pSettings->dStrength = 1;
    pSettings->bRoll = true;
    SetSceneRate(&pRefined->stScene, pSettings->dFramesPerSecond);
    if (SetPart(pCtx, pRefined, kDefaultPart) && AllocMeasurement(pCtx, pRefined) &&
        PrepareCompensator(&pRefined->stCompensator))
        return pRefined;
    Free(pRefined);
    return nullptr;
}

} // namespace

void FreeRefined(MVS_Context *pCtx) {
    Free(pCtx->pRefined);
    pCtx->pRefined = nullptr;
}

int32_t QEL_MVS_SetRefined(MVS_Context *pCtx, int32_t bRefined) {
    if (!pCtx || (bRefined != 0 && bRefined != 1) || pCtx->lFrameCount != 0 || pCtx->lMode != 3)
        return 0;
    if (pCtx->pRefined && pCtx->pRefined->eUse != kUnused) return 0;
    Refined *pRefined = bRefined && HasKnownFormat(pCtx) ? MakeRefined(pCtx) : nullptr;
    if (bRefined && !pRefined) return 0;
    FreeRefined(pCtx);
    pCtx->pRefined = pRefined;
    return 1;
}

int32_t QEL_MVS_SetLookahead(MVS_Context *pCtx, int32_t lFrames) {
    if (!IsNew(pCtx) || lFrames < kWholeClip || lFrames > kMostLookahead) return 0;
    Compensator *pCompensator = &pCtx->pRefined->stCompensator;
    Compensator stOther = {};
    stOther.stSettings = pCompensator->stSettings;
    stOther.bEnded = pCompensator->bEnded;
    stOther.lLookahead = lFrames >= 0 && lFrames < kLeastLookahead ? 0 : lFrames;
    if (!PrepareCompensator(&stOther)) {
        FreeCompensator(&stOther);
        return 0;
    }
    FreeCompensator(pCompensator);
    *pCompensator = stOther;
    return 1;
}

int32_t QEL_MVS_SetWindow(MVS_Context *pCtx, int32_t lPart) {
    if (!IsNew(pCtx) || lPart < 615 || lPart > 1003) return 0;
    return SetPart(pCtx, pCtx->pRefined, lPart);
}

int32_t QEL_MVS_SetStrength(MVS_Context *pCtx, int32_t lSeconds) {
    if (!IsNew(pCtx) || lSeconds < 256 || lSeconds > 4096) return 0;
    pCtx->pRefined->stCompensator.stSettings.dStrength = lSeconds / 1024.0;
    return 1;
}

int32_t QEL_MVS_SetRoll(MVS_Context *pCtx, int32_t bRoll) {
    if (!IsNew(pCtx) || (bRoll != 0 && bRoll != 1)) return 0;
    pCtx->pRefined->stCompensator.stSettings.bRoll = bRoll == 1;
    return 1;
}

int32_t QEL_MVS_SetFrameRate(MVS_Context *pCtx, int32_t lNumerator, int32_t lDenominator) {
    if (!IsNew(pCtx) || lDenominator < 1 || lNumerator < lDenominator) return 0;
    if (lNumerator / 1000 > lDenominator) return 0;
    const double dRate = (double)lNumerator / lDenominator;
    if (dRate > 1000) return 0;
    pCtx->pRefined->stCompensator.stSettings.dFramesPerSecond = dRate;
    SetSceneRate(&pCtx->pRefined->stScene, dRate);
    return 1;
}

int32_t QEL_MVS_SetCubic(MVS_Context *pCtx, int32_t bCubic) {
    if (!pCtx || !pCtx->pRefined || (bCubic != 0 && bCubic != 1)) return 0;
    pCtx->pRefined->bCubic = bCubic == 1;
    return 1;
}

int32_t QEL_MVS_Reset(MVS_Context *pCtx) {
    if (!pCtx || !pCtx->pRefined) return 0;
    ForgetScene(&pCtx->pRefined->stScene);
    pCtx->pRefined->bGoesOn = false;
    return 1;
}

namespace {

// Halves away from 0; what does not fit is limited.
int32_t Rounded(double d) {
    if (!(d > -2147483000.0)) return d == d ? INT32_MIN : 0;
    if (d > 2147483000.0) return INT32_MAX;
    return (int32_t)(d + (d < 0 ? -0.5 : 0.5));
}

bool MakeRoom(Refined *pRefined, RefinedUse eUse) {
    if (pRefined->eUse != kUnused && pRefined->eUse != eUse) return false;
    if (!MakeMotionRoom(&pRefined->stCompensator)) return false;
    pRefined->eUse = eUse;
    return true;
}

void TakeMotion(MVS_Context *pCtx, const FrameMotion *pMotion) {
    PushMotion(&pCtx->pRefined->stCompensator, pMotion);
    pCtx->pRefined->bGoesOn = true;
    pCtx->lFrameCount = WrapAdd32(pCtx->lFrameCount, 1);
    pCtx->lFrameMotionValid = pMotion->bMeasured;
    pCtx->stFrameMotion = {Rounded(pMotion->stMotion.dRow * 1024),
                           Rounded(pMotion->stMotion.dCol * 1024),
                           Rounded(pMotion->stMotion.dTheta * 65536)};
    pCtx->lBlocksValid = pMotion->lTextured;
    pCtx->lBlocksKept = pMotion->lMatched;
    pCtx->bShiftReliable = pMotion->bMeasured;
}

FrameMotion MotionOfRecord(const MVS_Compensation *pRecord, bool bGoesOn) {
    FrameMotion st = {};
    st.bNewScene = !bGoesOn || (pRecord->lFlags & QEL_MVS_NEW_SCENE);
    st.bHeld = !st.bNewScene && (pRecord->lFlags & QEL_MVS_HELD);
    st.bMeasured = !st.bNewScene && !st.bHeld && (pRecord->lFlags & QEL_MVS_MEASURED);
    if (!st.bMeasured) return st;
    const int32_t lTurn = Clamp32(pRecord->lMotionTheta, -kMostTurn, kMostTurn);
    st.stMotion = {pRecord->lMotionCol / 65536.0, pRecord->lMotionRow / 65536.0, lTurn / 16777216.0};
    return st;
}

} // namespace

bool PushFrame(MVS_Context *pCtx, RefinedUse eUse, const LumaSource *pSource) {
    if (!MakeRoom(pCtx->pRefined, eUse)) return false;
    const FrameMotion st = MeasureFrame(pCtx, &pCtx->pRefined->stScene, pSource);
    TakeMotion(pCtx, &st);
    return true;
}

bool PushRecord(MVS_Context *pCtx, const MVS_Compensation *pRecord) {
    if (!MakeRoom(pCtx->pRefined, kPlaneCalls)) return false;
    const FrameMotion st = MotionOfRecord(pRecord, pCtx->pRefined->bGoesOn);
    ForgetScene(&pCtx->pRefined->stScene); // its reference is an older frame now
    TakeMotion(pCtx, &st);
    return true;
}

bool PullFrame(MVS_Context *pCtx, MVS_Compensation *pRecord) {
    Refined *pRefined = pCtx->pRefined;
    const SmoothSettings *pSettings = &pRefined->stCompensator.stSettings;
    View st;
    FrameMotion stMotion;
    if (!PullView(&pRefined->stCompensator, &st, &stMotion)) return false;
    st = ClampView(pSettings, st);
    const int32_t lSize = pRecord->lSize;
    *pRecord = {};
    pRecord->lSize = lSize;
    pRecord->lFlags = (stMotion.bNewScene ? QEL_MVS_NEW_SCENE : 0) |
                      (stMotion.bMeasured ? QEL_MVS_MEASURED : 0) | (stMotion.bHeld ? QEL_MVS_HELD : 0);
    pRecord->llFrame = pRefined->stCompensator.llPulled;
    pRecord->lRow = Rounded(st.dY * 65536);
    pRecord->lCol = Rounded(st.dX * 65536);
    pRecord->lTheta = Rounded(st.dRoll * 16777216);
    pRecord->lStep = Rounded(2 * pSettings->dHalfX / pCtx->lOutWidth * 65536);
    pRecord->lMotionRow = Rounded(stMotion.stMotion.dRow * 65536);
    pRecord->lMotionCol = Rounded(stMotion.stMotion.dCol * 65536);
    pRecord->lMotionTheta = Rounded(stMotion.stMotion.dTheta * 16777216);
    pCtx->lCompRow = Rounded(st.dY * 1024);
    pCtx->lCompCol = Rounded(st.dX * 1024);
    pCtx->lCompTheta = Rounded(st.dRoll * 65536);
    return true;
}

FineView ViewOfRecord(const MVS_Context *pCtx, const MVS_Compensation *pRecord) {
    SmoothSettings st = {};
    const double dMost = (double)pCtx->lInWidth / pCtx->lOutWidth;
    const double dMostY = (double)pCtx->lInHeight / pCtx->lOutHeight;
    double dStep = Max32(pRecord->lStep, kLeastStep) / 65536.0;
    if (dStep > dMost) dStep = dMost;
    if (dStep > dMostY) dStep = dMostY;
    SetViewStep(&st, pCtx->lInWidth, pCtx->lInHeight, pCtx->lOutWidth, pCtx->lOutHeight, dStep);
    const View stView = ClampView(
        &st, {pRecord->lCol / 65536.0, pRecord->lRow / 65536.0, pRecord->lTheta / 16777216.0});
    return {stView.dX, stView.dY, stView.dRoll, dStep};
}
