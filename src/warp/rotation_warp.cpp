// The warp that maps every output pixel: mode 2, small frames of mode 3, and unequal sizes.
#include "warp/warp.h"

#include "platform/fixed.h"
#include "warp/map.h"

namespace {

// Last base of a plane side that leaves room for the neighbour: the plane's last row and column are never
// sampled, so that no read can pass the plane.
int32_t LastBase(int32_t lSize) { return Max32(lSize - 2, 0); }

// Two stages of quarter weights, each truncating.
uint8_t Blend(const uint8_t *p, int32_t lRight, ptrdiff_t lBelow, int32_t lFx, int32_t lFy) {
    const int32_t lTop = (p[0] * (4 - lFx) + p[lRight] * lFx) >> 2;
    const int32_t lBottom = (p[lBelow] * (4 - lFx) + p[lBelow + lRight] * lFx) >> 2;
    return (uint8_t)((lTop * (4 - lFy) + lBottom * lFy) >> 2);
}

// One plane (or plane of pairs) of nearest samples: what a chroma pass walks over.
struct NearestPass {
    int32_t lInWidth, lInHeight;   // chroma samples
    int32_t lOutWidth, lOutHeight;
    WarpMap st;
};

NearestPass ChromaPass(const MVS_Context *pCtx, int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    return {InChromaWidth(pCtx), InChromaHeight(pCtx), OutChromaWidth(pCtx), OutChromaHeight(pCtx),
            {lR0, lC0, lZ, lS}};
}

// Calls pCopy(output sample index, input sample index) for every output sample.
template <class Copy> void WalkNearest(const NearestPass *pPass, Copy pCopy) {
    if (pPass->lInWidth < 1 || pPass->lInHeight < 1) return;
    const int32_t lLastRow = LastBase(pPass->lInHeight), lLastCol = LastBase(pPass->lInWidth);
    int32_t lR0 = pPass->st.lR0, lC0 = pPass->st.lC0;
    ptrdiff_t lOut = 0;
    for (int32_t y = 0; y < pPass->lOutHeight; y++) {
        int32_t r = lR0, c = lC0;
        for (int32_t x = 0; x < pPass->lOutWidth; x++) {
            const int32_t lRow = PositionOf(r, lLastRow).lBase, lCol = PositionOf(c, lLastCol).lBase;
            pCopy(lOut++, (ptrdiff_t)lRow * pPass->lInWidth + lCol);
            r = WrapAdd32(r, pPass->st.lS);
            c = WrapAdd32(c, pPass->st.lZ);
        }
        lR0 = WrapAdd32(lR0, pPass->st.lZ);
        lC0 = WrapSub32(lC0, pPass->st.lS);
    }
}

} // namespace

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
        StabC_RotationF0(pCtx, pInFrame + pCtx->lInLumaSize, pOutFrame + pCtx->lOutLumaSize, st.lR0 >> 1,
                         st.lC0 >> 1, st.lZ, st.lS);
    else
        StabC2_RotationF0(pCtx, st.lR0 >> 1, st.lC0 >> 1, st.lZ, st.lS);
}

void StabY_RotationF0(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma, int32_t lR0, int32_t lC0,
                      int32_t lZ, int32_t lS) {
    const int32_t lLastRow = LastBase(pCtx->lInHeight), lLastCol = LastBase(pCtx->lInWidth);
    // A plane of one row or column has no neighbour; its fraction is 0 then.
    const int32_t lRight = pCtx->lInWidth > 1;
    const ptrdiff_t lStride = pCtx->lInWidth, lBelow = pCtx->lInHeight > 1 ? lStride : 0;
    for (int32_t y = 0; y < pCtx->lOutHeight; y++) {
        int32_t r = lR0, c = lC0;
        for (int32_t x = 0; x < pCtx->lOutWidth; x++) {
            const Position stRow = PositionOf(r, lLastRow), stCol = PositionOf(c, lLastCol);
            *pOutLuma++ = Blend(pInLuma + stRow.lBase * lStride + stCol.lBase, lRight, lBelow, stCol.lPhase,
                                stRow.lPhase);
            r = WrapAdd32(r, lS);
            c = WrapAdd32(c, lZ);
        }
        lR0 = WrapAdd32(lR0, lZ);
        lC0 = WrapSub32(lC0, lS);
    }
}

void StabC_RotationF0(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma, int32_t lR0,
                      int32_t lC0, int32_t lZ, int32_t lS) {
    const NearestPass stPass = ChromaPass(pCtx, lR0, lC0, lZ, lS);
    const PlanarChroma st = ChromaPlanes(pCtx, pInChroma, pOutChroma);
    WalkNearest(&stPass, [&st](ptrdiff_t lOut, ptrdiff_t lIn) {
        st.pOut[0][lOut] = st.pIn[0][lIn];
        st.pOut[1][lOut] = st.pIn[1][lIn];
    });
}

void StabC2_RotationF0(MVS_Context *pCtx, int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    if (pCtx->lInFormat != QEL_MVS_FORMAT_NV21 || !pCtx->pCurFrame || !pCtx->pOutFrame) return;
    const NearestPass stPass = ChromaPass(pCtx, lR0, lC0, lZ, lS);
    const uint8_t *pIn = pCtx->pCurFrame + pCtx->lInLumaSize;
    uint8_t *pOut = pCtx->pOutFrame + pCtx->lOutLumaSize;
    WalkNearest(&stPass, [pIn, pOut](ptrdiff_t lOut, ptrdiff_t lIn) {
        pOut[2 * lOut] = pIn[2 * lIn];
        pOut[2 * lOut + 1] = pIn[2 * lIn + 1];
    });
}
