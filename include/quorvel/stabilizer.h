/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * Real-time video stabilization, one frame in, one steady frame out.
 *
 * @code
 * MVS_InitParam param = {3, 1280, 720, 1280, 720, QEL_MVS_FORMAT_NV21, 0};
 * MVS_Context *stabilizer = QEL_MVS_CreateStabilizer(&param);
 * if (stabilizer) {
 *     while (next_frame(input)) QEL_MVS_StabilizeFrame(stabilizer, input, output);
 *     QEL_MVS_DestroyStabilizer(stabilizer);
 * }
 * @endcode
 *
 * Every frame is measured against the one before, the camera's path is smoothed, and the output shows
 * the input moved (and in mode 3 rotated and zoomed) so that the shake is gone. There is no lookahead:
 * a call returns the stabilized form of the very frame it was given.
 *
 * Threads. A handle serves one stream and is used by one thread at a time; different handles are
 * independent. A frame call starts up to three helper threads at a time, all of which have ended when
 * it returns. What it computes does not depend on how many could be started, nor on the processor.
 *
 * Lifetime. Frames stay the caller's; apart from QEL_MVS_StabilizeFrame_DiffBuffer and its kin, whose
 * input the handle names until the next call but never reads later, nothing of a frame is referred to
 * after the call. Parameter records are copied.
 *
 * Errors. Creation gives null, settings give 0, and a frame call that cannot do its work returns
 * without touching a frame; nothing is written to a log.
 *
 * Shapes. Frames are 8-bit YUV 4:2:0 without padding: width x height bytes of luma, then the chroma.
 * Chroma planes are (width >> 1) x (height >> 1), a whole frame has (width * height * 3) >> 1 bytes. No
 * alignment is asked for.
 *
 * Units. Sizes are pixels. Translations are Q10 pixels (1024 = one pixel), rotations Q16 radians (65536
 * = one radian); rows come before columns, and grow downwards.
 */
#ifndef QUORVEL_STABILIZER_H
#define QUORVEL_STABILIZER_H

#include <stdint.h>

#include "quorvel/export.h"
#include "quorvel/version.h"

/**
 * @name Colour formats
 *
 * The order of U and V does not matter to a stabilizer, it moves both alike: V before U (as in YV12)
 * passes for I420, pairs with U first (as in NV12) pass for NV21, and they come out as they went in.
 * @{ */
/** Luma, U plane at width * height, V plane a quarter of the luma size further on. In mode 3 the
 * default leaves much of this format's chroma unmoved, see QEL_MVS_SetFullChroma. */
#define QEL_MVS_FORMAT_I420 0
/** Luma, then one plane of interleaved V,U byte pairs in rows of `width` bytes. Widths are even. */
#define QEL_MVS_FORMAT_NV21 1
/** As NV21, with the interleaved plane in a buffer of its own; for QEL_MVS_StabilizeFrameSeparateBuffer
 * and its two forms only, the single-buffer calls return untouched. */
#define QEL_MVS_FORMAT_NV21_SEPARATE 2
/** @} */

/** The stabilizer; only pointers to it are handed out. */
typedef struct MVS_Context MVS_Context;

/** What a stabilizer is made for; it keeps both sizes and the format for life. */
typedef struct MVS_InitParam {
    int32_t lMode;      /**< not read: a new handle is always in mode 3, see QEL_MVS_SetMode */
    int32_t lInWidth;   /**< input width in pixels, 1..16384 */
    int32_t lInHeight;  /**< input height in pixels, 1..16384 */
    int32_t lOutWidth;  /**< output width in pixels, 2..16384 */
    int32_t lOutHeight; /**< output height in pixels, 2..16384 */
    int32_t lFormat;    /**< QEL_MVS_FORMAT_..., of input and output */
    int32_t lReserved;  /**< not read */
} MVS_InitParam;

