// SPDX-License-Identifier: BSD-2-Clause
// Motion estimation: how the picture moved between the previous and the current luma plane.
//
// Vectors point from the current frame into the previous one, in whole pixels. Planes are lInWidth x
// lInHeight bytes without padding.
#pragma once

#include "context.h"
#include "quorvel/export.h"

// The smallest range of the coarse search, and the bytes of its samples at that range: the most it
// needs.
const int32_t kSmallestRange = 16;
uint32_t SampleBytes(int32_t lWidth, int32_t lHeight);

// ---- coarse shift of the whole frame ----

// Stores the shift, negated, in lCurMotionRow and lCurMotionCol. Returns 1 when it was accepted, 0
// when the frames do not match.
QEL_API int32_t GetBigShiftF0(MVS_Context *pCtx, const uint8_t *pCurFrame, const uint8_t *pPrevFrame);

// Samples of the current frame's inner area in grid order: pixels 0, 4, .. 60 of every whole group of
// 64 columns (at least one group) on every 10th row (at least one). lRowSkip leads from the end of a
// row's last group to the next sampled row. Freed with MMemFree; null when there is no memory.
QEL_API uint8_t *GetCurBuffer(const uint8_t *pArea, int32_t lAreaW, int32_t lAreaH, int32_t lRowSkip,
                              int32_t lRows);

// Sum of absolute differences between the samples and the same grid at pPrevArea.
QEL_API uint32_t GetGlobalSADAlignF0(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                                     int32_t lAreaH, int32_t lRowSkip);

// |sum of the samples - sum of the same grid at pPrevArea|.
QEL_API int32_t GetBigMeanF0(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                             int32_t lAreaH, int32_t lRowSkip);

// ---- cost kernels ----

// The 32x32 pattern: 8 runs of 8 pixels, on rows 0, 4, .. 28 and at columns 0, 8, 16, 24, 0, 8, 16,
// 24. lPatternStride is 4 * pitch + 8.
QEL_API uint32_t GetSad32AlignF0(const uint8_t *pCurBlock, const uint8_t *pCandBlock,
                                 int32_t lPatternStride);

// Texture of the same runs: differences between each run and the next, the last one with the first.
QEL_API uint32_t GetInnerSad32(const uint8_t *pCurBlock, int32_t lPitch);

// The 16x16 pattern: columns 0, 4, 8, 12 of rows 0, 4, 8, 12.
QEL_API uint32_t GetSad16F0(const uint8_t *pCurBlock, const uint8_t *pCandBlock, int32_t lPitch);

// ---- search of one block ----

// pCurBlock and pPrevBlock point to pixel (32 * lBlockRow, 32 * lBlockCol) of their planes. Starts at
// the coarse shift and reads the records of the blocks above, left, and above right.
QEL_API MVS_BlockMV BlockLDME32(MVS_Context *pCtx, const uint8_t *pCurBlock, const uint8_t *pPrevBlock,
                                int32_t lBlockRow, int32_t lBlockCol, int32_t lBlockSize);

// pCurBlock points to (lY, lX), pCandStart to (lY + lStartRow, lX + lStartCol) of the previous plane.
QEL_API MVS_BlockMV BlockLDME16F0(MVS_Context *pCtx, const uint8_t *pCurBlock,
                                  const uint8_t *pCandStart, int32_t lY, int32_t lX, int32_t lStartRow,
                                  int32_t lStartCol, int32_t lWidth, int32_t lHeight);

// ---- all blocks of a frame ----

// The 32x32 search of one frame, which its threads share.
struct BlockSearchJob;

// 1 when more than a twentieth of the blocks have a usable vector.
QEL_API int32_t BlockME32F0(MVS_Context *pCtx, const uint8_t *pCurFrame, const uint8_t *pPrevFrame);
QEL_API int32_t BlockME16F0(MVS_Context *pCtx, const uint8_t *pCurFrame, const uint8_t *pPrevFrame);

// What each thread of BlockME32F0 runs; the argument is the job. Returns null.
QEL_API void *thread_BlockME32F0(void *pJob);

// Searches the block rows with tops lYStart, lYStart + 32, .. below lYEnd.
QEL_API void BlockME32F0_BlockMT(BlockSearchJob *pJob, int32_t lYStart, int32_t lYEnd);
