// SPDX-License-Identifier: BSD-2-Clause
// Life of a handle: creation, settings, destruction.
#include "api/api.h"

#include "api/refined.h"
#include "kernels.h"
#include "motion/motion.h"
#include "platform/buffers.h"
#include "platform/fixed.h"
#include "platform/workers.h"
#include "quorvel/threads.h"
#include "size_rules.h"
#include "smooth/smooth.h"
#include "warp/planes.h"

namespace {

const MVS_Version kVersion = {1,
                              2,
                              12000,
                              7,
                              "Quorvel_VideoStabilizer_1.2.12021.7",
                              "11/24/2014",
                              "Copyright (c) the Quorvel stabilizer developers"};

bool AcceptsParam(const MVS_InitParam *pParam) {
    if (pParam->lInWidth < 1 || pParam->lInHeight < 1 || pParam->lInWidth > kMaxSide ||
        pParam->lInHeight > kMaxSide)
        return false;
    if (pParam->lOutWidth < 2 || pParam->lOutHeight < 2 || pParam->lOutWidth > kMaxSide ||
        pParam->lOutHeight > kMaxSide)
        return false;
    // At odd widths programs disagree about the length of a row of pairs, so these are refused.
    return !IsSemiPlanar(pParam->lFormat) || ((pParam->lInWidth | pParam->lOutWidth) & 1) == 0;
}

template <class T> void FreeAndClear(T **ppMem) {
    MMemFree(nullptr, (void *)*ppMem);
    *ppMem = nullptr;
}

// Two chroma planes of a quarter of the luma size, in one block. False when there is no memory.
bool AllocScratch(int32_t lFormat, int32_t lLumaSize, uint8_t **ppU, uint8_t **ppV) {
    if (!IsSemiPlanar(lFormat)) return true;
    *ppU = (uint8_t *)MMemAlloc(nullptr, ScratchSize(lLumaSize));
    if (!*ppU) return false;
    *ppV = *ppU + lLumaSize / 4;
    return true;
}

// One axis of the crop: origin and zoom (Q10, and its inverse).
struct CropAxis {
    int32_t lOrigin;
    int32_t lScale;
    int32_t lStep;
};

// The window is 14/16 of the input, zoomed to the output size, unless the input has enough margin.
CropAxis CropOf(int32_t lInSize, int32_t lOutSize, bool bMarginSuffices) {
    if (bMarginSuffices) return {(lInSize - lOutSize) >> 1, 1024, 1024};
    return {lInSize / 16, (lOutSize << 14) / (14 * lInSize), (14 * lInSize << 10) / (lOutSize << 4)};
}

void SetUpMode3(MVS_Context *pCtx) {
    const int32_t lMarginX = (pCtx->lInWidth - pCtx->lOutWidth) >> 1;
    const int32_t lMarginY = (pCtx->lInHeight - pCtx->lOutHeight) >> 1;
    // A margin of exactly a sixteenth counts for the height but not for the width.
    const CropAxis stX = CropOf(pCtx->lInWidth, pCtx->lOutWidth, pCtx->lInWidth / 16 < lMarginX);
    const CropAxis stY = CropOf(pCtx->lInHeight, pCtx->lOutHeight, pCtx->lInHeight / 16 <= lMarginY);
    const CropAxis *pZoom = (uint32_t)stY.lScale > (uint32_t)stX.lScale ? &stY : &stX;
    pCtx->lMode = 3;
    pCtx->lCropX = stX.lOrigin;
    pCtx->lCropY = stY.lOrigin;
    pCtx->lZoomScale = pZoom->lScale;
    pCtx->lZoomStep = pZoom->lStep;
    InitKalmanFilter(pCtx);
}

void SetUpMode12(MVS_Context *pCtx, int32_t lMode) {
    pCtx->lMode = lMode;
    pCtx->lCropX = (pCtx->lInWidth - pCtx->lOutWidth) >> 1;
    pCtx->lCropY = (pCtx->lInHeight - pCtx->lOutHeight) >> 1;
    pCtx->lZoomScale = 1024;
    pCtx->lZoomStep = 1024;
    InitKalmanFilter(pCtx);
}

bool LeavesMargin(const MVS_Context *pCtx) {
    return pCtx->lInWidth >= pCtx->lOutWidth * 11 / 10 && pCtx->lInHeight >= pCtx->lOutHeight * 11 / 10;
}

void SetGeometry(MVS_Context *pCtx, const MVS_InitParam *pParam) {
    pCtx->lInWidth = pParam->lInWidth;
    pCtx->lInHeight = pParam->lInHeight;
    pCtx->lOutWidth = pParam->lOutWidth;
    pCtx->lOutHeight = pParam->lOutHeight;
    pCtx->lInFormat = pParam->lFormat;
    pCtx->lOutFormat = pParam->lFormat;
    pCtx->lInLumaSize = pCtx->lInWidth * pCtx->lInHeight;
    pCtx->lOutLumaSize = pCtx->lOutWidth * pCtx->lOutHeight;
    pCtx->lInFrameSize = (uint32_t)pCtx->lInLumaSize * 3 >> 1;
    pCtx->lOutFrameSize = (uint32_t)pCtx->lOutLumaSize * 3 >> 1;
    pCtx->lRowProjLen = 2 * pCtx->lInHeight + 1;
    pCtx->lColProjLen = 2 * pCtx->lInWidth + 1;
    const int32_t lBlockLog = HasBlocks32(pCtx->lInWidth) ? 5 : 4;
    pCtx->lBlockNum = (pCtx->lInWidth >> lBlockLog) * (pCtx->lInHeight >> lBlockLog);
    pCtx->bShiftReliable = 1;
    pCtx->pKernels = ProcessorKernels();
    InitThreadPolicy(&pCtx->stThreads);
}

// What frame calls need. Allocated with the handle, so that it cannot fail during a frame.
bool AllocFrameParts(MVS_Context *pCtx) {
    const uint32_t lRows = (uint32_t)(pCtx->lInHeight >> 5) + 1;
    pCtx->pWorkers = CreateWorkers();
    pCtx->pEvent = zekMEventCreate(nullptr);
    zekMEventSignal(pCtx->pEvent); // a lock starts free
    pCtx->lSampleRoom = SampleBytes(pCtx->lInWidth, pCtx->lInHeight);
    pCtx->pSamples = (uint8_t *)MMemAlloc(nullptr, pCtx->lSampleRoom);
    pCtx->pRowProgress =
        (int32_t *)AllocFilled(lRows * (uint32_t)kProgressStride * (uint32_t)sizeof(int32_t), 0);
    return pCtx->pWorkers && pCtx->pEvent && pCtx->pSamples && pCtx->pRowProgress;
}

bool AllocParts(MVS_Context *pCtx) {
    const uint32_t lWord = (uint32_t)sizeof(int32_t), lRecord = (uint32_t)sizeof(MVS_BlockMV);
    pCtx->pSideBlock = (KalmanSideBlock *)AllocFilled((uint32_t)sizeof(KalmanSideBlock), 0);
    pCtx->pRowProj = (int32_t *)AllocFilled((uint32_t)pCtx->lRowProjLen * lWord, 0);
    pCtx->pColProj = (int32_t *)AllocFilled((uint32_t)pCtx->lColProjLen * lWord, 0);
    pCtx->pBlockMV = (MVS_BlockMV *)AllocFilled((uint32_t)Max32(pCtx->lBlockNum, 1) * lRecord, 0);
    return pCtx->pSideBlock && pCtx->pRowProj && pCtx->pColProj && pCtx->pBlockMV &&
           AllocScratch(pCtx->lInFormat, pCtx->lInLumaSize, &pCtx->pScratchInU, &pCtx->pScratchInV) &&
           AllocScratch(pCtx->lOutFormat, pCtx->lOutLumaSize, &pCtx->pScratchOutU, &pCtx->pScratchOutV);
}

int32_t SizeLevel(int32_t lLong, int32_t lShort) {
    if (lLong <= 200 || lShort <= 200) return 1;
    if (lLong <= 400 || lShort <= 300) return 2;
    if (lLong <= 800 || lShort <= 700) return 3;
    return lLong > 1400 && lShort > 1000 ? 5 : 4;
}

int32_t SearchRange(int32_t lReach) {
    if (lReach > 239) return 240;
    if (lReach > 159) return 160;
    if (lReach > 79) return 80;
    if (lReach > 39) return 40;
    return lReach >= 24 ? 24 : kSmallestRange;
}

} // namespace