/** Version record of the interface. */
typedef struct MVS_Version {
    int32_t lCodebase;     /**< first number of the version */
    int32_t lMajor;        /**< second number */
    int32_t lMinor;        /**< third number, down to thousands: the text has it whole */
    int32_t lBuild;        /**< last number */
    const char *Version;   /**< product name and version, static */
    const char *BuildDate; /**< month/day/year, static */
    const char *Copyright; /**< static */
} MVS_Version;

/** Three frames for QEL_MVS_StabilizeFrameEx. */
typedef struct MVS_FrameTriple {
    const uint8_t *pCurrent;  /**< the frame to be stabilized, of the input size */
    const uint8_t *pPrevious; /**< the input frame before it; read from the second call on */
    uint8_t *pOutput;         /**< where the stabilized frame goes, of the output size */
} MVS_FrameTriple;

/**
 * What the last frame's measurement found; filled by QEL_MVS_GetMotion. Translations are Q10 pixels
 * (1024 = one pixel), rotations Q16 radians (65536 = one radian); rows come before columns.
 *
 * The measured motion tells where the picture came from: the pixel at offset (dy, dx) from the centre
 * lies in the previous frame at (dy + row + theta * dx, dx + col - theta * dy) from there. The
 * compensation tells where the output is taken from in the same way: the crop is moved by (row, col)
 * and turned by theta before it is read. The measured motions summed up are the camera's path, and the
 * path that the output shows is that sum plus the compensation.
 */
typedef struct MVS_MotionInfo {
    int32_t lSize;        /**< in: sizeof(MVS_MotionInfo) as the caller was compiled */
    int32_t lFrameNumber; /**< frames taken so far; 1 after the first */
    int32_t bMeasured;    /**< 1 when the motion of this frame could be measured */
    int32_t lMotionRow;   /**< measured motion, Q10 pixels; 0 when not measured */
    int32_t lMotionCol;   /**< measured motion, Q10 pixels; 0 when not measured */
    int32_t lMotionTheta; /**< measured rotation, Q16 radians; 0 when not measured, and in mode 1 */
    int32_t lCompRow;     /**< compensation of this frame, Q10 pixels */
    int32_t lCompCol;     /**< compensation of this frame, Q10 pixels */
    int32_t lCompTheta; /**< compensating rotation, Q16 radians; not applied where mode 2 only shifts */
    int32_t bShiftReliable; /**< 0 when the last coarse whole-frame shift was in doubt; 1 before the
                               first */
    int32_t lBlocksValid;   /**< blocks whose own vector may be used */
    int32_t lBlocksKept; /**< of these, the blocks that agree with the frame's motion (modes 2 and 3) */
} MVS_MotionInfo;

/**
 * @name Lifetime
 * @{ */

/**
 * Creates a stabilizer in mode 3.
 *
 * With equal input and output sizes the crop is 14/16 of each side, centred, zoomed back to full size.
 * A larger input gives its margin to the crop instead: there is no zoom when the margin on each side,
 * (input - output) >> 1, is above 1/16 of the input's width and at least 1/16 of its height. Else the
 * axis that needs the larger zoom decides for both. Keep each margin below half the output side: beyond
 * that the limit that holds the crop inside the input loses its meaning, and frames may show repeated
 * edges.
 *
 * The handle allocates its working memory here, except for its copies of frames (one of the input size,
 * two when frames are stabilized in place), which come with the first frame call.
 *
 * @param pParam sizes and format, copied
 * @return the handle, or null: null or impossible parameters (a side outside its range, or an odd input
 * or output width with NV21), or not enough memory. Release it with QEL_MVS_DestroyStabilizer.
 */
QEL_API MVS_Context *QEL_MVS_CreateStabilizer(const MVS_InitParam *pParam);

/**
 * Frees a stabilizer and all that it owns.
 *
 * @param pCtx the handle, not in use by any thread; null does nothing
 */
