/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * The refined stabilizer: measures in fractions of a pixel, takes frames of any layout, and may look
 * ahead.
 *
 * It is asked for with QEL_MVS_SetRefined, before the first frame. After that a handle serves either
 * the frame calls of quorvel/stabilizer.h, which work as before with steadier pictures, or the plane
 * calls below, for programs that keep their own frames.
 *
 * @code
 * QEL_MVS_SetRefined(stabilizer, 1);
 * QEL_MVS_SetLookahead(stabilizer, 30);
 * for (bool more = true; more;) {
 *     more = next_frame(ring);
 *     if (more) QEL_MVS_PushLuma(stabilizer, &luma_of_newest);
 *     else QEL_MVS_EndStream(stabilizer);
 *     while (QEL_MVS_PullCompensation(stabilizer, &record))
 *         QEL_MVS_CompensateFrame(stabilizer, &record, planes_of_oldest, out_planes, 2);
 * }
 * @endcode
 *
 * Results are the same bits on every processor and with every number of threads. On a 32-bit x86
 * processor without SSE2 there is no refined stabilizer: QEL_MVS_SetRefined returns 0.
 */
#ifndef QUORVEL_REFINED_H
#define QUORVEL_REFINED_H

#include <stdint.h>

#include "quorvel/export.h"
#include "quorvel/stabilizer.h"

/**
 * One plane of samples.
 *
 * Every layout with one luma (or green) sample a pixel fits: NV12 and NV21 are a plane of one channel
 * and one of two, I420 three planes of one, RGBA one plane of four, P010 as NV12 with two bytes a
 * sample, 10 significant bits from bit 6 on.
 */
typedef struct MVS_Plane {
    int32_t lSize;     /**< sizeof(MVS_Plane) */
    int32_t lWidth;    /**< pixels of this plane */
    int32_t lHeight;   /**< pixels of this plane */
    int32_t lChannels; /**< samples of a pixel, 1..4 */
    int32_t lLuma;     /**< which of them is luma (of RGB: green), from 0; read of luma planes only */
    int32_t lSampleBytes; /**< 1, or 2 in native byte order */
    int32_t lBits;        /**< significant bits of a sample, 8..16; 8 where lSampleBytes is 1 */
    int32_t lLowestBit;   /**< position of the lowest of them; the bits below it come out as 0 */
    int32_t lLog2X;       /**< 0..2: a pixel of this plane is 1, 2 or 4 pixels of the picture wide */
    int32_t lLog2Y;       /**< 0..2: and as many high */
    int32_t lSiteX;       /**< how far right of the picture's first pixel the first sample lies, in
                           * quarters of a pixel, centre to centre, -16..16 */
    int32_t lSiteY;       /**< and how far below it */
    int64_t llPitch;      /**< bytes from row to row; negative for a picture stored bottom row first */
    uint8_t *pPixels;     /**< top left sample */
} MVS_Plane;

/**
 * Where one frame's output is taken from. Plain numbers, which may be stored, edited and applied
 * later: QEL_MVS_CompensateFrame limits them to the frame.
 *
 * The output's centre shows the point (lCol, lRow) right of and below the input's centre. An output
 * pixel at (x, y) from the centre shows the input there plus the offset (x, y), turned by lTheta and
 * multiplied by lStep.
 */
typedef struct MVS_Compensation {
    int32_t lSize;        /**< in: sizeof(MVS_Compensation) */
    int32_t lFlags;       /**< QEL_MVS_NEW_SCENE and QEL_MVS_MEASURED */
    int64_t llFrame;      /**< number of the frame, 1 for the first */
    int32_t lRow;         /**< Q16 pixels of the picture, down */
    int32_t lCol;         /**< Q16 pixels of the picture, right */
    int32_t lTheta;       /**< Q24 radians, from right to down */
    int32_t lStep;        /**< Q16 input pixels to a pixel of the output */
    int32_t lMotionRow;   /**< what was measured, in the sense of MVS_MotionInfo, Q16 pixels */
    int32_t lMotionCol;   /**< Q16 pixels */
    int32_t lMotionTheta; /**< Q24 radians */
    int32_t lReserved;    /**< 0 */
} MVS_Compensation;

#define QEL_MVS_NEW_SCENE 1 /**< the frame has nothing to do with the one before */
#define QEL_MVS_MEASURED 2  /**< the motion from the frame before is known */

/**
 * @name Settings
 * Before the first frame, and after QEL_MVS_SetRefined. They return 1 when done, and 0 when nothing
 * has changed.
 * @{ */

/**
 * Makes a handle a refined one, or an ordinary one again.
 *
 * A refined handle is in mode 3. It moves chroma with its luma: QEL_MVS_SetFullChroma changes nothing,
 * and QEL_MVS_SetMode returns 0. QEL_MVS_StabilizeFrameEx does not read its previous frame.
 *
 * @param pCtx a handle in mode 3, of a format 0..2, before its first frame
 * @param bRefined 0 or 1; 1 puts all settings below to their defaults
 * @return 1, or 0: anything else, or not enough memory
 */
QEL_API int32_t QEL_MVS_SetRefined(MVS_Context *pCtx, int32_t bRefined);

