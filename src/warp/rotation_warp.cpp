// SPDX-License-Identifier: BSD-2-Clause
// The warp that maps every output pixel: mode 2, small frames of mode 3, and unequal sizes.
#include "warp/warp.h"

#include "warp/pixel_warp.h"

void StabilizeFrameM2F0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    const WarpMap st = MapWithoutZoom(pCtx);
    StabY_RotationF0(pCtx, pInFrame, pOutFrame, st.lR0, st.lC0, st.lZ, st.lS);
    StabC_RotationF0(pCtx, pInFrame + pCtx->lInLumaSize, pOutFrame + pCtx->lOutLumaSize, st.lR0 >> 1,
                     st.lC0 >> 1, st.lZ, st.lS);
}

void StabilizeFrameM3F0WithoutOpt(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame) {
    const WarpMap st = MapWithZoom(pCtx);
    StabY_RotationF0(pCtx, pInFrame, pOutFrame, st.lR0, st.lC0, st.lZ, st.lS);
    // Planar chroma of small frames stays as it is by default.
    if (pCtx->bChromaInScratch || (pCtx->bFullChroma && !IsSemiPlanar(pCtx->lInFormat)))
        StabC_RotationF0(pCtx, pInFrame + pCtx->lInLumaSize, pOutFrame + pCtx->lOutLumaSize,
                         st.lR0 >> 1, st.lC0 >> 1, st.lZ, st.lS);
    else
        StabC2_RotationF0(pCtx, st.lR0 >> 1, st.lC0 >> 1, st.lZ, st.lS);
}

void StabY_RotationF0(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma, int32_t lR0,
                      int32_t lC0, int32_t lZ, int32_t lS) {
    const WarpMap stMap = {lR0, lC0, lZ, lS};
    const WarpPlane st = LumaPixelPlane(pCtx, pInLuma, pOutLuma);
    WarpPixelRows(&st, &stMap, 0, pCtx->lOutHeight);
}

void StabC_RotationF0(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma, int32_t lR0,
                      int32_t lC0, int32_t lZ, int32_t lS) {
    const PlanarChroma stPlanes = ChromaPlanes(pCtx, pInChroma, pOutChroma);
    if (!stPlanes.pIn[0] || !stPlanes.pOut[0]) return; // the handle was not made for pairs
    const WarpMap stMap = {lR0, lC0, lZ, lS};
    for (int32_t i = 0; i < 2; i++) {
        const WarpPlane st = ChromaPixelPlane(pCtx, stPlanes.pIn[i], stPlanes.pOut[i]);
        WarpPixelRows(&st, &stMap, 0, OutChromaHeight(pCtx));
    }
}

void StabC2_RotationF0(MVS_Context *pCtx, int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    if (pCtx->lInFormat != QEL_MVS_FORMAT_NV21 || !pCtx->pCurFrame || !pCtx->pOutFrame) return;
    const WarpMap stMap = {lR0, lC0, lZ, lS};
    const WarpPlane st =
        PairPixelPlane(pCtx, pCtx->pCurFrame + pCtx->lInLumaSize, pCtx->pOutFrame + pCtx->lOutLumaSize);
    WarpPixelRows(&st, &stMap, 0, OutChromaHeight(pCtx));
}
