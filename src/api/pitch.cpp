// SPDX-License-Identifier: BSD-2-Clause
// Frames with pitches: copied into a packed frame of the handle, stabilized, and copied back.
#include "quorvel/pitch.h"

#include "api/api.h"
#include "platform/buffers.h"
#include "platform/fixed.h"

namespace {

// One plane of a frame in both layouts.
struct PlaneRows {
    ptrdiff_t lOffset; // in the packed frame
    int32_t lWidth;    // bytes a row, also the packed stride
    int32_t lHeight;
};

// The planes of a packed frame of the handle's input; returns their number.
int32_t PlanesOf(const MVS_Context *pCtx, int32_t lFormat, PlaneRows *pRows) {
    const int32_t lLuma = pCtx->lInLumaSize, lChromaRows = InChromaHeight(pCtx);
    pRows[0] = {0, pCtx->lInWidth, pCtx->lInHeight};
    if (lFormat == QEL_MVS_FORMAT_NV21) {
        pRows[1] = {lLuma, pCtx->lInWidth, lChromaRows};
        return 2;
    }
    pRows[1] = {lLuma, InChromaWidth(pCtx), lChromaRows};
    pRows[2] = {lLuma + (lLuma >> 2), InChromaWidth(pCtx), lChromaRows};
    return 3;
}

bool HoldsPlanes(const MVS_PitchImage *pImage, const PlaneRows *pRows, int32_t lPlanes) {
    for (int32_t i = 0; i < lPlanes; i++) {
        const int64_t lPitch = pImage->lPitch[i];
        if (!pImage->pPlane[i] || (lPitch < 0 ? -lPitch : lPitch) < pRows[i].lWidth) return false;
    }
    return true;
}

bool Fits(const MVS_Context *pCtx, const MVS_PitchImage *pImage, int32_t lFormat) {
    PlaneRows stRows[3];
    const int32_t lPlanes = PlanesOf(pCtx, lFormat, stRows);
    return HoldsPlanes(pImage, stRows, lPlanes);
}

// Copies the planes from lFirst on into the packed frame.
void Gather(const MVS_Context *pCtx, uint8_t *pFrame, const MVS_PitchImage *pImage, int32_t lFormat,
            int32_t lFirst) {
    PlaneRows stRows[3];
    const int32_t lPlanes = PlanesOf(pCtx, lFormat, stRows);
    for (int32_t i = lFirst; i < lPlanes; i++)
        CopyRows(pFrame + stRows[i].lOffset, stRows[i].lWidth, pImage->pPlane[i], pImage->lPitch[i],
                 stRows[i].lWidth, stRows[i].lHeight);
}

void Scatter(const MVS_Context *pCtx, const uint8_t *pFrame, const MVS_PitchImage *pImage,
             int32_t lFormat) {
    PlaneRows stRows[3];
    const int32_t lPlanes = PlanesOf(pCtx, lFormat, stRows);
    for (int32_t i = 0; i < lPlanes; i++)
        CopyRows(pImage->pPlane[i], pImage->lPitch[i], pFrame + stRows[i].lOffset, stRows[i].lWidth,
                 stRows[i].lWidth, stRows[i].lHeight);
}

void CopyFrom(const MVS_Context *pCtx, uint8_t *pFrame, const MVS_PitchImage *pImage, int32_t lFormat) {
    if (pCtx && pFrame && Fits(pCtx, pImage, lFormat)) Gather(pCtx, pFrame, pImage, lFormat, 0);
}

void CopyTo(const MVS_Context *pCtx, const uint8_t *pFrame, const MVS_PitchImage *pImage,
            int32_t lFormat) {
    if (pCtx && pFrame && Fits(pCtx, pImage, lFormat)) Scatter(pCtx, pFrame, pImage, lFormat);
}

bool IsPitched(const MVS_Context *pCtx) {
    return pCtx && pCtx->pPitchInFrame && pCtx->pPitchOutFrame &&
           (pCtx->lInFormat == QEL_MVS_FORMAT_I420 || pCtx->lInFormat == QEL_MVS_FORMAT_NV21);
}

} // namespace

