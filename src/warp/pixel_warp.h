// SPDX-License-Identifier: BSD-2-Clause
// The per-pixel warp: maps each output sample by itself.
#pragma once

#include "warp/warp_task.h"

// Warp output rows lFirst .. lEnd - 1 of a plane: luma bilinear in quarter pixels, chroma by the
// nearest sample above left. When the input plane has no samples, nothing is written.
void WarpLumaRows(const Kernels *pKernels, const WarpPlane *pPlane, const WarpMap *pMap, int32_t lFirst,
                  int32_t lEnd);
void WarpNearestRows(const Kernels *pKernels, const WarpPlane *pPlane, const WarpMap *pMap,
                     int32_t lFirst, int32_t lEnd);
