// SPDX-License-Identifier: BSD-2-Clause
// Pixels of one output row, each from its own position: luma bilinear in quarter pixels, chroma by the
// nearest sample above left.
#pragma once

#include "kernels.h"
#include "platform/fixed.h"

struct PixelPlane {
    const uint8_t *pIn;
    int32_t lStride;            // bytes
    int32_t lLastRow, lLastCol; // last bases, in samples; luma has a row below and a column to the right
    int32_t lBelow, lRight;     // bytes to these neighbours, for luma
};

// The portable kernels take any position and clamp it into the plane.
//
// Consecutive pixels of a source row lie in a short window of it, from which byte shuffles take them. A
// run of output pixels that crosses source rows takes the same columns from each of these rows.
//
// All positions must lie inside the plane, steps within the limits below. From the position of any
// pixel a twin may read QEL_PIXEL_WINDOW more bytes of the row, and of the row below for luma.

#define QEL_PIXEL_WINDOW 16
#define QEL_MOST_PIXEL_STEP 1024 // zoom step 0 .. 1024, rotation step -1024 .. 1024

// What lPixels consecutive output pixels, the first at row position r, have above and below each other.
struct PixelRows {
    const uint8_t *pTop; // topmost source row
    int32_t lOffset;     // of the first pixel from the top of that row, Q10: less than lPixels << 10
    int32_t lMore;       // rows below the topmost that pixels lie in
};

static inline PixelRows PixelRowsOf(const PixelPlane *pPlane, int32_t r, int32_t lS, int32_t lPixels) {
    const int32_t lLast = r + lS * (lPixels - 1);
    const int32_t lTop = Min32(r, lLast) >> 10, lBottom = Max32(r, lLast) >> 10;
    return {pPlane->pIn + (ptrdiff_t)lTop * pPlane->lStride, r - (lTop << 10), lBottom - lTop};
}

// A rolled picture breaks the streams that the processor sees itself. The address may lie behind the
// plane.
static inline void PrefetchRowBelow(const uint8_t *p, ptrdiff_t lStride, int32_t lRows) {
    __builtin_prefetch((const void *)((uintptr_t)p + (uintptr_t)(lRows * lStride)));
}

const int32_t kLumaRowsAhead = 6, kChromaRowsAhead = 4; // of the prefetch
