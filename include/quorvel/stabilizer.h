/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * Real-time video stabilization: one frame in, one steady frame out.
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
 * Each frame is compared with the one before it. The camera's path is smoothed, and the output
 * shows the input moved (in mode 3 also rotated and zoomed) so that the shake is gone. There is no
 * lookahead: a call returns the stabilized form of the frame that it was given.
 *
 * Cuts. A frame counts as not measured, and the path starts anew, only when it differs strongly from
 * the frame before at every shift that was tried. Many cuts differ less: they are measured as a
 * motion, the crop jumps by up to its margin, and it takes seconds to return. In the dark, noise may
 * be measured as motion, so that the crop wanders. At a cut that you know of, destroy the handle and
 * create another one.
 *
 * Roll. Small errors of the measured rotation add up, and the picture follows their sum with a lag.
 * Where they all go one way, the picture stays tilted. lCompTheta of MVS_MotionInfo shows by how much;
 * its limit is 5 degrees or more, depending on the margins. A new handle starts level, but the picture
 * jumps there, so change handles at a cut or a pause. Mode 1 does not turn the picture.
 *
 * Threads. A handle serves one stream. One thread at a time may use it, not necessarily always the
 * same one; different handles are independent. A frame call starts up to three helper threads, and
 * all of them have ended when it returns. Between two calls a handle has no threads, so a program
 * may fork there, and both processes may go on with the handle. The helpers block every signal
 * except SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP and SIGSYS. A thread that is cancelled
 * during a frame call ends after the call. A frame call needs less than 16 KB of the caller's
 * stack. The output depends neither on the number of threads nor on the processor.
 *
 * Lifetime. Frames stay the caller's: none is read or written after the call that was given it.
 * Parameter records are copied.
 *
 * Errors. Creation returns null, settings return 0, and a frame call that cannot do its work
 * returns without touching a frame. Nothing is logged.
 *
 * Shapes. Frames are 8-bit YUV 4:2:0 without padding: width x height bytes of luma, then the
 * chroma. Chroma planes are (width >> 1) x (height >> 1) samples, and a whole frame has (width *
 * height * 3) >> 1 bytes. Where odd sides leave bytes between U and V, these are not written. Buffers
 * need no alignment.
 *
 * Units. Sizes are pixels. Translations are Q10 pixels (1024 = one pixel), rotations Q16 radians
 * (65536 = one radian). Rows come before columns and grow downwards.
 */
#ifndef QUORVEL_STABILIZER_H
#define QUORVEL_STABILIZER_H

#include <stdint.h>

#include "quorvel/export.h"
#include "quorvel/version.h"

/**
 * @name Colour formats
 *
 * U and V are moved alike, so their order does not matter: YV12 (V before U) can be passed as I420
 * and NV12 (U first) as NV21, and they come out as they went in.
 * @{ */
/** Luma, the U plane at offset width * height, and the V plane (width * height) >> 2 bytes after
 * it. Call QEL_MVS_SetFullChroma with 1 for this format. */
#define QEL_MVS_FORMAT_I420 0
/** Luma, then one plane of interleaved V,U byte pairs in rows of `width` bytes. Widths are even. */
#define QEL_MVS_FORMAT_NV21 1
/** As NV21, with the interleaved plane in a buffer of its own. QEL_MVS_StabilizeFrameSeparateBuffer
 * and its two forms take it; the calls with one pointer a frame return without touching it. */
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
    int32_t lFormat;    /**< QEL_MVS_FORMAT_..., of input and output. Creation accepts other values
                         * too, but frame calls then touch no frame, except for
                         * QEL_MVS_StabilizeFrameEx, which takes frames for I420 */
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
 * Motion and compensation of the last frame; filled in by QEL_MVS_GetMotion.
 *
 * The measured motion points back into the previous frame: the pixel at offset (dy, dx) from the
 * centre was at offset (dy + row + theta * dx, dx + col - theta * dy) there. The compensation moves
 * the crop in the same way, by (row, col) and theta. The sum of the measured motions is the
 * camera's path. That sum plus the compensation of a frame is the path that the output shows.
 *
 * bShiftReliable is 0 after a coarse shift that failed, or that was accepted across a change of
 * brightness of more than 11 grey levels, and 1 after a good one. A shift that only the last and
 * loosest attempt of the search accepts leaves the value of an earlier frame: it may stay 0 after a
 * flash though nothing disturbs the frames any more, and it may stay 1 at a cut.
 */
