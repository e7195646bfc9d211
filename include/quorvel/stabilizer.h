/*
 * Real-time video stabilization, one frame in, one steady frame out.
 *
 *     MVS_InitParam param = {3, 1280, 720, 1280, 720, QEL_MVS_FORMAT_NV21, 0};
 *     MVS_Context *stabilizer = QEL_MVS_CreateStabilizer(&param);
 *     if (stabilizer) {
 *         while (next_frame(input)) QEL_MVS_StabilizeFrame(stabilizer, input, output);
 *         QEL_MVS_DestroyStabilizer(stabilizer);
 *     }
 *
 * Every frame is measured against the one before, the camera's path is smoothed, and the output shows the
 * input moved (and in mode 3 rotated and zoomed) so that the shake is gone. There is no lookahead: a call
 * returns the stabilized form of the very frame it was given.
 *
 * A handle serves one stream and is used by one thread at a time; different handles are independent. A
 * frame call starts up to three helper threads, all of which have ended when it returns. Frames stay the
 * caller's; apart from QEL_MVS_StabilizeFrame_DiffBuffer and its kin, whose input the handle names until
 * the next call but never reads later, nothing of a frame is referred to after the call.
 *
 * Frames are 8-bit YUV 4:2:0 without padding: width x height bytes of luma, then the chroma. Chroma planes
 * are (width >> 1) x (height >> 1), a whole frame has (width * height * 3) >> 1 bytes.
 */
#ifndef QUORVEL_STABILIZER_H
#define QUORVEL_STABILIZER_H

#include <stdint.h>

#include "quorvel/export.h"

/* Colour formats.
 *
 * I420   luma, U plane at width * height, V plane a quarter of the luma size further on. In mode 3 the
 *        default leaves much of this format's chroma unmoved, see QEL_MVS_SetFullChroma.
 * NV21   luma, then one plane of interleaved V,U byte pairs in rows of `width` bytes.
 * NV21_SEPARATE   as NV21, with the interleaved plane in a buffer of its own; for
 *        QEL_MVS_StabilizeFrameSeparateBuffer only, the single-buffer calls return untouched. */
#define QEL_MVS_FORMAT_I420 0
#define QEL_MVS_FORMAT_NV21 1
#define QEL_MVS_FORMAT_NV21_SEPARATE 2

/* The stabilizer; only pointers to it are handed out. */
typedef struct MVS_Context MVS_Context;

typedef struct MVS_InitParam {
    int32_t lMode;      /* not read: a new handle is always in mode 3, see QEL_MVS_SetMode */
    int32_t lInWidth;   /* input size in pixels, 1..16384 each */
    int32_t lInHeight;
    int32_t lOutWidth;  /* output size in pixels, 2..16384 each */
    int32_t lOutHeight;
    int32_t lFormat;    /* QEL_MVS_FORMAT_..., of input and output */
    int32_t lReserved;  /* not read */
} MVS_InitParam;

typedef struct MVS_Version {
    int32_t lCodebase;
    int32_t lMajor;
    int32_t lMinor;
    int32_t lBuild;
    const char *Version;
    const char *BuildDate;
    const char *Copyright;
} MVS_Version;

/* Three frames for QEL_MVS_StabilizeFrameEx. */
typedef struct MVS_FrameTriple {
    const uint8_t *pCurrent;
    const uint8_t *pPrevious;
    uint8_t *pOutput;
} MVS_FrameTriple;

/* What the last frame's measurement found; filled by QEL_MVS_GetMotion. Translations are Q10 pixels
 * (1024 = one pixel), rotations Q16 radians (65536 = one radian); rows come before columns.
 *
 * The measured motion tells where the picture came from: the pixel at offset (dy, dx) from the centre lies
 * in the previous frame at (dy + row + theta * dx, dx + col - theta * dy) from there. The compensation
 * tells where the output is taken from in the same way: the crop is moved by (row, col) and turned by
 * theta before it is read. */