MVS_Context *QEL_MVS_CreateStabilizerPitch(MVS_PitchImage stImage) {
    const MVS_InitParam stParam = {
        3, stImage.lWidth, stImage.lHeight, stImage.lWidth, stImage.lHeight, stImage.lFormat, 0};
    MVS_Context *pCtx = QEL_MVS_CreateStabilizer(&stParam);
    if (!pCtx) return nullptr;
    pCtx->lPitch0 = stImage.lPitch[0];
    pCtx->lPitch1 = stImage.lPitch[1];
    pCtx->lPitch2 = stImage.lPitch[2];
    pCtx->pPitchInFrame = (uint8_t *)AllocFilled(pCtx->lInFrameSize, 0);
    pCtx->pPitchOutFrame = (uint8_t *)AllocFilled(pCtx->lOutFrameSize, 0);
    if (pCtx->pPitchInFrame && pCtx->pPitchOutFrame) return pCtx;
    QEL_MVS_DestroyStabilizer(pCtx);
    return nullptr;
}

void QEL_MVS_DestroyStabilizerPitch(MVS_Context *pCtx) { QEL_MVS_DestroyStabilizer(pCtx); }

void QEL_MVS_StabilizeFramePitch(MVS_Context *pCtx, MVS_PitchImage stIn, MVS_PitchImage stOut) {
    if (!IsPitched(pCtx)) return;
    if (stIn.pPlane[0] == stOut.pPlane[0] && stIn.pPlane[1] == stOut.pPlane[1] &&
        stIn.pPlane[2] == stOut.pPlane[2]) {
        pCtx->bSameBuffer = 1;
        QEL_MVS_StabilizeFrame_SameBufferPitch(pCtx, stIn);
    } else {
        QEL_MVS_StabilizeFrame_DiffBufferPitch(pCtx, stIn, stOut);
    }
}

void QEL_MVS_StabilizeFrame_SameBufferPitch(MVS_Context *pCtx, MVS_PitchImage stImage) {
    if (!IsPitched(pCtx) || !Fits(pCtx, &stImage, pCtx->lInFormat)) return;
    Gather(pCtx, pCtx->pPitchInFrame, &stImage, pCtx->lInFormat, 0);
    QEL_MVS_StabilizeFrame_SameBuffer(pCtx, pCtx->pPitchInFrame);
    Scatter(pCtx, pCtx->pPitchInFrame, &stImage, pCtx->lInFormat);
}

void QEL_MVS_StabilizeFrame_DiffBufferPitch(MVS_Context *pCtx, MVS_PitchImage stIn,
                                            MVS_PitchImage stOut) {
    if (!IsPitched(pCtx)) return;
    const int32_t lFormat = pCtx->lInFormat;
    if (!Fits(pCtx, &stIn, lFormat) || !Fits(pCtx, &stOut, lFormat)) return;
    Gather(pCtx, pCtx->pPitchInFrame, &stIn, lFormat, 0);
    // The call may leave chroma unwritten. The caller's chroma must then come out unchanged, not that
    // of the frame before.
    Gather(pCtx, pCtx->pPitchOutFrame, &stOut, lFormat, 1);
    if (StabilizeWholeFrame(pCtx, pCtx->pPitchInFrame, pCtx->pPitchOutFrame))
        Scatter(pCtx, pCtx->pPitchOutFrame, &stOut, lFormat);
}

void CopyI420FromPitchBuf(const MVS_Context *pCtx, uint8_t *pFrame, MVS_PitchImage stImage) {
    CopyFrom(pCtx, pFrame, &stImage, QEL_MVS_FORMAT_I420);
}

void CopyNV21FromPitchBuf(const MVS_Context *pCtx, uint8_t *pFrame, MVS_PitchImage stImage) {
    CopyFrom(pCtx, pFrame, &stImage, QEL_MVS_FORMAT_NV21);
}

void CopyI420ToPitchBuf(const MVS_Context *pCtx, const uint8_t *pFrame, MVS_PitchImage stImage) {
    CopyTo(pCtx, pFrame, &stImage, QEL_MVS_FORMAT_I420);
}

void CopyNV21ToPitchBuf(const MVS_Context *pCtx, const uint8_t *pFrame, MVS_PitchImage stImage) {
    CopyTo(pCtx, pFrame, &stImage, QEL_MVS_FORMAT_NV21);
}
