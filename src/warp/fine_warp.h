// SPDX-License-Identifier: BSD-2-Clause
// The fine warp: resamples planes by any affine map, bilinear or bicubic, in fine fractions of a pixel.
// Pixels have 1 to 4 channels of 8 to 16 bits.
#pragma once

#include <stddef.h>

#include "context.h"
#include "warp/fine_map.h"

struct FinePlane {
    uint8_t *pSamples; // top left; input planes are only read
    ptrdiff_t lPitch;  // bytes from row to row; may be negative
    int32_t lWidth, lHeight;
    int32_t lChannels;    // samples of a pixel, 1 .. 4
    int32_t lSampleBytes; // 1, or 2 in the processor's byte order
    int32_t lBits;        // significant bits of a sample, 8 .. 8 * lSampleBytes
    int32_t lShift;       // and the lowest one's position
};

static inline int32_t PixelBytes(const FinePlane *pPlane) {
    return pPlane->lChannels * pPlane->lSampleBytes;
}

// Planes of the same layout, but of any sizes.
struct FinePass {
    FinePlane stIn, stOut;
    FineMap stMap;
};

// Warps the planes of a picture as one task of the frame. What lies outside an input plane looks like
// the nearest pixel of its edge. An output plane without input pixels is not written.
void FineWarp(MVS_Context *pCtx, const FinePass *pPasses, int32_t lPasses, bool bCubic);

// Output rows lFirst .. lEnd - 1 of a plane.
void FineWarpRows(const Kernels *pKernels, const FinePass *pPass, bool bCubic, int32_t lFirst,
                  int32_t lEnd);