QEL_API void QEL_MVS_DestroyStabilizer(MVS_Context *pCtx);

/**
 * Copies the version record. Any thread may call it at any time.
 *
 * Its texts name the interface and never change; QUORVEL_VERSION is the version of the package.
 *
 * @param pVersion filled in; its texts are static
 * @return pVersion; null for null
 */
QEL_API MVS_Version *QEL_MVS_GetVersion(MVS_Version *pVersion);

/**
 * Derives the frame-size class and the coarse search ranges from a size.
 *
 * Creation does so with the input size; call it again only to search as a frame of another size would
 * be searched. The ranges are how far a picture may jump from frame to frame: an eighth of the longer
 * and a sixth of the shorter side, down to the next of 240, 160, 80, 40 and 24 pixels, and 16 below.
 *
 * @param pCtx the handle; null does nothing
 * @param lWidth pixels
 * @param lHeight pixels
 */
QEL_API void QEL_MVS_AnalyzeHW(MVS_Context *pCtx, int32_t lWidth, int32_t lHeight);

/** @} */
/**
 * @name Settings and state
 * 1 when done, 0 when a bad argument changed nothing.
 * @{ */

/**
 * Selects what is compensated; before the first frame only.
 *
 *   - 1: translation, by whole pixels and without resampling: the output is a crop of the input;
 *   - 2: as 1, and rotation when it is large enough to see (then the frame is resampled);
 *   - 3: translation and rotation with a zoom, the mode of a new handle.
 *
 * @param pCtx the handle
 * @param lMode 1..3; modes 1 and 2 need an input of at least 11/10 of the output, both ways
 * @return 1, or 0: null handle, no such mode, input too small for it, or frames have been taken
 */
QEL_API int32_t QEL_MVS_SetMode(MVS_Context *pCtx, int32_t lMode);

/**
 * Has every chroma sample of every format and size move with its luma. At any time, from the next frame
 * on.
 *
 * Call it with 1 unless the output must equal that of versions that knew only the default, 0, under
 * which mode 3
 *   - leaves the chroma of I420 as the output buffer held it when the output is below 320 x 240;
 *   - warps the chroma of I420 from there on as if it were one plane of interleaved pairs (colours are
 *     wrong) when the sizes are equal and the height is a multiple of 8;
 *   - at other heights moves (height >> 3) * 4 chroma rows and leaves the rows below: as the output
 * buffer held them with I420, grey (128) with NV21.
 *
 * @param pCtx the handle
 * @param bFull 0 or 1
 * @return 1, or 0: null handle or another value
 */
QEL_API int32_t QEL_MVS_SetFullChroma(MVS_Context *pCtx, int32_t bFull);

/**
 * Limits the threads of a frame. At any time, from the next frame on.
 *
 * The result does not depend on it. By default a frame gets a thread for each 491,520 bytes of input
 * luma (two from 1280 x 768 on), at most four, and no more than the cores that the calling thread may
 * run on. Choose 1 where the caller's cores are spoken for, or where a frame must not start threads.
 *
 * @param pCtx the handle
 * @param lThreads 0: the default; 1: the calling thread alone; 2..4: the default, but at most so many
 * @return 1, or 0: null handle or another number
 */
QEL_API int32_t QEL_MVS_SetThreads(MVS_Context *pCtx, int32_t lThreads);

/**
 * Reads the last frame's motion.
 *
 * @code
 * MVS_MotionInfo motion = {0};
 * motion.lSize = (int32_t)sizeof(motion);
 * if (QEL_MVS_GetMotion(stabilizer, &motion) && motion.bMeasured)
 *     printf("%.2f rows, %.2f columns\n", motion.lMotionRow / 1024.0, motion.lMotionCol / 1024.0);
 * @endcode
 *
 * @param pCtx the handle
 * @param pInfo filled in; set its lSize first. A larger size than this version's is for records of
 * later versions, and the part that this version does not know is left as it was.
 * @return 1, or 0 with nothing written: null arguments, or a size below that of the first version of
 * the record
 */
