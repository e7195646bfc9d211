// SPDX-License-Identifier: BSD-2-Clause
// The warp that maps every output pixel: mode 2, small frames of mode 3, and unequal sizes.
#include "warp/warp.h"

#include "platform/fixed.h"
#include "warp/map.h"
#include "warp/pixel_kernels.h"

namespace {

// Last base of a plane side that leaves room for the neighbour: the plane's last row and column are
// never sampled, so that no read can pass the plane.
int32_t LastBase(int32_t lSize) { return Max32(lSize - 2, 0); }

// Output samples of one row whose positions need no clamp.
struct Span {
    int32_t lFirst, lEnd;
};

// Narrows the span to where 0 <= lStart + lStep * x <= lLast.
void Narrow(Span *pSpan, int64_t llStart, int64_t llStep, int64_t llLast) {
    int64_t llFirst = pSpan->lFirst, llEnd = pSpan->lEnd;
    if (llStep == 0) {
        if (llStart < 0 || llStart > llLast) llEnd = llFirst;
    } else {
        const int64_t llLow = llStep > 0 ? -llStart : llStart - llLast; // what x * |step| must reach
        const int64_t llHigh = llStep > 0 ? llLast - llStart : llStart; // and may reach
        const int64_t llSize = llStep > 0 ? llStep : -llStep;
        if (llLow > 0 && (llLow + llSize - 1) / llSize > llFirst)
            llFirst = (llLow + llSize - 1) / llSize;
        if (llHigh < 0)
            llEnd = llFirst;
        else if (llHigh / llSize + 1 < llEnd)
            llEnd = llHigh / llSize + 1;
    }
    if (llFirst > pSpan->lEnd) llFirst = pSpan->lEnd;
    *pSpan = {(int32_t)llFirst, (int32_t)(llEnd < llFirst ? llFirst : llEnd)};
}

// Samples of a row of lCount that start at (r, c). Positions that wrap around are left to the clamped
// form.
Span InsideSpan(int32_t lCount, int32_t r, int32_t c, const WarpMap *pMap, int32_t lLastRow,
                int32_t lLastCol) {
    const int64_t llEndRow = r + (int64_t)pMap->lS * lCount, llEndCol = c + (int64_t)pMap->lZ * lCount;
    if (llEndRow != Low32(llEndRow) || llEndCol != Low32(llEndCol)) return {0, 0};
    Span st = {0, lCount};
    Narrow(&st, r, pMap->lS, (int64_t)lLastRow << 10);
    Narrow(&st, c, pMap->lZ, (int64_t)lLastCol << 10);
    return st;
}

// One plane (or plane of pairs) of nearest samples: what a chroma pass walks over.
struct NearestPass {
    int32_t lInWidth, lInHeight; // chroma samples
    int32_t lOutWidth, lOutHeight;
    WarpMap st;
};

NearestPass ChromaPass(const MVS_Context *pCtx, int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS) {
    return {InChromaWidth(pCtx),
            InChromaHeight(pCtx),
            OutChromaWidth(pCtx),
            OutChromaHeight(pCtx),
            {lR0, lC0, lZ, lS}};
}

// Calls pCopy(output sample index, input sample index) for every output sample.
template <class Copy> void WalkNearest(const NearestPass *pPass, Copy pCopy) {
    if (pPass->lInWidth < 1 || pPass->lInHeight < 1) return;
    const WarpMap *pMap = &pPass->st;
    const int32_t lLastRow = LastBase(pPass->lInHeight), lLastCol = LastBase(pPass->lInWidth);
    int32_t lR0 = pMap->lR0, lC0 = pMap->lC0;
    for (ptrdiff_t y = 0; y < pPass->lOutHeight; y++) {
        const Span st = InsideSpan(pPass->lOutWidth, lR0, lC0, pMap, lLastRow, lLastCol);
        const ptrdiff_t lOut = y * pPass->lOutWidth, lStride = pPass->lInWidth;
        int32_t r = lR0, c = lC0;
        const auto Clamped = [&](int32_t lFirst, int32_t lEnd) {
            for (int32_t x = lFirst; x < lEnd; x++) {
                const int32_t lRow = PositionOf(r, lLastRow).lBase,
                              lCol = PositionOf(c, lLastCol).lBase;
                pCopy(lOut + x, lRow * lStride + lCol);
                r = WrapAdd32(r, pMap->lS);
                c = WrapAdd32(c, pMap->lZ);
            }
        };
        Clamped(0, st.lFirst);
        for (int32_t x = st.lFirst; x < st.lEnd; x++) {
            pCopy(lOut + x, (r >> 10) * lStride + (c >> 10));
            r = WrapAdd32(r, pMap->lS);
            c = WrapAdd32(c, pMap->lZ);
        }
        Clamped(st.lEnd, pPass->lOutWidth);
        lR0 = WrapAdd32(lR0, pMap->lZ);
        lC0 = WrapSub32(lC0, pMap->lS);
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
        StabC_RotationF0(pCtx, pInFrame + pCtx->lInLumaSize, pOutFrame + pCtx->lOutLumaSize,
                         st.lR0 >> 1, st.lC0 >> 1, st.lZ, st.lS);
    else
        StabC2_RotationF0(pCtx, st.lR0 >> 1, st.lC0 >> 1, st.lZ, st.lS);
}

void StabY_RotationF0(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma, int32_t lR0,
                      int32_t lC0, int32_t lZ, int32_t lS) {
    const int32_t lWidth = pCtx->lInWidth, lHeight = pCtx->lInHeight;
    const PixelPlane stPlane = {pInLuma, lWidth, LastBase(lHeight), LastBase(lWidth),
                                // a plane of one row or column has no neighbour; its fraction is 0 then
                                lHeight > 1 ? lWidth : 0, lWidth > 1};
    const WarpMap stMap = {lR0, lC0, lZ, lS};
    const PixelKernel pInside = PixelKernelOf(pCtx->eCpuLevel);
    // Vector kernels read four bytes of a row at each position.
    const int32_t lLastCol = pInside ? stPlane.lLastCol - 2 : -1;
    for (int32_t y = 0; y < pCtx->lOutHeight; y++, pOutLuma += pCtx->lOutWidth) {
        Span st = {0, 0};
        if (lLastCol >= 0)
            st = InsideSpan(pCtx->lOutWidth, lR0, lC0, &stMap, stPlane.lLastRow, lLastCol);
        WarpPixels(&stPlane, pOutLuma, lR0, lC0, lZ, lS, 0, st.lFirst);
        if (st.lEnd > st.lFirst) pInside(&stPlane, pOutLuma, lR0, lC0, lZ, lS, st.lFirst, st.lEnd);
        WarpPixels(&stPlane, pOutLuma, lR0, lC0, lZ, lS, st.lEnd, pCtx->lOutWidth);
        lR0 = WrapAdd32(lR0, lZ);
        lC0 = WrapSub32(lC0, lS);
    }
}

void StabC_RotationF0(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma, int32_t lR0,
                      int32_t lC0, int32_t lZ, int32_t lS) {
    const NearestPass stPass = ChromaPass(pCtx, lR0, lC0, lZ, lS);
    const PlanarChroma st = ChromaPlanes(pCtx, pInChroma, pOutChroma);
    if (!st.pIn[0] || !st.pOut[0]) return; // the handle was not made for pairs
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