/**
 * How many frames later a picture is settled. Default 0.
 *
 * Only the plane calls look ahead: frame calls of a handle with a lookahead return untouched.
 *
 * @param pCtx the handle
 * @param lFrames 0..240: below 5 no frame waits. -1: all wait for QEL_MVS_EndStream.
 * @return 1, or 0: another number, a handle that is not refined or has taken a frame, no memory
 */
QEL_API int32_t QEL_MVS_SetLookahead(MVS_Context *pCtx, int32_t lFrames);

/**
 * The part of each side of the input that the output shows. Default 896: seven eighths.
 *
 * Where the output has another shape than the input, the part of the side that is cut less. What is
 * hidden is the room that the picture has for movements.
 *
 * @param pCtx the handle
 * @param lPart Q10: 615 (0.60) to 1003 (0.98)
 * @return 1, or 0: another number, a handle that is not refined or has taken a frame, or an output
 *     that is less than half as large as the part
 */
QEL_API int32_t QEL_MVS_SetWindow(MVS_Context *pCtx, int32_t lPart);

/**
 * How calm the picture is. Default 1024: one second.
 *
 * Movements slower than about 0.06 Hz (roll: 0.024 Hz) are followed at once; with a lookahead, slower
 * than 0.1 to 0.2 Hz. All of these are divided by the strength.
 *
 * @param pCtx the handle
 * @param lSeconds Q10: 256 to 4096
 * @return 1, or 0: another number, a handle that is not refined or has taken a frame
 */
QEL_API int32_t QEL_MVS_SetStrength(MVS_Context *pCtx, int32_t lSeconds);

/**
 * Whether the roll is compensated. Default 1.
 *
 * @param pCtx the handle
 * @param bRoll 0 or 1
 * @return 1, or 0: another number, a handle that is not refined or has taken a frame
 */
QEL_API int32_t QEL_MVS_SetRoll(MVS_Context *pCtx, int32_t bRoll);

/**
 * The frame rate. Default 30. Take the mean of a rate that varies.
 *
 * @param pCtx the handle
 * @param lNumerator with lDenominator 1 to 1000 frames a second
 * @param lDenominator above 0
 * @return 1, or 0: another rate, a handle that is not refined or has taken a frame
 */
QEL_API int32_t QEL_MVS_SetFrameRate(MVS_Context *pCtx, int32_t lNumerator, int32_t lDenominator);

/**
 * How pixels between pixels are made. Default 0. At any time.
 *
 * @param pCtx the handle
 * @param bCubic 0: from the nearest 2 x 2 (bilinear); 1: from 4 x 4 (cubic), which is sharper and
 *     takes longer
 * @return 1, or 0: another number, or a handle that is not refined
 */
QEL_API int32_t QEL_MVS_SetCubic(MVS_Context *pCtx, int32_t bCubic);

/**
 * The next frame starts a scene: call it at a known cut, or where frames are missing. At any time.
 *
 * @param pCtx the handle
 * @return 1, or 0: a handle that is not refined
 */
QEL_API int32_t QEL_MVS_Reset(MVS_Context *pCtx);

/** @} */
/**
 * @name Planes
 * A handle that has served a frame call returns 0 here, and the other way round.
 * @{ */

/**
 * Measures the next frame of a stream.
 *
 * @param pCtx the handle
 * @param pLuma the plane that holds the luma, of the input size; only read, and free on return
 * @return 1 when it was taken, or 0: null, an impossible plane, a stream that has ended, or 16 records
 *     that wait to be pulled
 */
QEL_API int32_t QEL_MVS_PushLuma(MVS_Context *pCtx, const MVS_Plane *pLuma);

/**
 * Hands out the compensation of the oldest frame that was not pulled yet.
 *
 * Frames come in order. Call it after each push until it returns 0.
 *
 * @param pCtx the handle
 * @param pRecord filled in; set its lSize first
 * @return 1, or 0: null, an lSize below sizeof(MVS_Compensation), or nothing is settled
 */
QEL_API int32_t QEL_MVS_PullCompensation(MVS_Context *pCtx, MVS_Compensation *pRecord);

/**
 * No frame follows: all that were pushed can be pulled.
 *
 * @param pCtx the handle
 * @return 1, or 0: null, or a handle that is not refined
 */
QEL_API int32_t QEL_MVS_EndStream(MVS_Context *pCtx);

/**
 * Makes the output of a frame from its planes.
 *
 * It changes nothing in the handle: it may run beside any call but the destruction and
 * QEL_MVS_SetCubic, and several times at once. Planes have the handle's input size or output size,
 * divided by their subsampling, rounded up or down. The input planes and the output planes must not
 * overlap.
 *
 * @param pCtx the handle
 * @param pRecord from this or another handle, as it was or edited; lSize, lRow, lCol, lTheta and
 *     lStep are read, and limited to what the input holds
 * @param pIn planes of the frame
 * @param pOut where they go; the layout of each is that of its input plane
 * @param lCount 1..4 planes
 * @return 1, or 0 with nothing written: null, impossible or overlapping planes, other layouts, no lock
 */
QEL_API int32_t QEL_MVS_CompensateFrame(const MVS_Context *pCtx, const MVS_Compensation *pRecord,
                                        const MVS_Plane *pIn, const MVS_Plane *pOut, int32_t lCount);

/** @} */

#endif
