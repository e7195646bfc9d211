// SPDX-License-Identifier: BSD-2-Clause
// Frame compensation: the output frame from the input frame and lComp*.
//
// Every warp follows one affine map. The Q10 input position of output pixel (x, y) is
//     row    = R0 + Z * y + s * x
//     column = C0 + Z * x - s * y
// with the zoom step Z and the rotation step s; chroma takes the same steps from R0 >> 1, C0 >> 1.
#pragma once

#include "context.h"
#include "quorvel/export.h"

// ---- shift: a crop, copied row by row ----

QEL_API void StabilizeFrameM1F0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame);

// lRowOffset, lColOffset: top left corner of the crop in the input's luma, clamped so that the crop is
// inside the plane. The number of rows is the context's lOutHeight, not the argument.
QEL_API void StabFrame_ShiftingNoZoomF0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame,
                                        int32_t lRowOffset, int32_t lColOffset, int32_t lOutHeight,
                                        int32_t lOutWidth, int32_t lInWidth);

// ---- per-pixel warp ----

QEL_API void StabilizeFrameM2F0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame);
QEL_API void StabilizeFrameM3F0WithoutOpt(MVS_Context *pCtx, const uint8_t *pInFrame,
                                          uint8_t *pOutFrame);

// Luma, bilinear in quarter pixels.
QEL_API void StabY_RotationF0(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma, int32_t lR0,
                              int32_t lC0, int32_t lZ, int32_t lS);

// Planar chroma, nearest sample above left. The pointers are to the U planes. The NV21 formats use the
// scratch planes instead; the first call of a warp makes these grey, whatever they held before.
QEL_API void StabC_RotationF0(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma,
                              int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS);

// Interleaved chroma from pCurFrame to pOutFrame; NV21 only.
QEL_API void StabC2_RotationF0(MVS_Context *pCtx, int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS);

// ---- block warp: output of 320 x 240 and more ----

QEL_API void StabilizeFrameM3F0(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame);
QEL_API void StabilizeFrameM3F0WithOpt(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame);
QEL_API void StabilizeFrameM3Large(MVS_Context *pCtx, const uint8_t *pInFrame, uint8_t *pOutFrame);

// Luma, and chroma as one plane of interleaved pairs, shared between threads.
QEL_API void StabY_Rotation_4x4_7to8(MVS_Context *pCtx, const uint8_t *pInLuma, uint8_t *pOutLuma,
                                     int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS);
QEL_API void StabC2_Rotation_4x4_7to8(MVS_Context *pCtx, const uint8_t *pInChroma, uint8_t *pOutChroma,
                                      int32_t lR0, int32_t lC0, int32_t lZ, int32_t lS);

// What each of these threads runs; the argument is the task. Returns null.
QEL_API void *thread_StabY_Rotation_4x4_7to8(void *pJob);
QEL_API void *thread_StabC2_Rotation_4x4_7to8(void *pJob);

// Rows of blocks lFirst .. lEnd - 1. The pointers are to the first bytes of the planes; the steps are
// those of a block.
QEL_API void StabY_Rotation_4x4_7to8_block(MVS_Context *pCtx, const uint8_t *pInPlane,
                                           uint8_t *pOutPlane, int32_t lR0, int32_t lC0,
                                           int32_t lBlockZ, int32_t lBlockS, int32_t lFirst,
                                           int32_t lEnd);
QEL_API void StabC2_Rotation_4x4_7to8_block(MVS_Context *pCtx, const uint8_t *pInPlane,
                                            uint8_t *pOutPlane, int32_t lR0, int32_t lC0,
                                            int32_t lBlockZ, int32_t lBlockS, int32_t lFirst,
                                            int32_t lEnd);

// Luma, and planar chroma (planes chosen as by StabC_RotationF0), on the calling thread.
QEL_API void StabY_Rotation_4x4_7to8_normal(MVS_Context *pCtx, const uint8_t *pInLuma,
                                            uint8_t *pOutLuma, int32_t lR0, int32_t lC0, int32_t lZ,
                                            int32_t lS);
QEL_API void StabC_Rotation_4x4_7to8_normal(MVS_Context *pCtx, const uint8_t *pInChroma,
                                            uint8_t *pOutChroma, int32_t lR0, int32_t lC0, int32_t lZ,
                                            int32_t lS);
