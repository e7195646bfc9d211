// SPDX-License-Identifier: BSD-2-Clause
// The inner loops of all stages, in one table for each instruction set.
//
// The portable kernels define the results; the vector kernels equal them byte for byte. A handle
// chooses its table when it is created.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "platform/cpu.h"

struct MVS_BlockMV;
struct PixelPlane;
struct FineRow;

// ---- coarse search: src/motion/grid_sad*.cpp ----

// A grid covers whole groups of 64 columns (at least one) of every 10th row (at least one): pixels 0,
// 4, .. 60 of each group. lRowSkip leads from the end of a row's last group to the next row of the
// grid.
struct Grid {
    int32_t lGroups, lRows;
    int32_t lRowSkip;
};

// The grid's samples in order, 16 a group.
typedef void (*GridGather)(uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid);

// Sum of absolute differences between the samples and the grid at pArea. When it reaches lBound after
// a row of the grid, the kernel may stop and return it: the search only needs costs below lBound
// exactly.
typedef uint32_t (*GridSad)(const uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid,
                            uint32_t lBound);

// ---- block search: src/motion/block_sad*.cpp ----

// Over the sparse 32x32 pattern of motion.h; lPatternStride is 4 * pitch + 8.
typedef uint32_t (*BlockSad)(const uint8_t *pCurBlock, const uint8_t *pCandBlock,
                             int32_t lPatternStride);
typedef uint32_t (*BlockTexture)(const uint8_t *pCurBlock, int32_t lPitch);

// ---- rotation search: src/model/row_error*.cpp ----

// Squared error of the valid blocks among lCount blocks of a row. pModelRow has the model's row
// component for each block; the column component is the same along the row. Q10 pixels.
typedef int64_t (*RowError)(const MVS_BlockMV *pBlockMV, int32_t lCount, const int32_t *pModelRow,
                            int32_t lModelCol);

const int32_t kRowErrorBlocks = 256; // most of a call: the sum of so many fits 32-bit lanes

// ---- block warp: src/warp/strip*.cpp ----

// Resamples lSteps times 16 bytes of the four output rows of a block row: 4 planar blocks a step
// (lSampleBytes 1) or 2 blocks of pairs (2). See strip.h.
typedef void (*StripKernel)(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, int32_t lRowPhase,
                            int32_t lColPhase, int32_t lSampleBytes, int32_t lSteps);

// ---- per-pixel warp: src/warp/pixels*.cpp ----

// Pixels lFirst .. lEnd - 1 of the output row at pOut. Pixel x comes from (lR + lS * x, lC + lZ * x),
// Q10. See pixels.h.
typedef void (*PixelKernel)(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,
                            int32_t lS, int32_t lFirst, int32_t lEnd);

// ---- refined measurement: src/motion/tile_sums*.cpp ----

// Means of 2x2 pixels, rounded: lCount of them. The fine row is followed by the next one.
typedef void (*HalveRow)(const uint8_t *pFine, int32_t lFineWidth, uint8_t *pCoarse, int32_t lCount);

// Sums over a tile of kTile x kTile pixels of both frames. X and Y are the gradients of both, four
// times their mean; E is the previous minus the current pixel, C the current one. A kernel reads one
// pixel around the tile too.
const int32_t kTile = 16;
struct TileSums {
    int32_t lXX, lXY, lYY, lXE, lYE, lEE, lCC;
    int32_t lX, lY, lE, lC;
};
typedef void (*TileSummer)(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride,
                           TileSums *pSums);

// Squared differences of a patch of kPatch x kPatch pixels, less those that a change of brightness
// explains.
const int32_t kPatch = 8;
typedef int32_t (*PatchError)(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride);

// ---- fine warp: src/warp/fine_pixels*.cpp ----

// Pixels lFirst .. lEnd - 1 of an output row; pixel lFirst, a multiple of 16, goes to pOut. See
// fine_pixels.h.
typedef void (*FineKernel)(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd);

struct Kernels {
    GridGather pGatherGrid;
    GridSad pGridSad;
    BlockSad pBlockSad32;
    BlockTexture pTexture32;
    RowError pRowError;
    StripKernel pStrip;
    PixelKernel pLumaPixels;    // bilinear
    PixelKernel pNearestPixels; // nearest samples of one byte
    PixelKernel pNearestPairs;  // and of two
    HalveRow pHalveRow;
    TileSummer pTileSums;
    PatchError pPatchError;
    FineKernel pFineLinear;
    FineKernel pFineCubic;
    FineKernel pFineLinearWords; // samples of two bytes
    FineKernel pFineCubicWords;
};

const Kernels *KernelsOf(CpuLevel eLevel);

// For calls without a handle.
const Kernels *ProcessorKernels();

#define QEL_DECLARE_KERNELS(set)                                                                       \
    void GatherGrid##set(uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid);                  \
    uint32_t GridSad##set(const uint8_t *pSamples, const uint8_t *pArea, const Grid *pGrid,            \
                          uint32_t lBound);                                                            \
    uint32_t BlockSad32##set(const uint8_t *pCurBlock, const uint8_t *pCandBlock,                      \
                             int32_t lPatternStride);                                                  \
    uint32_t Texture32##set(const uint8_t *pCurBlock, int32_t lPitch);                                 \
    int64_t RowError##set(const MVS_BlockMV *pBlockMV, int32_t lCount, const int32_t *pModelRow,       \
                          int32_t lModelCol);                                                          \
    void Strip##set(const uint8_t *pSrc, uint8_t *pDst, ptrdiff_t lStride, int32_t lRowPhase,          \
                    int32_t lColPhase, int32_t lSampleBytes, int32_t lSteps);                          \
    void LumaPixels##set(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC, int32_t lZ,  \
                         int32_t lS, int32_t lFirst, int32_t lEnd);                                    \
    void NearestPixels##set(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC,           \
                            int32_t lZ, int32_t lS, int32_t lFirst, int32_t lEnd);                     \
    void NearestPairs##set(const PixelPlane *pPlane, uint8_t *pOut, int32_t lR, int32_t lC,            \
                           int32_t lZ, int32_t lS, int32_t lFirst, int32_t lEnd);                      \
    void HalveRow##set(const uint8_t *pFine, int32_t lFineWidth, uint8_t *pCoarse, int32_t lCount);    \
    void TileSums##set(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride, TileSums *pSums); \
    int32_t PatchError##set(const uint8_t *pCur, const uint8_t *pPrev, ptrdiff_t lStride);             \
    void FineLinear##set(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd);            \
    void FineCubic##set(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd);             \
    void FineLinearWords##set(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd);       \
    void FineCubicWords##set(const FineRow *pRow, uint8_t *pOut, int32_t lFirst, int32_t lEnd);

QEL_DECLARE_KERNELS(Portable)
QEL_DECLARE_KERNELS(Sse2)
QEL_DECLARE_KERNELS(Ssse3)
QEL_DECLARE_KERNELS(Avx2)
QEL_DECLARE_KERNELS(Neon)
