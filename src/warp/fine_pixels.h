// SPDX-License-Identifier: BSD-2-Clause
// Pixels of one output row of the fine warp.
//
// A row is made in runs of 16 pixels. The first position of a run is rounded down from Q32 to Q16, and
// so is the step within the run: a kernel adds in 32 bits, and the error stays below a 4000th of a
// pixel.
//
// Bilinear: fractions in 256ths of a pixel, rounded down. Samples of 8 bits are mixed in 16 bits: in Q7
// along the rows, by a rounding multiplication, and likewise between them.
//
// Bicubic: four taps each way, at 64 phases. Samples of 8 bits are summed in Q6 along the rows; between
// them each product is rounded.
#pragma once

#include "kernels.h"
#include "platform/fixed.h"
#include "warp/fine_warp.h"

const int32_t kFineRun = 16;

struct FineRow {
    const FinePlane *pIn;
    int64_t llCol, llRow;         // input position of output pixel 0, Q32
    int64_t llColStep, llRowStep; // to the next pixel
};

// The position of pixel x along one axis, Q16.
static inline int64_t FinePosition(int64_t llFirst, int64_t llStep, int32_t x) {
    const int32_t lRun = x & -kFineRun;
    return (WrapAdd64(llFirst, WrapMul64(llStep, lRun)) >> 16) + (x - lRun) * (llStep >> 16);
}

// The portable kernels take any planes, positions and steps. Vector kernels take whole runs of pixels
// of 1, 2 or 4 bytes, at rows inside the plane, by the steps below. They may read QEL_FINE_WINDOW bytes
// from any tap on. A pixel whose taps lie right or left of the plane comes out wrong.

#define QEL_FINE_WINDOW 16
const int64_t kMostFineStep = 7301444403; // 1.7 pixels, Q32: columns from pixel to pixel, above 0
const int64_t kMostFineTurn = 1503238553; // 0.35 pixels: rows from pixel to pixel, up or down

// Consecutive output pixels come from a short window of a source row: byte shuffles pick them. Where
// they come from several rows, the same columns are picked from each of these, and then the right row.

// Offsets of the samples of a step along one axis, from its first pixel: whole pixels and 65536ths.
struct FineOffsets {
    int16_t lWhole[16];
    uint16_t lFraction[16];
};

static inline FineOffsets FineOffsetsOf(int64_t llStep, int32_t lChannels) {
    FineOffsets st;
    for (int32_t i = 0; i < 16; i++) {
        const int32_t l = (int32_t)(llStep >> 16) * (i / lChannels);
        st.lWhole[i] = (int16_t)(l >> 16);
        st.lFraction[i] = (uint16_t)(l & 65535);
    }
    return st;
}

// The source rows of the steps along a row.
struct FineRows {
    const uint8_t *pPlane;
    ptrdiff_t lPitch;
    int32_t lUp, lDown; // from a step's first pixel to its topmost and its lowest one, Q16
};

static inline FineRows FineRowsOf(const FineRow *pRow, int32_t lPixels) {
    const int32_t lLast = (int32_t)(pRow->llRowStep >> 16) * (lPixels - 1);
    return {pRow->pIn->pSamples, pRow->pIn->lPitch, Min32(lLast, 0), Max32(lLast, 0)};
}

// The topmost row of a step whose first pixel is at row r, Q16.
static inline int32_t TopOf(const FineRows &st, int32_t r) { return (r + st.lUp) >> 16; }

// How many more rows it has.
static inline int32_t MoreOf(const FineRows &st, int32_t r) {
    return ((r + st.lDown) >> 16) - TopOf(st, r);
}

// The first pixel's column, lBytes from the start of a row, in the topmost row.
static inline const uint8_t *PlaceOf(const FineRows &st, int32_t r, ptrdiff_t lBytes) {
    return st.pPlane + TopOf(st, r) * st.lPitch + lBytes;
}

// With two lanes, the window of the high one is placed before it is known whether its first position
// carries into the next pixel, so the window needs a pixel more. Pixels of 2 or 4 bytes fit up to these
// steps only.
static inline bool FitsTwoLanes(const FineRow *pRow) {
    const int64_t llPixel = (int64_t)1 << 32;
    const int32_t lBytes = PixelBytes(pRow->pIn);
    return lBytes == 1 || pRow->llColStep <= (lBytes == 2 ? 5 * llPixel / 3 : llPixel);
}

// Prefetches what the next output rows read: with rotation the hardware prefetcher does not recognise
// the pattern. The address may be past the plane.
static inline void PrefetchRows(const uint8_t *p, ptrdiff_t lPitch) {
    __builtin_prefetch((const void *)(intptr_t)WrapAdd64((intptr_t)p, 6 * (int64_t)lPitch));
}

// ---- bicubic weights ----
//
// Keys' kernel with a = -kSharpness / 8. With t and s the distances from the middle two taps in 64ths,
// and u = t * s, all four weights are products of u and linear terms.
//
// The weights have the opposite sign: between the rows they are multiplied by 512, and -64 * 512 fits
// in 16 bits where 64 * 512 does not. As both ways have them, the signs cancel.

const int32_t kSharpness = 4;

// Q15 product, rounded: what the processors' rounding multiplications of 16 bits return.
static inline int32_t FineProduct(int32_t a, int32_t b) { return (a * b + 16384) >> 15; }

// The sum of the weights is -64; phase 0 has the second tap alone.
static inline void FineWeights(int32_t t, int32_t *pWeights) {
    const int32_t s = 64 - t, u = t * s;
    pWeights[0] = FineProduct(kSharpness * u, s);
    pWeights[1] = FineProduct(u, (16 - kSharpness) * t - 512) - s;
    pWeights[3] = FineProduct(kSharpness * u, t);
    pWeights[2] = -64 - pWeights[0] - pWeights[1] - pWeights[3];
}
