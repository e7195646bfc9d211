// SPDX-License-Identifier: BSD-2-Clause
#include "pipeline/align.h"

#include "frame_task.h"
#include "model/rigid_fit.h"
#include "motion/tile_flow.h"
#include "motion/wide_shift.h"
#include "platform/fixed.h"
#include "quorvel/memory.h"
#include "quorvel/threads.h"

namespace {

const int32_t kBandRows = 16; // rows of the level that a thread takes at a time
const int32_t kMatchLevel = 2;

struct PyramidTask {
    const Kernels *pKernels;
    const LumaSource *pSource; // null: the finer level is there already
    const Pyramid *pPyramid;
    int32_t lLevel; // to be filled; with a source, level 0 as well
    void *pEvent;   // lock of lNextRow
    int32_t lNextRow;
};

void TakeLumaRow(const LumaSource *pSource, int32_t lRow, uint8_t *pTo, int32_t lWidth) {
    const uint8_t *p = pSource->pSamples + lRow * pSource->lPitch;
    if (pSource->lSampleBytes == 1 && pSource->lStep == 1) {
        MMemCpy(pTo, p, (uint32_t)lWidth);
    } else if (pSource->lSampleBytes == 1) {
        for (int32_t x = 0; x < lWidth; x++, p += pSource->lStep) pTo[x] = *p;
    } else {
        for (int32_t x = 0; x < lWidth; x++, p += pSource->lStep) {
            uint16_t lSample;
            __builtin_memcpy(&lSample, p, sizeof(lSample));
            pTo[x] = (uint8_t)(lSample >> pSource->lShift); // the bits above fall away
        }
    }
}

// Fills rows lFirst .. lEnd - 1 of the level. With a source the rows of the finer level that they are
// made from are filled first, and the last one of an odd height, which has no part in any of them.
void FillBand(const PyramidTask *pTask, int32_t lFirst, int32_t lEnd) {
    const LumaLevel *pFine = &pTask->pPyramid->stLevels[pTask->lLevel - 1];
    const int32_t lRows = pFine[1].lHeight;
    const int32_t lFineEnd = lEnd >= lRows ? pFine->lHeight : 2 * lEnd;
    if (pTask->pSource)
        for (int32_t y = 2 * lFirst; y < lFineEnd; y++)
            TakeLumaRow(pTask->pSource, y, pFine->pPixels + (ptrdiff_t)y * pFine->lWidth,
                        pFine->lWidth);
    HalveRows(pTask->pKernels, pTask->pPyramid, pTask->lLevel, lFirst, Min32(lEnd, lRows));
}

void *FillBands(void *pArgument) {
    PyramidTask *pTask = (PyramidTask *)pArgument;
    const int32_t lRows = pTask->pPyramid->stLevels[pTask->lLevel].lHeight;
    for (;;) {
        zekMEventWait(pTask->pEvent, -1);
        const int32_t lFirst = pTask->lNextRow;
        pTask->lNextRow += kBandRows;
        zekMEventSignal(pTask->pEvent);
        if (lFirst >= lRows) return nullptr;
        FillBand(pTask, lFirst, lFirst + kBandRows);
    }
}

} // namespace

void BuildPyramid(MVS_Context *pCtx, const LumaSource *pSource, const Pyramid *pPyramid) {
    if (pPyramid->lLevels == 1) {
        const LumaLevel *pLevel = &pPyramid->stLevels[0];
        for (int32_t y = 0; y < pLevel->lHeight; y++)
            TakeLumaRow(pSource, y, pLevel->pPixels + (ptrdiff_t)y * pLevel->lWidth, pLevel->lWidth);
    }
    for (int32_t lLevel = 1; lLevel < pPyramid->lLevels; lLevel++) {
        PyramidTask stTask = {
            pCtx->pKernels, lLevel == 1 ? pSource : nullptr, pPyramid, lLevel, pCtx->pEvent, 0};
        RunFrameTask(pCtx, FillBands, &stTask);
    }
}

Alignment AlignFrames(MVS_Context *pCtx, const Pyramid *pCurrent, const Pyramid *pPrevious,
                      const RigidMotion *pPrediction, int32_t lFirst, TileFlow *pFlows) {
    Alignment st = {};
    st.stFit.stMotion = WideShift(pCtx->pKernels, pCurrent, pPrevious, *pPrediction, lFirst);
    for (int32_t lLevel = lFirst; lLevel >= 0; lLevel--) {
        const int32_t lCount =
            MeasureTiles(pCtx, pCurrent, pPrevious, lLevel, st.stFit.stMotion, pFlows);
        st.bSolved = FitRigid(pFlows, lCount, lLevel, &st.stFit);
        if (lLevel == Min32(kMatchLevel, lFirst)) st.stMatch = st.stFit;
    }
    return st;
}
