/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * The refined stabilizer: measures in fractions of a pixel, takes frames of many layouts, and may look
 * ahead.
 *
 * QEL_MVS_SetRefined selects it, before the first frame. From then on a handle serves either the frame
 * calls of quorvel/stabilizer.h and quorvel/pitch.h, with the same arguments as before, or the plane
 * calls below, for programs that keep their own frames.
 *
 * @code
 * MVS_Compensation record = {0};
 * int more = 1;
 * record.lSize = (int32_t)sizeof(record);
 * QEL_MVS_SetRefined(stabilizer, 1);
 * QEL_MVS_SetLookahead(stabilizer, 30);
 * while (more) {
 *     more = next_frame(frame);
 *     if (more) QEL_MVS_PushLuma(stabilizer, newest_planes);
 *     else QEL_MVS_EndStream(stabilizer);
 *     while (QEL_MVS_PullCompensation(stabilizer, &record))
 *         QEL_MVS_CompensateFrame(stabilizer, &record, oldest_planes, out_planes, 2);
 * }
 * @endcode
 *
 * Waiting. With a lookahead of n frames, 5 or more, the record of a frame can be pulled once n more
 * frames are pushed, once the first frame of the next scene is pushed, or after QEL_MVS_EndStream. The
 * caller keeps the frames that wait: n + 1 with the newest. Without a lookahead a record can be pulled
 * after its own push.
 *
 * Edges. The view, which is what the output shows of the input, never leaves the input: nothing beyond
 * the edge is made up. Between the outermost pixels' centres and the edge, the nearest pixels are
 * repeated. The wider the margin (QEL_MVS_SetWindow), the more shake is taken out.
 *
 * What is measured:
 *   - Rest. A motion no larger than the measurement's own noise counts as none, and the next frame is
 *     compared with the same earlier one. So a camera that rests gives motions of exactly 0, and a slow
 *     movement counts as a whole once it stands out. After 32 such frames the next motion counts in any
 *     case, noise or not.
 *   - Cuts. When fewer than two fifths of the textured tiles match, the frame starts a scene, with
 *     QEL_MVS_NEW_SCENE; without a lookahead the view begins in the middle. If the frame's mean
 *     brightness differs by 10 grey levels or more as well, it may be a flash, and the next frame
 *     decides: such a cut is found one frame late.
 *   - Flashes. A flash of one frame has no motion (no QEL_MVS_MEASURED). Without a lookahead it has the
 *     view of the frame before. The frame after it is compared with the one before it.
 *   - Darkness, and pictures without texture or of weak noise alone. They have no motion (no
 *     QEL_MVS_MEASURED), and the path goes on as if the camera rested. A jump of 10 grey levels to or
 *     from a picture without texture is treated as a flash or a cut. Noise as strong as texture, and
 *     nothing else, starts a scene with every frame.
 *   - Size. Below 72 pixels of height or width there may be too little to measure: such frames are
 *     cropped in the middle.
 *
 * QEL_MVS_GetMotion works on refined handles too. The measured motion, lFrameNumber, bMeasured and the
 * counts are those of the frame pushed last; lCompRow, lCompCol and lCompTheta those of the record
 * pulled last. bShiftReliable equals bMeasured. lBlocksValid counts the textured tiles, at a quarter of
 * the size, and lBlocksKept those of them that match.
 *
 * Memory, beside that of every handle:
 *   - from QEL_MVS_SetRefined on, two pyramids of 4/3 of a luma plane each, at 8 bits a sample, and up
 *     to 31 KB, or 2 % of a luma plane where that is more;
 *   - 1.5 luma planes when a frame call works in place; otherwise no frame is copied;
 *   - a lookahead: 0.6 KB for each of its frames, and 91 KB;
 *   - a whole clip: 40 bytes a frame, in steps of 1024 frames, and 64 from the end of the stream on.
 *     While that plans, there are another 540 bytes a frame, 2.2 MB at most.
 *
 * Threads. QEL_MVS_PushLuma, or a frame call, starts helper threads as the frame calls of an ordinary
 * handle do, and each QEL_MVS_CompensateFrame has its own; QEL_MVS_SetThreads limits both. The other
 * calls use the calling thread alone. Results are the same bits on every processor and with every
 * number of threads.
 */
#ifndef QUORVEL_REFINED_H
#define QUORVEL_REFINED_H

#include <stdint.h>

#include "quorvel/export.h"
#include "quorvel/stabilizer.h"

