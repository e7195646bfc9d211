// SPDX-License-Identifier: BSD-2-Clause
// The record that all stages share: the first argument of every stage, with its input and output.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "platform/thread_policy.h"
#include "quorvel/stabilizer.h"

struct Kernels;
struct Refined;
struct Workers;

// Motion of one block in whole pixels: what is at (y, x) in the current frame was at (y + lMvRow, x +
// lMvCol) in the previous one.
struct MVS_BlockMV {
    int32_t bValid;
    int32_t lMvRow;
    int32_t lMvCol;
};

static inline int32_t CountValid(const MVS_BlockMV *pBlockMV, int32_t lBlocks) {
    int32_t lCount = 0;
    for (int32_t i = 0; i < lBlocks; i++) lCount += pBlockMV[i].bValid != 0;
    return lCount;
}

// A motion of the whole frame: translations in Q10 pixels, rotation in Q16 radians.
struct MVS_MotionTriple {
    int32_t lRow;
    int32_t lCol;
    int32_t lTheta;
};

// Result of the translation estimate, Q10 pixels unless its function says otherwise.
struct MVS_ShiftTriple {
    int32_t lShiftRow;
    int32_t lShiftCol;
    int32_t bShiftValid;
};

// Result of the rotation search: the model and its error in Q10 square pixels.
struct MVS_ThetaFit {
    int32_t lShiftRow;
    int32_t lShiftCol;
    int32_t lTheta;
    int32_t lError;
};

// One axis of the smoother, a filter of position and velocity. Positions are Q10 pixels (Q16 radians
// for the rotation) within +-262142; covariances carry 10 more fractional bits than a squared position.
struct KalmanState {
    int64_t llPos; // smoothed path
    int64_t llVel; // its change per frame
    int64_t llProcNoise;
    int64_t llProcNoise2; // (unused)
    int64_t llMeasNoise;
    int64_t llMeasPos; // measured path: the sum of all motion since the last reset
    int64_t llP00;
    int64_t llP01;
    int64_t llP10;
    int64_t llP11;
    int64_t llDevLimit; // deviation at which the filter gives up smoothing
};

// Nothing reads the histories, margins and spare words below: they keep the other words at their
// offsets.
struct KalmanHistory {
    int32_t lHistory[60];
    int32_t lHistoryEnd;
};

struct KalmanAxisLong {
    KalmanState st;
    int64_t llMargin7_8;
    int64_t llMargin11_16;
    int64_t llMarginHalf;
    int64_t llMarginQuarter;
    KalmanHistory stHistory;
};

struct KalmanAxisShort {
    KalmanState st;
    int64_t llMarginRaw;
    KalmanHistory stHistory;
};

struct KalmanSideBlock {
    KalmanAxisLong stAxisRow;
    KalmanAxisLong stAxisCol;
    KalmanAxisShort stAxisTheta;
    int32_t lSpare[6];
    int32_t lPredictModeRow; // 1: position alone is predicted; 2: with the velocity added
    int32_t lPredictModeCol;
    int32_t lPredictModeTheta;
    int32_t lSpare30[2];
    int32_t lAdaptCountdown; // frames until the gains are reconsidered
    int32_t lGainShiftRow;   // right shift of the gain product: 13 is the full gain, one more halves it
    int32_t lGainShiftCol;
    int32_t lGainShiftTheta;
    int32_t bFollowMode; // 1 while the smoothed path follows the measured one at full gain
};