MVS_Context *QEL_MVS_CreateStabilizer(const MVS_InitParam *pParam) {
    if (!pParam || !AcceptsParam(pParam)) return nullptr;
    MVS_Context *pCtx = (MVS_Context *)AllocFilled((uint32_t)sizeof(MVS_Context), 0);
    if (!pCtx) return nullptr;
    SetGeometry(pCtx, pParam);
    QEL_MVS_AnalyzeHW(pCtx, pCtx->lInWidth, pCtx->lInHeight);
    if (!AllocParts(pCtx) || !AllocFrameParts(pCtx)) {
        QEL_MVS_DestroyStabilizer(pCtx);
        return nullptr;
    }
    SetUpMode3(pCtx);
    return pCtx;
}

// pCurFrame may point to a caller's frame, so pOwnFrame is freed instead.
void QEL_MVS_DestroyStabilizer(MVS_Context *pCtx) {
    if (!pCtx) return;
    FreeAndClear(&pCtx->pSideBlock);
    FreeAndClear(&pCtx->pBlockMV);
    FreeAndClear(&pCtx->pPrevFrame);
    FreeAndClear(&pCtx->pOwnFrame);
    FreeAndClear(&pCtx->pRowProj);
    FreeAndClear(&pCtx->pColProj);
    FreeAndClear(&pCtx->pScratchInU);
    FreeAndClear(&pCtx->pScratchOutU);
    FreeAndClear(&pCtx->pPitchInFrame);
    FreeAndClear(&pCtx->pPitchOutFrame);
    FreeAndClear(&pCtx->pSamples);
    FreeAndClear(&pCtx->pRowProgress);
    FreeRefined(pCtx);
    DestroyWorkers(pCtx->pWorkers);
    zekMEventDestroy(nullptr, pCtx->pEvent);
    MMemFree(nullptr, pCtx);
}

