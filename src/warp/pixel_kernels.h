// SPDX-License-Identifier: BSD-2-Clause
// Bilinear samples in quarter pixels along a row of output pixels.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "platform/cpu.h"

struct PixelPlane {
    const uint8_t *pIn;
    int32_t lStride;
    int32_t lLastRow, lLastCol; // last bases that have a row below and a column to the right
    int32_t lBelow, lRight;     // bytes to these neighbours
};

// Pixels lFirst .. lEnd - 1 of the output row at pOut. Pixel x comes from (lR + lS * x, lC + lZ * x),
// Q10.
typedef void (*PixelKernel)(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                            int32_t lS, int32_t lFirst, int32_t lEnd);

// The definition: any position, clamped into the plane.
void WarpPixels(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ, int32_t lS,
                int32_t lFirst, int32_t lEnd);

// For positions inside the plane only, with columns up to lLastCol - 2; null where a level has none.
PixelKernel PixelKernelOf(CpuLevel eLevel);

void InsidePixelsAvx2(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                      int32_t lS, int32_t lFirst, int32_t lEnd);