/**
 * One plane of samples.
 *
 * NV12 and NV21 are a plane of one channel and a plane of two, I420 is three planes of one channel,
 * RGBA one plane of four. P010 is NV12 with two bytes a sample, of which the upper 10 bits count. The
 * table in docs/integration.md has the fields of each.
 *
 * Rows must not overlap: the pitch is at least as long as a row, and below 2^31. With two bytes a
 * sample address and pitch are even.
 */
typedef struct MVS_Plane {
    int32_t lSize;     /**< sizeof(MVS_Plane) */
    int32_t lWidth;    /**< pixels of this plane */
    int32_t lHeight;   /**< pixels of this plane */
    int32_t lChannels; /**< samples of a pixel, 1..4 */
    int32_t lLuma;     /**< the channel that holds the luma (of RGB: green), 0..lChannels - 1; read by
                        * QEL_MVS_PushLuma, 0 will do elsewhere */
    int32_t lSampleBytes; /**< 1, or 2 in native byte order */
    int32_t lBits;        /**< significant bits of a sample, 8..16; 8 where lSampleBytes is 1 */
    int32_t lLowestBit;   /**< position of the lowest of them. The bits above them must be 0; those
                           * below are not read and come out as 0 */
    int32_t lLog2X;       /**< a pixel of this plane is 2^lLog2X pixels of the picture wide, 0..2 */
    int32_t lLog2Y;       /**< and 2^lLog2Y pixels high, 0..2 */
    int32_t lSiteX;       /**< from the centre of the picture's first pixel to that of the plane's first
                           * sample, right, in quarters of a picture pixel, -16..16 */
    int32_t lSiteY;       /**< the same, down: 2 for NV12 whose chroma lies between two rows */
    int64_t llPitch;      /**< bytes from row to row; negative for a picture stored bottom row first */
    uint8_t *pPixels;     /**< first sample of the top row */
} MVS_Plane;

/**
 * Where one frame's output is taken from. The record has no pointers: it may be stored, edited and
 * applied later. QEL_MVS_CompensateFrame limits it, so that the view stays inside the input.
 *
 * The centre of the output shows the point that lies lCol to the right of the input's centre and lRow
 * below it. An output pixel that is (x, y) away from the output's centre shows the point that is (x,
 * y), multiplied by lStep and rotated by lTheta, away from that one.
 */
typedef struct MVS_Compensation {
    int32_t lSize;        /**< in: sizeof(MVS_Compensation) */
    int32_t lFlags;       /**< QEL_MVS_NEW_SCENE, QEL_MVS_MEASURED, QEL_MVS_HELD */
    int64_t llFrame;      /**< number of the frame, 1 for the first */
    int32_t lRow;         /**< Q16 pixels of the picture, down */
    int32_t lCol;         /**< Q16 pixels of the picture, right */
    int32_t lTheta;       /**< Q24 radians, clockwise on the screen */
    int32_t lStep;        /**< Q16 input pixels for one pixel of the output */
    int32_t lMotionRow;   /**< measured motion, Q16 pixels, with the meaning that it has in
                           * MVS_MotionInfo; 0 when not measured */
    int32_t lMotionCol;   /**< the same, Q16 pixels */
    int32_t lMotionTheta; /**< the same, Q24 radians */
    int32_t lReserved;    /**< 0 */
} MVS_Compensation;

/** The first frame of a stream, or after a cut or QEL_MVS_Reset. */
#define QEL_MVS_NEW_SCENE 1
/** The motion from the frame before was measured; after a flash, from the one before the flash. */
#define QEL_MVS_MEASURED 2
/** It may be a flash: without a lookahead the view stays where it is in the frame. */
#define QEL_MVS_HELD 4

/**
 * @name Settings
 * Call them after QEL_MVS_SetRefined and, unless a call says otherwise, before the first frame. They
 * return 1 when done, and 0 when nothing has changed.
 * @{ */

/**
 * Makes a handle a refined one, or an ordinary one again.
 *
 * A refined handle is in mode 3: QEL_MVS_SetMode returns 0. Its chroma is always moved with the luma,
 * in every call and format: QEL_MVS_SetFullChroma makes no difference. Neither does QEL_MVS_AnalyzeHW.
 * Of the chroma of a frame call, samples lie at the left of their pixels and between two rows, as is
 * usual for video. QEL_MVS_StabilizeFrameEx does not read pPrevious.
 *
 * @param pCtx a handle in mode 3, of a format 0..2, before its first frame
 * @param bRefined 0 or 1; 1 also sets all that follows here to its default
 * @return 1, or 0: null, another number, another handle, not enough memory, or an output that is less
 *     than 7/16 of the input, both ways
 */
