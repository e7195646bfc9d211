// SPDX-License-Identifier: BSD-2-Clause
// Pixels of one output row, each from its own position: luma bilinear in quarter pixels, chroma by the
// nearest sample above left.
#pragma once

#include "kernels.h"
#include "platform/fixed.h"

struct PixelPlane {
    const uint8_t *pIn;
    int32_t lStride;            // bytes
    int32_t lLastRow, lLastCol; // last bases: luma has a row below and a column to the right
    int32_t lBelow, lRight;     // bytes to these neighbours
};

// The kernels of the table need positions inside the plane. These clamp any position into it.
void ClampedLumaPixels(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                       int32_t lS, int32_t lFirst, int32_t lEnd);
void ClampedNearestPixels(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                          int32_t lS, int32_t lFirst, int32_t lEnd);
void ClampedNearestPairs(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                         int32_t lS, int32_t lFirst, int32_t lEnd);

// ---- vector kernels ----
//
// Consecutive output pixels come from a short window of a source row: byte shuffles pick them. Where
// they come from several rows, the same columns are picked from each of these, and then the right row.
//
// The steps of the map are within the limits below. A kernel may read up to QEL_PIXEL_WINDOW bytes
// past the first byte of any base, in each row that it touches and, for luma, in the row below.

#define QEL_PIXEL_WINDOW 16
#define QEL_MOST_PIXEL_STEP 1024 // zoom step 0 .. 1024, rotation step -1024 .. 1024

// The source rows of lPixels consecutive output pixels, the first of them at row position r.
struct PixelRows {
    const uint8_t *pTop; // the topmost row
    int32_t lOffset;     // from there to the first pixel's row, Q10: less than lPixels << 10
    int32_t lMore;       // rows below the topmost one
};

static inline PixelRows PixelRowsOf(const PixelPlane *pPlane, int32_t r, int32_t lS, int32_t lPixels) {
    const int32_t lLast = r + lS * (lPixels - 1);
    const int32_t lTop = Min32(r, lLast) >> 10, lBottom = Max32(r, lLast) >> 10;
    return {pPlane->pIn + (ptrdiff_t)lTop * pPlane->lStride, r - (lTop << 10), lBottom - lTop};
}

// Prefetches what the next output rows read: with rotation the hardware prefetcher does not recognise
// the pattern. The address may be past the plane.
static inline void PrefetchBelow(const uint8_t *p, ptrdiff_t lStride) {
    __builtin_prefetch((const void *)((uintptr_t)p + (uintptr_t)(6 * lStride)));
}