typedef struct MVS_MotionInfo {
    int32_t lSize;          /**< in: sizeof(MVS_MotionInfo) */
    int32_t lFrameNumber;   /**< frames taken so far; 1 after the first. Frame calls return nothing:
                             * this number has grown when a call has taken its frame */
    int32_t bMeasured;      /**< 1 when a motion was measured. That is so at many cuts too: few
                             * lBlocksKept of many lBlocksValid are a sign of one */
    int32_t lMotionRow;     /**< measured motion, Q10 pixels; 0 when not measured */
    int32_t lMotionCol;     /**< measured motion, Q10 pixels; 0 when not measured */
    int32_t lMotionTheta;   /**< measured rotation, Q16 radians; 0 when not measured, and in mode 1 */
    int32_t lCompRow;       /**< compensation of this frame, Q10 pixels */
    int32_t lCompCol;       /**< compensation of this frame, Q10 pixels */
    int32_t lCompTheta;     /**< compensating rotation, Q16 radians; unused where mode 2 only shifts */
    int32_t bShiftReliable; /**< 0 when the coarse shift is in doubt, see above; 1 before the first */
    int32_t lBlocksValid;   /**< blocks with a usable vector */
    int32_t lBlocksKept;    /**< of these, the inliers of the frame's motion; all of them in mode 1.
                             * 0: the picture shows nothing to follow */
} MVS_MotionInfo;

/**
 * @name Lifetime
 * @{ */

/**
 * Creates a stabilizer in mode 3.
 *
 * With equal sizes the crop is the middle 14/16 of each side, zoomed back to full size. A larger
 * input brings a margin of its own, (input - output) >> 1 on each side. Nothing is zoomed when that
 * margin is above 1/16 of the input's width and at least 1/16 of its height; otherwise the axis
 * that needs the larger zoom decides for both.
 *
 * Margins above half the output's side, 2 * ((input - output) >> 1) > output on either axis, are not
 * refused, but in modes 2 and 3 the compensation has no limit there: where a turn outweighs the shift,
 * the picture turns by any angle and leaves the input, and the output is unusable. The measured
 * motion is right all the same.
 *
 * The handle allocates its working memory here. Its copies of frames (one of the input size, and
 * another one for frames in place) follow with the first frame call that needs them. All other calls
 * make at most one small allocation each, besides the stacks of the threads that they start.
 *
 * @param pParam sizes and format, copied
 * @return the handle, or null: null or impossible parameters (a side outside its range, or an odd
 *     input or output width with NV21), or not enough memory. Release it with
 *     QEL_MVS_DestroyStabilizer.
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
 * Sets the size class and the ranges of the coarse search from a size.
 *
 * Creation does this with the input size. Call it only to search as for a frame of another size.
 * The ranges are how far a picture may jump from frame to frame: an eighth of the longer side and a
 * sixth of the shorter one, rounded down to 240, 160, 80, 40 or 24 pixels, and 16 for anything
 * less.
 *
 * @param pCtx the handle; null does nothing
 * @param lWidth pixels
 * @param lHeight pixels
 */
QEL_API void QEL_MVS_AnalyzeHW(MVS_Context *pCtx, int32_t lWidth, int32_t lHeight);

/** @} */
/**
 * @name Settings and state
 * They return 1 when done, and 0 when nothing has changed.
 * @{ */

/**
 * Selects what is compensated. Only before the first frame.
 *
 *   - 1: translation by whole pixels, without resampling: the output is a crop of the input.
 *   - 2: as 1, and rotation that is large enough to see. Frames that are rotated are resampled.
 *   - 3: translation and rotation, with a zoom. The mode of a new handle.
 *
 * @param pCtx the handle
 * @param lMode 1..3; modes 1 and 2 need an input of at least 11/10 of the output, both ways
 * @return 1, or 0: null handle, no such mode, input too small for it, or a frame has been taken
 */
QEL_API int32_t QEL_MVS_SetMode(MVS_Context *pCtx, int32_t lMode);

/**
 * Chooses how mode 3 treats the chroma. At any time; it applies from the next frame on.
 *
 * 1 moves every chroma sample with its luma. It is the right choice for I420, and for heights that
 * are not a multiple of 8.
 *
 * 0, the default, gives the same output except in these cases:
 *   - I420, outputs below 320 x 240 (narrower or lower): the chroma of the output is not written.
 *   - I420, equal sizes from 320 x 240 on, heights that are a multiple of 8: the planes are moved
 *     as if they were interleaved pairs. The colours are wrong.
 *   - Equal sizes from 320 x 240 on, other heights: only the first (height >> 3) * 4 chroma rows
 *     are moved. The last rows are grey (128) with NV21, and not written with I420.
 *
 * @param pCtx the handle
 * @param bFull 0 or 1
 * @return 1, or 0: null handle or another value
 */
QEL_API int32_t QEL_MVS_SetFullChroma(MVS_Context *pCtx, int32_t bFull);

