// SPDX-License-Identifier: BSD-2-Clause
// The planes of a frame as the warps take them.
#pragma once

#include "context.h"
#include "platform/fixed.h"

// One plane, of samples of one byte or of pairs of two bytes. Sizes count samples, strides bytes.
struct WarpPlane {
    const uint8_t *pIn;
    uint8_t *pOut;
    int32_t lInWidth, lInHeight;
    int32_t lOutWidth, lOutHeight;
    int32_t lInStride, lOutStride;
    int32_t lSampleBytes;
    int32_t lRows; // rows that the warp covers: of samples, or of 4x4 blocks
};

enum WarpKind {
    kShift,        // modes 1 and 2: a crop by whole pixels
    kRotate,       // mode 2: pixel by pixel, without a zoom
    kSmallOutput,  // mode 3, outputs below 320 x 240: pixel by pixel
    kUnequalSizes, // mode 3, larger outputs of another size than the input: pixel by pixel
    kBlocks,       // mode 3, equal sizes: by blocks, the height a multiple of 8
    kBlocksInPart, // the same, other heights
    kWarpKinds
};

// Mode3Warp: the warp that mode 3 takes. LargeWarp: the same for exported functions that take any
// output for a large one.
WarpKind Mode3Warp(const MVS_Context *pCtx);
WarpKind LargeWarp(const MVS_Context *pCtx);

// Fills in the planes that a warp of this kind moves, luma first; returns their number.
int32_t PlanesOfFrame(MVS_Context *pCtx, WarpKind eKind, const uint8_t *pInFrame, uint8_t *pOutFrame,
                      WarpPlane *pPlanes);

// Block rows that cover a height; the last one may be partly outside.
static inline int32_t BlockCount(int32_t lSize) { return (lSize + 3) >> 2; }

// Block rows of a frame's chroma that are warped. By default only height >> 3 of them, so the last
// chroma rows may be left out.
int32_t ChromaBlockRows(const MVS_Context *pCtx);

// True when interleaved chroma is warped as it is. At heights that are no multiple of 8 the block warp
// needs the scratch planes: the rows that it does not cover come out grey.
bool WarpsPairs(const MVS_Context *pCtx);

// The two chroma planes of a frame: those after the luma, or with an NV21 format the scratch planes.
// Returns their number, which is 0 when the handle has no scratch planes.
int32_t ChromaPlanes(MVS_Context *pCtx, const uint8_t *pInU, uint8_t *pOutU, WarpPlane *pPlanes);

// Makes the scratch planes grey at the first call for a handle; to be called before each use. Creation
// does not do it because most handles never use them. Warps outside of a frame call it even when they
// do not use the planes: programs that call such a warp may look at them.
void EnsureScratch(MVS_Context *pCtx);
static inline uint32_t ScratchSize(int32_t lLumaSize) { return (uint32_t)Max32(lLumaSize / 2, 1); }

WarpPlane LumaPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);
WarpPlane PairPlane(const MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);