typedef struct MVS_MotionInfo {
    int32_t lSize;         /* in: sizeof(MVS_MotionInfo) as the caller was compiled */
    int32_t lFrameNumber;  /* frames taken so far; 1 after the first */
    int32_t bMeasured;     /* 1 when the motion of this frame could be measured */
    int32_t lMotionRow;    /* measured motion, 0 when not measured */
    int32_t lMotionCol;
    int32_t lMotionTheta;
    int32_t lCompRow;      /* compensation of this frame; where mode 2 only shifts, theta is not applied */
    int32_t lCompCol;
    int32_t lCompTheta;
    int32_t bShiftReliable; /* 0 when the last coarse whole-frame shift was in doubt; 1 before the first */
    int32_t lBlocksValid;  /* blocks whose own vector may be used */
    int32_t lBlocksKept;   /* of these, the blocks that agree with the frame's motion (modes 2 and 3) */
} MVS_MotionInfo;

/* ---- lifetime ---- */

/* A new stabilizer in mode 3, or null: null or impossible parameters (a side outside its range, or an odd
 * input or output width with NV21), or not enough memory.
 *
 * With equal input and output sizes the crop is 14/16 of each side, centred, zoomed back to full size. A
 * larger input gives its margin to the crop instead: from 1/16 of the input on each side there is no zoom.
 * Keep each margin below half the output side: beyond that the limit that holds the crop inside the input
 * loses its meaning, and frames may show repeated edges. */
QEL_API MVS_Context *QEL_MVS_CreateStabilizer(const MVS_InitParam *pParam);

/* Frees a stabilizer and all that it owns; null does nothing. */
QEL_API void QEL_MVS_DestroyStabilizer(MVS_Context *pCtx);

/* Copies the version record and returns pVersion; null returns null. The texts are static. */
QEL_API MVS_Version *QEL_MVS_GetVersion(MVS_Version *pVersion);

/* Derives the frame-size class and the coarse search ranges from a size in pixels. Creation does so with
 * the input size; call it again only to search as a frame of another size would be searched. */
QEL_API void QEL_MVS_AnalyzeHW(MVS_Context *pCtx, int32_t lWidth, int32_t lHeight);

/* ---- settings: 1 when done, 0 when a bad argument changed nothing ---- */

/* Selects what is compensated, before the first frame only:
 *   1  translation, by whole pixels and without resampling: the output is a crop of the input;
 *   2  as 1, and rotation when it is large enough to see (then the frame is resampled);
 *   3  translation and rotation with a zoom, the mode of a new handle.
 * Modes 1 and 2 need an input of at least 11/10 of the output, both ways. */
QEL_API int32_t QEL_MVS_SetMode(MVS_Context *pCtx, int32_t lMode);

/* With bFull = 1 every chroma sample of every format and size moves with its luma. Call it with 1 unless
 * the output must equal that of versions that knew only the default, 0, under which mode 3
 *   - leaves the chroma of I420 as the output buffer held it when the output is below 320 x 240;
 *   - warps the chroma of I420 from there on as if it were one plane of interleaved pairs (colours are
 *     wrong) when the sizes are equal and the height is a multiple of 8;
 *   - at other heights moves (height >> 3) * 4 chroma rows and leaves the rows below: as the output buffer
 *     held them with I420, grey (128) with NV21. */
QEL_API int32_t QEL_MVS_SetFullChroma(MVS_Context *pCtx, int32_t bFull);

/* Reads the last frame's motion. Set pInfo->lSize first: with a size smaller than the first version of the
 * record nothing is written and the result is 0; a larger one is for records of later versions, the part
 * that this version does not know is left as it was. */
QEL_API int32_t QEL_MVS_GetMotion(const MVS_Context *pCtx, MVS_MotionInfo *pInfo);