QEL_API int32_t QEL_MVS_GetMotion(const MVS_Context *pCtx, MVS_MotionInfo *pInfo);

/** @} */
/**
 * @name Frames
 *
 * All of them return without touching a frame when a handle or frame is null or the handle's format is
 * not theirs, and when the memory that a handle's first frame needs cannot be had (the next call tries
 * again). Input frames have the input size, output frames the output size; a frame stabilized in place
 * has the larger of the two. Otherwise buffers must not overlap.
 *
 * The first frame has nothing to be measured against and is only cropped. So is a frame whose motion
 * cannot be measured, after which the path starts anew.
 * @{ */

/**
 * Stabilizes the next frame of a stream; I420 and NV21.
 *
 * @param pCtx the handle
 * @param pIn the input frame; only read, unless it is the output too
 * @param pOut the output frame; in place when it equals pIn
 */
QEL_API void QEL_MVS_StabilizeFrame(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);

/**
 * QEL_MVS_StabilizeFrame, with the left columns showing the unstabilized frame.
 *
 * They do so when input and output sizes are equal and 1 <= lSplit < width; else the call is the plain
 * one.
 *
 * @param pCtx the handle
 * @param pIn the input frame
 * @param pOut the output frame; in place when it equals pIn
 * @param lSplit columns, rounded down to an even number
 */
QEL_API void QEL_MVS_StabilizeFrameSplitterShow(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut,
                                                int32_t lSplit);

/**
 * Stabilizes a frame whose luma and chroma come by separate pointers; in place when both pairs are
 * equal.
 *
 * Only NV21_SEPARATE reads the chroma pointers; I420 and NV21 frames are whole frames at the luma
 * pointers.
 *
 * @param pCtx the handle
 * @param pInY input luma, width * height bytes (I420, NV21: the frame)
 * @param pInUV input pairs, width * (height >> 1) bytes
 * @param pOutY output luma (I420, NV21: the frame)
 * @param pOutUV output pairs
 */
QEL_API void QEL_MVS_StabilizeFrameSeparateBuffer(MVS_Context *pCtx, const uint8_t *pInY,
                                                  const uint8_t *pInUV, uint8_t *pOutY,
                                                  uint8_t *pOutUV);

/**
 * Stabilizes a frame with all three frames kept by the caller, the previous one too.
 *
 * Nothing is copied and no chroma converted. I420 fares as with the other calls. NV21 chroma comes out
 * right in mode 3 where that needs no conversion: a height that is a multiple of 8, an output below
 * 320 x 240, or unequal sizes; at other heights, and where mode 2 rotates, it is left as it was, and a
 * shift (modes 1 and 2) takes it for two planes. Frames of every format, NV21_SEPARATE too, are whole
 * frames of luma and chroma here.
 *
 * @param pCtx the handle
 * @param pFrames the frames; pPrevious may be null at the first call. The output overlaps neither
 * input.
 */
QEL_API void QEL_MVS_StabilizeFrameEx(MVS_Context *pCtx, const MVS_FrameTriple *pFrames);

/**
 * QEL_MVS_StabilizeFrame in place.
 *
 * @param pCtx the handle
 * @param pFrame input and output frame
 */
QEL_API void QEL_MVS_StabilizeFrame_SameBuffer(MVS_Context *pCtx, uint8_t *pFrame);

/**
 * QEL_MVS_StabilizeFrame from one buffer to another.
 *
 * @param pCtx the handle
 * @param pIn the input frame, only read
 * @param pOut the output frame
 */
QEL_API void QEL_MVS_StabilizeFrame_DiffBuffer(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut);

/**
 * QEL_MVS_StabilizeFrameSplitterShow in place.
 *
 * @param pCtx the handle
 * @param pFrame input and output frame
 * @param lSplit columns that show the unstabilized frame
 */