QEL_API int32_t QEL_MVS_SetRefined(MVS_Context *pCtx, int32_t bRefined);

/**
 * How many of the following frames a compensation takes into account. Default 0.
 *
 * For plane calls: a frame call of a handle with a lookahead returns without touching the frame.
 *
 * @param pCtx the handle
 * @param lFrames 0..240; 1..4 count as 0, since so short a lookahead is no gain. -1: the whole clip, no
 *     record can be pulled before QEL_MVS_EndStream.
 * @return 1, or 0: another number, a handle that is not refined or has taken a frame, no memory
 */
QEL_API int32_t QEL_MVS_SetLookahead(MVS_Context *pCtx, int32_t lFrames);

/**
 * How large the view is: a part of each side of the input. Default 896, seven eighths.
 *
 * The rest is the margin, in which the view moves. It limits the compensation: at the default a 16:9
 * view moves by up to 1/16 of each side and turns by up to 2 degrees. Where the output has another
 * shape than the input, lPart is that of the side that is cut less. Of an input that is larger than the
 * output, 1024 * output / input shows pixels in their own size.
 *
 * @param pCtx the handle
 * @param lPart Q10, 615 (0.60) to 1003 (0.98)
 * @return 1, or 0: another number, a handle that is not refined or has taken a frame, or a view with
 *     more than two input pixels for one pixel of the output
 */
QEL_API int32_t QEL_MVS_SetWindow(MVS_Context *pCtx, int32_t lPart);

/**
 * How calm the picture is. Default 1024: one second.
 *
 * Slow movements are followed; faster ones are taken out, as far as the margin allows. The limit is
 * about 0.06 Hz (roll: 0.024 Hz) without a lookahead, 0.2 Hz with one below half a second, 0.1 Hz with
 * a longer one, and 0.02 Hz for a whole clip, each divided by the strength. Without a lookahead it is
 * at most about a twelfth of the frame rate.
 *
 * @param pCtx the handle
 * @param lSeconds Q10, 256 to 4096
 * @return 1, or 0: another number, a handle that is not refined or has taken a frame
 */
QEL_API int32_t QEL_MVS_SetStrength(MVS_Context *pCtx, int32_t lSeconds);

/**
 * Whether the roll is compensated. Default 1. With 0 it is measured all the same.
 *
 * @param pCtx the handle
 * @param bRoll 0 or 1
 * @return 1, or 0: another number, a handle that is not refined or has taken a frame
 */
QEL_API int32_t QEL_MVS_SetRoll(MVS_Context *pCtx, int32_t bRoll);

/**
 * The frame rate, lNumerator / lDenominator frames a second. Default 30. Where the rate varies, its
 * mean will do.
 *
 * @param pCtx the handle
 * @param lNumerator 1 to 1000 times lDenominator
 * @param lDenominator above 0
 * @return 1, or 0: another rate, a handle that is not refined or has taken a frame
 */
QEL_API int32_t QEL_MVS_SetFrameRate(MVS_Context *pCtx, int32_t lNumerator, int32_t lDenominator);

/**
 * How the output is interpolated. Default 0. At any time; it applies from the next frame on.
 *
 * @param pCtx the handle
 * @param bCubic 0: bilinear; 1: bicubic, which is sharper and takes longer
 * @return 1, or 0: another number, or a handle that is not refined
 */
QEL_API int32_t QEL_MVS_SetCubic(MVS_Context *pCtx, int32_t bCubic);

/**
 * Makes the next frame that is pushed start a scene. Call it at a known cut, and where frames are
 * missing. At any time.
 *
 * @param pCtx the handle
 * @return 1, or 0: a handle that is not refined
 */
QEL_API int32_t QEL_MVS_Reset(MVS_Context *pCtx);

/** @} */
/**
 * @name Planes
 * The first call that takes a frame decides: after a frame call all of these but
 * QEL_MVS_CompensateFrame return 0, and after QEL_MVS_PushLuma or QEL_MVS_PushMotion frame calls return
 * without touching a frame.
 * @{ */

