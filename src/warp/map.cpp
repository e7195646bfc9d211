// SPDX-License-Identifier: BSD-2-Clause
#include "warp/map.h"

namespace {

// lSize * lTheta >> lShift, computed on the magnitude of the angle, so that an angle and its negative
// give mirror images.
int32_t Turn(int32_t lSize, int32_t lTheta, int32_t lShift) {
    if (lTheta >= 0) return WrapMul32(lSize, lTheta) >> lShift;
    return WrapSub32(0, WrapMul32(lSize, WrapSub32(0, lTheta)) >> lShift);
}

} // namespace

WarpMap MapWithoutZoom(const MVS_Context *pCtx) {
    const int32_t lTheta = pCtx->lCompTheta;
    const int32_t lTurnRow = Turn(pCtx->lOutWidth, lTheta, 7);
    const int32_t lTurnCol = Turn(pCtx->lOutHeight, lTheta, 7);
    const int32_t lCentreRow = WrapMul32(pCtx->lInHeight - pCtx->lOutHeight, 512);
    const int32_t lCentreCol = WrapMul32(pCtx->lInWidth - pCtx->lOutWidth, 512);
    return {WrapSub32(WrapAdd32(pCtx->lCompRow, lCentreRow), lTurnRow),
            WrapAdd32(WrapAdd32(pCtx->lCompCol, lCentreCol), lTurnCol), 1024, Turn(1, lTheta, 6)};
}

// The first sample is off the centred crop's corner by half of (1024 - Z) * size for the zoom, and by
// half the zoomed size of the other axis times the angle for the rotation.
WarpMap MapWithZoom(const MVS_Context *pCtx) {
    const int32_t lZ = pCtx->lZoomStep, lTheta = pCtx->lCompTheta;
    const int32_t lW = pCtx->lOutWidth, lH = pCtx->lOutHeight;
    const int32_t lTurnCol = WrapMul32(WrapMul32(lH, lZ) >> 10, lTheta) / 64;
    const int32_t lTurnRow = WrapMul32(WrapMul32(lW, lZ) >> 10, lTheta) / 64;
    const int32_t lRest = WrapSub32(1024, lZ);
    const int32_t lCentreRow = WrapMul32(pCtx->lInHeight - lH, 512);
    const int32_t lCentreCol = WrapMul32(pCtx->lInWidth - lW, 512);
    return {WrapAdd32(WrapAdd32(pCtx->lCompRow, lCentreRow),
                      WrapSub32(WrapMul32(lRest, lH), lTurnRow) >> 1),
            WrapAdd32(WrapAdd32(pCtx->lCompCol, lCentreCol),
                      WrapAdd32(lTurnCol, WrapMul32(lW, lRest)) >> 1),
            lZ, Turn(lZ, lTheta, 16)};
}
