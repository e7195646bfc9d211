// SPDX-License-Identifier: BSD-2-Clause
// Where the pixels of a plane come from, in the fine warp.
#pragma once

#include <stdint.h>

// Output pixel (x, y) comes from column llC0 + llCX * x + llCY * y and row llR0 + llRX * x + llRY * y
// of the input, in its pixels, Q32. Whole positions are centres of pixels.
struct FineMap {
    int64_t llC0, llCX, llCY;
    int64_t llR0, llRX, llRY;
};

// The view as the warp takes it, with its scale: the centre lies (dCol, dRow) pixels from the centre of
// the input, and it is turned by dTheta radians.
struct FineView {
    double dCol, dRow;
    double dTheta;
    double dScale; // input pixels for one output pixel
};

// Luma sizes of both pictures.
struct FineSizes {
    int32_t lInWidth, lInHeight;
    int32_t lOutWidth, lOutHeight;
};

// How a plane samples the picture: every 2 ^ lSub-th luma pixel, the first one lSite quarters of a luma
// pixel right of and below the centre of the first luma pixel. All 0 for the luma itself.
struct FineSampling {
    int32_t lSubX, lSubY;
    int32_t lSiteX, lSiteY;
};

FineMap FineMapOf(const FineView *pView, const FineSizes *pSizes, const FineSampling *pSampling);