/* ---- frames ----
 *
 * All of them return without touching a frame when a handle or frame is null or the handle's format is not
 * theirs, and when the memory that a handle's first frame needs cannot be had (the next call tries again).
 * Input frames have the input size, output frames the output size; a frame stabilized in place has the
 * larger of the two. Otherwise buffers must not overlap. */

/* In place when pIn == pOut, else pIn is only read. I420 and NV21. */
QEL_API void QEL_MVS_StabilizeFrame(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);

/* As above, with the left lSplit columns (rounded down to an even number) showing the unstabilized frame,
 * when input and output sizes are equal and 1 <= lSplit < width. */
QEL_API void QEL_MVS_StabilizeFrameSplitterShow(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut,
                                                int32_t lSplit);

/* Luma and chroma by separate pointers, in place when both pairs are equal. Only NV21_SEPARATE reads the
 * chroma pointers; I420 and NV21 frames are whole frames at the luma pointers. */
QEL_API void QEL_MVS_StabilizeFrameSeparateBuffer(MVS_Context *pCtx, const uint8_t *pInY,
                                                  const uint8_t *pInUV, uint8_t *pOutY, uint8_t *pOutUV);

/* The caller keeps all three frames, the previous one too (it may be null at the first call). Nothing is
 * copied and no chroma converted. I420 fares as with the other calls. NV21 chroma comes out right in mode 3
 * where that needs no conversion: a height that is a multiple of 8, an output below 320 x 240, or unequal
 * sizes; at other heights, and where mode 2 rotates, it is left as it was, and a shift (modes 1 and 2) takes
 * it for two planes. Frames of every format, NV21_SEPARATE too, are whole frames of luma and chroma here. */
QEL_API void QEL_MVS_StabilizeFrameEx(MVS_Context *pCtx, const MVS_FrameTriple *pFrames);

/* The calls that the ones above choose between. */
QEL_API void QEL_MVS_StabilizeFrame_SameBuffer(MVS_Context *pCtx, uint8_t *pFrame);
QEL_API void QEL_MVS_StabilizeFrame_DiffBuffer(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);
QEL_API void QEL_MVS_StabilizeFrame_SameBufferSplitterShow(MVS_Context *pCtx, uint8_t *pFrame,
                                                           int32_t lSplit);
QEL_API void QEL_MVS_StabilizeFrame_DiffBufferSplitterShow(MVS_Context *pCtx, const uint8_t *pIn,
                                                           uint8_t *pOut, int32_t lSplit);
QEL_API void QEL_MVS_StabilizeFrame_Separate_SameBuffer(MVS_Context *pCtx, uint8_t *pY, uint8_t *pUV);
QEL_API void QEL_MVS_StabilizeFrame_Separate_DiffBuffer(MVS_Context *pCtx, const uint8_t *pInY,
                                                        const uint8_t *pInUV, uint8_t *pOutY,
                                                        uint8_t *pOutUV);

/* ---- helpers ---- */

/* Copies the left lSplit columns (rounded down to an even number) of three planes; planes are packed,
 * chroma planes are (width >> 1) x (height >> 1). Nothing happens unless width > lSplit >= 1 and
 * lDirection is 0. */
QEL_API void QEL_MVS_SplitterShow(const uint8_t *pSrcY, const uint8_t *pSrcU, const uint8_t *pSrcV,
                                  uint8_t *pDstY, uint8_t *pDstU, uint8_t *pDstV, int32_t lWidth,
                                  int32_t lHeight, int32_t lSplit, int32_t lDirection);

/* Interleaved V,U pairs to packed U and V planes and back; sizes in chroma samples. */
QEL_API void UV_NV21_to_I420(uint8_t *pDstU, uint8_t *pDstV, const uint8_t *pSrcVU, int32_t lWidth,
                             int32_t lHeight);
QEL_API void UV_I420_to_NV21(const uint8_t *pSrcU, const uint8_t *pSrcV, uint8_t *pDstVU, int32_t lWidth,
                             int32_t lHeight);

#endif
