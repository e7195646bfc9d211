// SPDX-License-Identifier: BSD-2-Clause
// The crop moved by whole pixels: a copy of rows.
#include "warp/warp.h"

#include "platform/fixed.h"
#include "quorvel/memory.h"

namespace {

void CopyRows(uint8_t *pDst, int32_t lDstStride, const uint8_t *pSrc, int32_t lSrcStride,
              int32_t lRows) {
    for (int32_t y = 0; y < lRows; y++, pDst += lDstStride, pSrc += lSrcStride)
        MMemMove(pDst, pSrc, (uint32_t)lDstStride); // the caller's buffers may overlap
}

} // namespace

// Divided, not shifted: what is dropped of the compensation is symmetric about zero.
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
    if (lInWidth > pCtx->lInWidth || lOutWidth > pCtx->lOutWidth) return; // planes no caller can have
    const int32_t lRow = Clamp32(lRowOffset, 0, pCtx->lInHeight - lRows);
    const int32_t lCol = Clamp32(lColOffset, 0, lInWidth - lOutWidth);
    CopyRows(pOutFrame, lOutWidth, pInFrame + (ptrdiff_t)lInWidth * lRow + lCol, lInWidth, lRows);

    // An odd offset moves the chroma by the half pixel less.
    const ptrdiff_t lOffset = (ptrdiff_t)(lRow >> 1) * (lInWidth >> 1) + (lCol >> 1);
    const uint8_t *pIn[2] = {pInFrame + pCtx->lInLumaSize,
                             pInFrame + pCtx->lInLumaSize + (pCtx->lInLumaSize >> 2)};
    uint8_t *pOut[2] = {pOutFrame + pCtx->lOutLumaSize,
                        pOutFrame + pCtx->lOutLumaSize + (pCtx->lOutLumaSize >> 2)};
    if (pCtx->bChromaInScratch) {
        pIn[0] = pCtx->pScratchInU;
        pIn[1] = pCtx->pScratchInV;
        pOut[0] = pCtx->pScratchOutU;
        pOut[1] = pCtx->pScratchOutV;
    }
    if (!pIn[0] || !pOut[0]) return; // the handle was not made for pairs
    for (int32_t i = 0; i < 2; i++)
        CopyRows(pOut[i], lOutWidth >> 1, pIn[i] + lOffset, lInWidth >> 1, lRows >> 1);
}
