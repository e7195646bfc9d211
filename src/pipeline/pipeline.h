// SPDX-License-Identifier: BSD-2-Clause
// Takes one frame through the stages; one driver for each mode.
#pragma once

#include "context.h"
#include "quorvel/export.h"

// M1: translation only. M2: also rotation that is large enough to see. M3: translation, rotation and
// zoom.
QEL_API void DeshakerM1(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious,
                        uint8_t *pOutput);
QEL_API void DeshakerM2(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious,
                        uint8_t *pOutput);
QEL_API void DeshakerM3(MVS_Context *pCtx, const uint8_t *pCurrent, const uint8_t *pPrevious,
                        uint8_t *pOutput);

// 32-pixel blocks for inputs wider than 200 pixels, else 16-pixel blocks.
QEL_API int32_t BlockMotionEstimation(MVS_Context *pCtx, const uint8_t *pCurrent,
                                      const uint8_t *pPrevious);
