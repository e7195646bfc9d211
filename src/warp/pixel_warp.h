// SPDX-License-Identifier: BSD-2-Clause
// Rows of one plane by the per-pixel warp.
#pragma once

#include "context.h"
#include "warp/map.h"
#include "warp/pixels.h"

struct WarpPlane {
    PixelKernel pAnywhere; // the definition
    PixelKernel pInside;   // its twin
    const uint8_t *pIn;
    uint8_t *pOut;
    int32_t lWidth, lHeight;     // input samples
    int32_t lBytes;              // of a sample
    int32_t lOutWidth;           // samples
    int32_t lStride, lOutStride; // bytes; no less than a row
};

// Planes of the context's sizes: luma, one plane of planar chroma, and V,U pairs.
WarpPlane LumaPixelPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);
WarpPlane ChromaPixelPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);
WarpPlane PairPixelPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);

// Output rows lFirst .. lEnd - 1. A plane without samples leaves the output as it was.
void WarpPixelRows(const WarpPlane *pPlane, const WarpMap *pMap, int32_t lFirst, int32_t lEnd);