MVS_Version *QEL_MVS_GetVersion(MVS_Version *pVersion) {
    if (pVersion) *pVersion = kVersion;
    return pVersion;
}

void QEL_MVS_AnalyzeHW(MVS_Context *pCtx, int32_t lWidth, int32_t lHeight) {
    if (!pCtx) return;
    const bool bLandscape = lWidth >= lHeight;
    pCtx->lSizeLevel = SizeLevel(Max32(lWidth, lHeight), Min32(lWidth, lHeight));
    pCtx->lShiftRangeX = SearchRange(bLandscape ? lWidth >> 3 : lWidth / 6);
    pCtx->lShiftRangeY = SearchRange(bLandscape ? lHeight / 6 : lHeight >> 3);
}

int32_t QEL_MVS_SetMode(MVS_Context *pCtx, int32_t lMode) {
    if (!pCtx || lMode < 1 || lMode > 3 || pCtx->lFrameCount != 0 || pCtx->pRefined) return 0;
    if (lMode == 3) {
        SetUpMode3(pCtx);
        return 1;
    }
    if (!LeavesMargin(pCtx)) return 0;
    SetUpMode12(pCtx, lMode);
    return 1;
}

int32_t QEL_MVS_SetFullChroma(MVS_Context *pCtx, int32_t bFull) {
    if (!pCtx || (bFull != 0 && bFull != 1)) return 0;
    pCtx->bFullChroma = bFull;
    return 1;
}

int32_t QEL_MVS_SetThreads(MVS_Context *pCtx, int32_t lThreads) {
    if (!pCtx || lThreads < 0 || lThreads > kMostWorkers + 1) return 0;
    pCtx->stThreads.lMostThreads = lThreads ? lThreads : kMostWorkers + 1;
    return 1;
}

int32_t QEL_MVS_GetMotion(const MVS_Context *pCtx, MVS_MotionInfo *pInfo) {
    if (!pCtx || !pInfo || pInfo->lSize < (int32_t)sizeof(*pInfo)) return 0;
    const MVS_MotionTriple *pMotion = &pCtx->stFrameMotion;
    *pInfo = {pInfo->lSize,     pCtx->lFrameCount,    pCtx->lFrameMotionValid, pMotion->lRow,
              pMotion->lCol,    pMotion->lTheta,      pCtx->lCompRow,          pCtx->lCompCol,
              pCtx->lCompTheta, pCtx->bShiftReliable, pCtx->lBlocksValid,      pCtx->lBlocksKept};
    return 1;
}