/**
 * Measures the next frame of a stream.
 *
 * Of samples with more than 8 bits the upper 8 are measured.
 *
 * @param pCtx the handle
 * @param pLuma the plane that holds the luma, of the input size, with lLog2X and lLog2Y 0; not needed
 *     after the call
 * @return 1 when the frame was taken, or 0: null, a handle that is not refined or serves frame calls,
 *     an impossible plane, a stream that has ended, too many records left to pull (16 beyond the
 *     lookahead), or no memory (whole clip)
 */
QEL_API int32_t QEL_MVS_PushLuma(MVS_Context *pCtx, const MVS_Plane *pLuma);

/**
 * Takes the motion of the next frame from a record, in place of its luma. So a path is planned again,
 * with other settings or after motions were edited, without the pictures.
 *
 * The motion counts with QEL_MVS_MEASURED and neither of the other flags, else it is taken for 0;
 * lMotionTheta is limited to half a turn. The first frame starts a scene, and so does the next one
 * after QEL_MVS_Reset, whatever their flags. QEL_MVS_GetMotion then gives this motion, and 0 for the
 * counts.
 *
 * Motions and luma may alternate. A motion after QEL_MVS_PushLuma goes on from the frame that was
 * measured; luma after a motion starts a scene, since the frame before it is not known.
 *
 * @param pCtx the handle, of the same input size as that of the record
 * @param pRecord from this or another handle, as it was or edited; lSize, lFlags and the
 *     motion are read
 * @return 1 when the motion was taken, or 0: null, an lSize that is too small, or any other reason of
 *     QEL_MVS_PushLuma but the plane
 */
QEL_API int32_t QEL_MVS_PushMotion(MVS_Context *pCtx, const MVS_Compensation *pRecord);

/**
 * Hands out the compensation of the next frame, in the order of the pushes.
 *
 * Call it after each push, and after QEL_MVS_EndStream, until it returns 0: at a cut the records of all
 * frames that waited come at once. With a lookahead each call plans a path: of the frame, the
 * lookahead, and the 2/3 of a second after it, which count as 20 frames at least and 160 at most.
 *
 * @param pCtx the handle
 * @param pRecord filled in; set its lSize first. Of a larger record the rest is left as it was.
 * @return 1, or 0 with nothing written: null, an lSize below sizeof(MVS_Compensation), a handle that
 *     is not refined or serves frame calls, or no record that can be pulled yet
 */
QEL_API int32_t QEL_MVS_PullCompensation(MVS_Context *pCtx, MVS_Compensation *pRecord);

/**
 * Ends the stream: the records of all frames that were pushed can be pulled, and no frame is taken any
 * more. The next stream needs another handle.
 *
 * A whole clip is planned here. Where there is no memory for that, its records are those of a handle
 * without a lookahead.
 *
 * @param pCtx the handle
 * @return 1, or 0: null, or a handle that is not refined or serves frame calls
 */
QEL_API int32_t QEL_MVS_EndStream(MVS_Context *pCtx);

/**
 * Makes the output of a frame from its planes.
 *
 * Every refined handle of the right sizes does, also one that serves frame calls or has taken no frame.
 * The call changes nothing in the handle. It may run beside all other calls, itself included, but not
 * beside the destruction, QEL_MVS_SetRefined, QEL_MVS_SetCubic and QEL_MVS_SetThreads.
 *
 * The record is limited first: lStep to 1/64 of a pixel and to what the input can fill; lTheta to 7/16
 * of the angle that would use up the whole margin; lCol and lRow to the margin that the rotation
 * leaves.
 *
 * An input plane has the input size of the handle, an output plane the output size, each divided by its
 * subsampling and rounded up or down. The memory of an output plane, from its first byte to its last,
 * must not overlap that of any other plane of the call. Bytes between its rows are not written.
 *
 * @param pCtx the handle
 * @param pRecord from this or another handle, as it was or edited; lSize, lRow, lCol, lTheta and
 *     lStep are read
 * @param pIn the planes of the frame, only read
 * @param pOut as many planes for the output; equal to the input's in all but size, address, pitch and
 *     lLuma
 * @param lCount planes, 1..4
 * @return 1, or 0 with nothing written: null, a handle that is not refined, an lSize that is too small,
 *     impossible or overlapping planes, unequal layouts, or no memory
 */
QEL_API int32_t QEL_MVS_CompensateFrame(const MVS_Context *pCtx, const MVS_Compensation *pRecord,
                                        const MVS_Plane *pIn, const MVS_Plane *pOut, int32_t lCount);

/** @} */

#endif
