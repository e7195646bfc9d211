/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * Wrapper for camera services: two streams of NV21 frames, preview and recording, stabilized in
 * place. The wrapper keeps handles and buffers itself.
 *
 * @code
 * init_quorvel_videostabilizer(width, height);
 * set_quorvel_videostabilizer_full_chroma(1);
 * while (next_frame(frame)) runVideoStabilizer(frame, width, height);
 * uninit_quorvel_videostabilizer();
 * @endcode
 *
 * Begin each session with init. A frame of a new size sets its stream up too. But a stream keeps its
 * size after uninit: frames of that size are then left as they are until init is called.
 *
 * Lines in the log have a null tag: priority 3 for progress, 6 before a stabilizer is created or
 * destroyed. Each preview frame has a line of priority 3, which ends with "finish" when the frame was
 * stabilized and with "not done" when it was left as it is. Recording frames have no line.
 *
 * One thread at a time may use a stream; the two streams are independent.
 *
 * Frames are packed NV21 as in quorvel/stabilizer.h. Input and output have the same size, and but for
 * the chroma the stabilizer keeps its default settings. A frame is left as it is when there is no
 * memory, or when its size cannot be stabilized (an odd width, a height of 1, a side above 16384).
 *
 * From 320 x 240 on, frames whose height is not a multiple of 8 get a grey strip at the lower edge:
 * only the first (height >> 3) * 4 rows of chroma are moved, and the others become grey.
 * set_quorvel_videostabilizer_full_chroma(1) and its recording form move all rows.
 */
#ifndef QUORVEL_CAMERA_H
#define QUORVEL_CAMERA_H

#include <stdint.h>

#include "quorvel/export.h"
#include "quorvel/stabilizer.h"

/**
 * @name Streams
 * @{ */

/**
 * Prepares the preview for frames of a size.
 *
 * Call uninit before a second init: the handle is kept, but the buffers of the first init are lost.
 *
 * @param lFrameWidth pixels; 0 stands for 1280, negative sizes do nothing
 * @param lFrameHeight pixels; 0 stands for 720, negative sizes do nothing
 * @return 0
 */
QEL_API int32_t init_quorvel_videostabilizer(int32_t lFrameWidth, int32_t lFrameHeight);

/**
 * Prepares the recording for frames of a size.
 *
 * Call uninit before a second init: the handle is kept, but the buffers of the first init are lost.
 *
 * @param lFrameWidth pixels; 0 stands for 1280, negative sizes do nothing
 * @param lFrameHeight pixels; 0 stands for 720, negative sizes do nothing
 * @return 0
 */
QEL_API int32_t init_quorvel_videostabilizer_recording(int32_t lFrameWidth, int32_t lFrameHeight);

/**
 * Releases the preview's handle and buffers. Call init before the next frame.
 *
 * @return without meaning
 */
QEL_API int32_t uninit_quorvel_videostabilizer(void);

/**
 * Releases the recording's handle and buffers. Call init before the next frame.
 *
 * @return without meaning
 */
QEL_API int32_t uninit_quorvel_videostabilizer_recording(void);

/**
 * Chooses how the preview's chroma is treated: QEL_MVS_SetFullChroma for this stream.
 *
 * At any time, also before init and after uninit; it applies from the next frame on. Init, uninit and
 * frames of another size keep the choice.
 *
 * @param bFull 0, the default: heights that are not a multiple of 8 get a grey strip; 1: none do
 * @return 1, or 0 with nothing changed: another value
 */
QEL_API int32_t set_quorvel_videostabilizer_full_chroma(int32_t bFull);

/**
 * Chooses how the recording's chroma is treated: QEL_MVS_SetFullChroma for this stream.
 *
 * At any time, also before init and after uninit; it applies from the next frame on. Init, uninit and
 * frames of another size keep the choice.
 *
 * @param bFull 0, the default: heights that are not a multiple of 8 get a grey strip; 1: none do
 * @return 1, or 0 with nothing changed: another value
 */
QEL_API int32_t set_quorvel_videostabilizer_full_chroma_recording(int32_t bFull);

/**
 * Stabilizes the next frame of the preview in place.
 *
 * @param pFrame packed NV21, lFrameWidth * lFrameHeight * 3 / 2 bytes; null does nothing
 * @param lFrameWidth pixels; below 1 does nothing
 * @param lFrameHeight pixels; below 1 does nothing
 * @return 0
 */
QEL_API int32_t runVideoStabilizer(uint8_t *pFrame, int32_t lFrameWidth, int32_t lFrameHeight);

/**
 * Stabilizes the next frame of the recording in place.
 *
 * @param pFrame packed NV21, lFrameWidth * lFrameHeight * 3 / 2 bytes; null does nothing
 * @param lFrameWidth pixels; below 1 does nothing
 * @param lFrameHeight pixels; below 1 does nothing
 * @return 0
 */
QEL_API int32_t runVideoStabilizer_recording(uint8_t *pFrame, int32_t lFrameWidth,
                                             int32_t lFrameHeight);

/** @} */
/**
 * @name State of the streams
 *
 * For diagnosis. The library always uses its own variables, so a program may have others of the
 * same names. To read the library's, look them up with dlsym: for a name in the program the linker
 * may make a copy.
 * @{ */
QEL_API MVS_Context *hVStabilizer; /**< preview: the handle, null while there is none */
QEL_API MVS_InitParam vs_param;    /**< preview: parameters of the handle */
QEL_API int32_t lWidth;            /**< preview: frame width in pixels */
QEL_API int32_t lHeight;           /**< preview: frame height in pixels */
QEL_API uint8_t *output;           /**< preview: the stabilized frame before it is copied back */
QEL_API uint8_t *yuv420;           /**< always null */
QEL_API MVS_Context *hVStabilizer_recording; /**< recording: the handle, null while there is none */
QEL_API MVS_InitParam vs_param_recording;    /**< recording: parameters of the handle */
QEL_API int32_t lWidth_recording;            /**< recording: frame width in pixels */
QEL_API int32_t lHeight_recording;           /**< recording: frame height in pixels */
QEL_API uint8_t *output_recording;           /**< recording: a second frame buffer, not used */
QEL_API uint8_t *yuv420_recording;           /**< recording: the copy that is stabilized */
/** @} */

#endif