// Programs read the words up to pSideBlock by offset, so these offsets do not change. Nothing reads
// the words marked (unused). Each group says who writes it.
struct MVS_Context {
    // src/motion/ the records, src/model/ their validity
    int32_t lBlockNum;
    MVS_BlockMV *pBlockMV;
    int32_t lMotionWords[6]; // (unused)
    // Measured motion: src/motion/ the coarse shift, in whole pixels and with the opposite sign, until
    // src/model/ puts the frame's motion in its place, Q10.
    int32_t lCurMotionRow;
    int32_t lCurMotionCol;
    int32_t lCurMotionTheta;
    // compensation of the frame: src/smooth/, src/pipeline/ for frames without one
    int32_t lCompRow;
    int32_t lCompCol;
    int32_t lCompTheta;
    int32_t lMode;           // src/api/handle.cpp
    int32_t lShiftSampleNum; // src/motion/
    // src/api/handle.cpp
    int32_t lInWidth;
    int32_t lInHeight;
    int32_t lOutWidth;
    int32_t lOutHeight;
    int32_t lFrameCount; // src/pipeline/
    int32_t lCropX;
    int32_t lCropY;
    int32_t lZoomScale; // output over input, Q10
    int32_t lZoomStep;  // input pixels per output pixel, Q10
    // src/api/previous_frame.cpp and frame_call.cpp
    uint8_t *pPrevFrame;
    const uint8_t *pCurFrame; // the working copy, or the caller's input frame
    int32_t lUnused28;        // (unused)
    uint8_t *pOutFrame;
    // src/api/handle.cpp
    int32_t lInLumaSize;
    uint32_t lInFrameSize;
    int32_t lOutLumaSize;
    uint32_t lOutFrameSize;
    // src/model/
    int32_t *pRowProj; // histograms of the block vectors: bin k counts the component k - side
    int32_t lRowProjLen;
    int32_t *pColProj;
    int32_t lColProjLen;
    // motion of the frame before: src/pipeline/
    int32_t lPrevRow;
    int32_t lPrevCol;
    int32_t lPrevTheta;
    // src/api/handle.cpp, the shift's words src/motion/
    int32_t lInFormat;
    int32_t lOutFormat;
    const uint8_t *pShiftPrevFrame;
    int32_t lUnused44; // (unused)
    int32_t lShiftMeanDiff;
    int32_t bSameBuffer;
    int32_t lSizeLevel;   // 1 (smallest) .. 5
    int32_t lShiftRangeX; // coarse search range and unsampled margin, 16 .. 240 pixels
    int32_t lShiftRangeY;
    int32_t bShiftReliable;
    int32_t lUnused51[52]; // (unused)
    // src/api/
    uint8_t *pPitchInFrame;
    uint8_t *pScratchInV;
    uint8_t *pScratchInU;
    uint8_t *pPitchOutFrame;
    uint8_t *pScratchOutV;
    uint8_t *pScratchOutU;
    int32_t lPitch0;
    int32_t lPitch1;
    int32_t lPitch2;
    KalmanSideBlock *pSideBlock;

    // Made with the handle.
    const Kernels *pKernels; // of the instruction set that the handle uses
    Workers *pWorkers;
    void *pEvent;          // lock of the shares of a frame's tasks
    uint8_t *pSamples;     // the coarse search's samples of the current frame
    uint32_t lSampleRoom;  // room for them
    int32_t *pRowProgress; // blocks done in each row of 32-pixel blocks, kProgressStride words apart
    ThreadPolicy stThreads;
    Refined *pRefined; // null: the ordinary path

    // State of a frame call, set when it begins and cleared when it ends. Stage functions that are
    // called outside of a frame find it cleared.
    int32_t bInFrame;         // tasks use the workers, lock and sample buffer of the handle
    int32_t bChromaInScratch; // the chroma is in the scratch planes and only there
    const uint8_t *pInPairs;  // pairs that are warped without being taken apart; null: none
    uint8_t *pOutPairs;       // and where they go

    // From frame to frame.
    uint8_t *pOwnFrame; // copy of a frame in place; pCurFrame may point elsewhere
    int32_t bFullChroma;
    int32_t bScratchGrey;      // the scratch planes are grey, see EnsureScratch
    int32_t lFrameMotionValid; // what the last frame measured, for QEL_MVS_GetMotion
    MVS_MotionTriple stFrameMotion;
    int32_t lBlocksValid;
    int32_t lBlocksKept;
};

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(offsetof(MVS_Context, pSideBlock) == 444, "112 words of 32 bits");
#endif

// A cache line for each row's progress, because different threads write them at the same time.
const int32_t kProgressStride = 16;

// Plane geometry. V of a planar frame is a quarter of the luma size after U, even where odd sides
// leave a gap between the planes.
static inline int32_t InChromaWidth(const MVS_Context *pCtx) { return pCtx->lInWidth >> 1; }
static inline int32_t InChromaHeight(const MVS_Context *pCtx) { return pCtx->lInHeight >> 1; }
static inline int32_t OutChromaWidth(const MVS_Context *pCtx) { return pCtx->lOutWidth >> 1; }
static inline int32_t OutChromaHeight(const MVS_Context *pCtx) { return pCtx->lOutHeight >> 1; }

static inline bool IsSemiPlanar(int32_t lFormat) {
    return lFormat == QEL_MVS_FORMAT_NV21 || lFormat == QEL_MVS_FORMAT_NV21_SEPARATE;
}