QEL_API void QEL_MVS_StabilizeFrame_SameBufferSplitterShow(MVS_Context *pCtx, uint8_t *pFrame,
                                                           int32_t lSplit);

/**
 * QEL_MVS_StabilizeFrameSplitterShow from one buffer to another.
 *
 * @param pCtx the handle
 * @param pIn the input frame, only read
 * @param pOut the output frame
 * @param lSplit columns that show the unstabilized frame
 */
QEL_API void QEL_MVS_StabilizeFrame_DiffBufferSplitterShow(MVS_Context *pCtx, const uint8_t *pIn,
                                                           uint8_t *pOut, int32_t lSplit);

/**
 * QEL_MVS_StabilizeFrameSeparateBuffer in place.
 *
 * @param pCtx the handle
 * @param pY luma, or the frame
 * @param pUV pairs
 */
QEL_API void QEL_MVS_StabilizeFrame_Separate_SameBuffer(MVS_Context *pCtx, uint8_t *pY, uint8_t *pUV);

/**
 * QEL_MVS_StabilizeFrameSeparateBuffer from one buffer to another.
 *
 * @param pCtx the handle
 * @param pInY input luma, or the frame; only read
 * @param pInUV input pairs, only read
 * @param pOutY output luma, or the frame
 * @param pOutUV output pairs
 */
QEL_API void QEL_MVS_StabilizeFrame_Separate_DiffBuffer(MVS_Context *pCtx, const uint8_t *pInY,
                                                        const uint8_t *pInUV, uint8_t *pOutY,
                                                        uint8_t *pOutUV);

/** @} */
/**
 * @name Helpers
 * Without a handle: any thread, any time, on different buffers. Null pointers: nothing happens.
 * @{ */

/**
 * Copies the left columns of three planes.
 *
 * Planes are packed, chroma planes are (width >> 1) x (height >> 1). Nothing happens unless
 * width > lSplit >= 1 and lDirection is 0.
 *
 * @param pSrcY source luma
 * @param pSrcU source U
 * @param pSrcV source V
 * @param pDstY destination luma; may be the source, as may the others
 * @param pDstU destination U
 * @param pDstV destination V
 * @param lWidth pixels
 * @param lHeight pixels
 * @param lSplit columns, rounded down to an even number
 * @param lDirection 0
 */
QEL_API void QEL_MVS_SplitterShow(const uint8_t *pSrcY, const uint8_t *pSrcU, const uint8_t *pSrcV,
                                  uint8_t *pDstY, uint8_t *pDstU, uint8_t *pDstV, int32_t lWidth,
                                  int32_t lHeight, int32_t lSplit, int32_t lDirection);

/**
 * Interleaved V,U pairs to packed U and V planes.
 *
 * @param pDstU U samples, lWidth * lHeight
 * @param pDstV V samples, lWidth * lHeight
 * @param pSrcVU pairs, 2 * lWidth * lHeight bytes, apart from both planes
 * @param lWidth chroma samples a row
 * @param lHeight chroma rows; sizes below 1: nothing happens
 */
QEL_API void UV_NV21_to_I420(uint8_t *pDstU, uint8_t *pDstV, const uint8_t *pSrcVU, int32_t lWidth,
                             int32_t lHeight);

/**
 * Packed U and V planes to interleaved V,U pairs.
 *
 * @param pSrcU U samples, lWidth * lHeight
 * @param pSrcV V samples, lWidth * lHeight
 * @param pDstVU pairs, 2 * lWidth * lHeight bytes, apart from both planes
 * @param lWidth chroma samples a row
 * @param lHeight chroma rows; sizes below 1: nothing happens
 */
QEL_API void UV_I420_to_NV21(const uint8_t *pSrcU, const uint8_t *pSrcV, uint8_t *pDstVU,
                             int32_t lWidth, int32_t lHeight);

/** @} */

#endif
