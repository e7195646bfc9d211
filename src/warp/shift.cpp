// SPDX-License-Identifier: BSD-2-Clause
// The crop, moved by whole pixels: rows are copied.
#include "platform/buffers.h"
#include "platform/fixed.h"
#include "warp/warp.h"
#include "warp/warp_task.h"

namespace {

void CopyPlaneRows(const Kernels *, const WarpPlane *pPlane, const WarpMap *, int32_t lFirst,
                   int32_t lEnd) {
    CopyRows(pPlane->pOut + (ptrdiff_t)lFirst * pPlane->lOutStride, pPlane->lOutStride,
             pPlane->pIn + (ptrdiff_t)lFirst * pPlane->lInStride, pPlane->lInStride,
             pPlane->lOutWidth * pPlane->lSampleBytes, lEnd - lFirst);
}

// Adds the copy of a crop of the plane. Position and row lengths are in the plane's samples.
void AddCrop(WarpTask *pTask, WarpPlane stPlane, int32_t lRow, int32_t lCol, int32_t lInWidth,
             int32_t lOutWidth, int32_t lRows) {
    stPlane.lInStride = lInWidth * stPlane.lSampleBytes;
    stPlane.lOutStride = lOutWidth * stPlane.lSampleBytes;
    stPlane.lOutWidth = lOutWidth;
    stPlane.pIn += (ptrdiff_t)lRow * stPlane.lInStride + (ptrdiff_t)lCol * stPlane.lSampleBytes;
    const WarpMap stNone = {};
    stPlane.lRows = lRows;
    AddPass(pTask, CopyPlaneRows, &stPlane, &stNone);
}

} // namespace

// The compensation is divided, not shifted, so that it rounds symmetrically about zero.
void StabilizeFrameM1F0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    StabFrame_ShiftingNoZoomF0(pCtx, pInFrame, pOutFrame,
                               WrapAdd32(pCtx->lCropY, Div1024(pCtx->lCompRow)),
                               WrapAdd32(pCtx->lCropX, Div1024(pCtx->lCompCol)), pCtx->lOutHeight,
                               pCtx->lOutWidth, pCtx->lInWidth);
}

void StabFrame_ShiftingNoZoomF0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame,
                                int32_t lRowOffset, int32_t lColOffset, int32_t, int32_t lOutWidth,
                                int32_t lInWidth) {
    const int32_t lRows = pCtx->lOutHeight;
    if (lOutWidth < 1 || lOutWidth > lInWidth || lRows < 1 || lRows > pCtx->lInHeight) return;
    if (lInWidth > pCtx->lInWidth || lOutWidth > pCtx->lOutWidth) return; // beyond the handle's frames
    const int32_t lRow = Clamp32(lRowOffset, 0, pCtx->lInHeight - lRows);
    const int32_t lCol = Clamp32(lColOffset, 0, lInWidth - lOutWidth);
    WarpPlane stPlanes[3];
    const int32_t lPlanes = PlanesOfFrame(pCtx, kShift, pInFrame, pOutFrame, stPlanes);
    WarpTask stTask = {};
    AddCrop(&stTask, stPlanes[0], lRow, lCol, lInWidth, lOutWidth, lRows);
    for (int32_t i = 1; i < lPlanes; i++) // half the offset, rounded down
        AddCrop(&stTask, stPlanes[i], lRow >> 1, lCol >> 1, lInWidth >> 1, lOutWidth >> 1, lRows >> 1);
    RunWarpTask(pCtx, &stTask, false);
}
