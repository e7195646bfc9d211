// SPDX-License-Identifier: BSD-2-Clause
// Frame calls with separate pointers to luma and chroma.
#include "api/api.h"

namespace {

// Fills in the call; false when a pointer is null or the handle has an unknown format.
bool SeparatePlanes(const MVS_Context *pCtx, const uint8_t *pInY, const uint8_t *pInUV, uint8_t *pOutY,
                    uint8_t *pOutUV, FrameCall *pCall) {
    if (!pCtx || !pInY || !pOutY) return false;
    switch (pCtx->lInFormat) {
    case QEL_MVS_FORMAT_I420:
        *pCall = {pInY, nullptr, pOutY, nullptr, 0};
        return true;
    case QEL_MVS_FORMAT_NV21:
        *pCall = {pInY, pInY + pCtx->lInLumaSize, pOutY, pOutY + pCtx->lOutLumaSize, 0};
        return true;
    case QEL_MVS_FORMAT_NV21_SEPARATE:
        *pCall = {pInY, pInUV, pOutY, pOutUV, 0};
        return pInUV && pOutUV;
    default:
        return false;
    }
}

} // namespace

void QEL_MVS_StabilizeFrameSeparateBuffer(MVS_Context *pCtx, const uint8_t *pInY, const uint8_t *pInUV,
                                          uint8_t *pOutY, uint8_t *pOutUV) {
    FrameCall stCall;
    if (!SeparatePlanes(pCtx, pInY, pInUV, pOutY, pOutUV, &stCall)) return;
    if (pInY == pOutY && pInUV == pOutUV) {
        pCtx->bSameBuffer = 1;
        StabilizeFrame(pCtx, &stCall, true);
    } else {
        StabilizeFrame(pCtx, &stCall, false);
    }
}

void QEL_MVS_StabilizeFrame_Separate_SameBuffer(MVS_Context *pCtx, uint8_t *pY, uint8_t *pUV) {
    FrameCall stCall;
    if (SeparatePlanes(pCtx, pY, pUV, pY, pUV, &stCall)) StabilizeFrame(pCtx, &stCall, true);
}

void QEL_MVS_StabilizeFrame_Separate_DiffBuffer(MVS_Context *pCtx, const uint8_t *pInY,
                                                const uint8_t *pInUV, uint8_t *pOutY, uint8_t *pOutUV) {
    FrameCall stCall;
    if (SeparatePlanes(pCtx, pInY, pInUV, pOutY, pOutUV, &stCall)) StabilizeFrame(pCtx, &stCall, false);
}