/**
 * Limits the threads of a frame, the calling thread included. At any time; it applies from the next
 * frame on. The output does not depend on it.
 *
 * By default a frame gets a thread for each 491,520 bytes of input luma (two from 1280 x 768 on),
 * at most four, and no more than the cores that the calling thread may run on. Choose 1 where the
 * other cores have work of their own, or where a frame must not start threads.
 *
 * @param pCtx the handle
 * @param lThreads 0: the default; 1: the calling thread alone; 2..4: as the default, but no more
 *     than this
 * @return 1, or 0: null handle or another number
 */
QEL_API int32_t QEL_MVS_SetThreads(MVS_Context *pCtx, int32_t lThreads);

/**
 * Reads the last frame's motion.
 *
 * quorvel/refined.h says what the fields mean for a refined handle.
 *
 * @code
 * MVS_MotionInfo motion = {0};
 * motion.lSize = (int32_t)sizeof(motion);
 * if (QEL_MVS_GetMotion(stabilizer, &motion) && motion.bMeasured)
 *     printf("%.2f rows, %.2f columns\n", motion.lMotionRow / 1024.0, motion.lMotionCol / 1024.0);
 * @endcode
 *
 * @param pCtx the handle
 * @param pInfo filled in; set its lSize first. Of a record that is larger than MVS_MotionInfo the
 *     rest is left as it was.
 * @return 1, or 0 with nothing written: null arguments, or an lSize below sizeof(MVS_MotionInfo)
 */
QEL_API int32_t QEL_MVS_GetMotion(const MVS_Context *pCtx, MVS_MotionInfo *pInfo);

/** @} */
/**
 * @name Frames
 *
 * All of them return without touching a frame when the handle or a frame is null, when the handle
 * has a format that they do not take, and when there is no memory for the handle's copies of frames
 * (the next call tries again). Input frames have the input size and output frames the output size;
 * a buffer that is stabilized in place has the larger of the two. Other buffers must not overlap.
 *
 * The first frame has none to be compared with: it is cropped, but not moved. So is a frame whose
 * motion cannot be measured; the path starts anew there. Not every cut is such a frame, see above.
 * lFrameNumber of MVS_MotionInfo tells whether a call has taken its frame.
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
 * QEL_MVS_StabilizeFrame, with the unstabilized frame in the left columns.
 *
 * Takes effect when the sizes are equal and 1 <= lSplit < width; otherwise the whole output is
 * stabilized.
 *
 * @param pCtx the handle
 * @param pIn the input frame
 * @param pOut the output frame; in place when it equals pIn
 * @param lSplit columns, rounded down to an even number
 */
QEL_API void QEL_MVS_StabilizeFrameSplitterShow(MVS_Context *pCtx, const uint8_t *pIn, uint8_t *pOut,
                                                int32_t lSplit);

/**
 * Stabilizes a frame whose luma and chroma have separate pointers.
 *
 * In place when the luma pointers are equal and the chroma pointers are equal, with every format.
 * I420 and NV21 frames are whole frames at the luma pointers. Nothing is read at their chroma
 * pointers, but in place these must be equal too (both null will do): otherwise the input is
 * overwritten while it is read.
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
 * Stabilizes a frame of a caller that keeps the previous input frame itself.
 *
 * No frame is copied. All frames are single buffers of luma and chroma here, those of NV21_SEPARATE
 * too. The chroma of I420 is treated as by the other calls. That of NV21
 *   - is moved with the luma in mode 3, unless the sizes are equal, at least 320 x 240, and the
 *     height is not a multiple of 8. There the chroma of the output is not written;
 *   - is not written where mode 2 rotates;
 *   - is moved as if it were two planes where modes 1 and 2 only shift. The colours are wrong.
 *
 * NV21_SEPARATE is treated as NV21, except that mode 3 does not write the chroma of unequal sizes
 * and of outputs below 320 x 240.
 *
 * @param pCtx the handle
 * @param pFrames the frames; pPrevious may be null at the first call. The output overlaps neither
 *     input.
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
 * They need no handle and may run in any number of threads at once, on different buffers. With a
 * null pointer they do nothing.
 * @{ */

/**
 * Copies the left columns of three planes.
 *
 * Planes are packed; chroma planes are (width >> 1) x (height >> 1) samples. Nothing happens unless
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
 * @param lHeight chroma rows; with a size below 1 nothing happens
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
 * @param lHeight chroma rows; with a size below 1 nothing happens
 */
QEL_API void UV_I420_to_NV21(const uint8_t *pSrcU, const uint8_t *pSrcV, uint8_t *pDstVU,
                             int32_t lWidth, int32_t lHeight);

/** @} */

#endif
