// SPDX-License-Identifier: BSD-2-Clause
// The per-pixel warp: each output sample has a position of its own.
#pragma once

#include "warp/warp_task.h"

// Output rows lFirst .. lEnd - 1 of a plane: luma bilinear in quarter pixels, chroma by the nearest
// sample above left. A plane without samples leaves the output as it was.
void WarpLumaRows(const Kernels *pKernels, const WarpPlane *pPlane, const WarpMap *pMap, int32_t lFirst,
                  int32_t lEnd);
void WarpNearestRows(const Kernels *pKernels, const WarpPlane *pPlane, const WarpMap *pMap,
                     int32_t lFirst, int32_t lEnd);
