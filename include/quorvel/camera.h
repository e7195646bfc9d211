/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * The camera service's wrapper: two streams of NV21 frames, preview and recording, stabilized in place
 * without handles or buffers of the service's own.
 *
 * @code
 * while (next_frame(frame)) runVideoStabilizer(frame, width, height);
 * uninit_quorvel_videostabilizer();
 * @endcode
 *
 * A run sets its stream up by itself, and anew when the frame size changes; only after uninit a run of
 * the same size waits for an init and leaves its frames as they are. Every step writes lines to the
 * log, with a null tag: priority 3 for progress, 6 for the calls that create and destroy the
 * stabilizer. Each stream is driven by one thread at a time; the two are independent.
 *
 * Frames are packed NV21 as in quorvel/stabilizer.h, of equal input and output size. Without memory, or
 * for a size that cannot be stabilized (odd widths, sides above 16384), a run leaves the frame as it
 * is.
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
 * An existing handle is kept. A second call without uninit loses the buffers of the first.
 *
 * @param lFrameWidth pixels; 0 stands for 1280, negative sizes do nothing
 * @param lFrameHeight pixels; 0 stands for 720, negative sizes do nothing
 * @return 0
 */
QEL_API int32_t init_quorvel_videostabilizer(int32_t lFrameWidth, int32_t lFrameHeight);

/**
 * Prepares the recording for frames of a size.
 *
 * An existing handle is kept. A second call without uninit loses the buffers of the first.
 *
 * @param lFrameWidth pixels; 0 stands for 1280, negative sizes do nothing
 * @param lFrameHeight pixels; 0 stands for 720, negative sizes do nothing
 * @return 0
 */
QEL_API int32_t init_quorvel_videostabilizer_recording(int32_t lFrameWidth, int32_t lFrameHeight);

/**
 * Releases all that the preview holds.
 *
 * @return no meaning
 */
QEL_API int32_t uninit_quorvel_videostabilizer(void);

/**
 * Releases all that the recording holds.
 *
 * @return no meaning
 */
QEL_API int32_t uninit_quorvel_videostabilizer_recording(void);

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
 * For diagnosis. The library binds its own uses to these, so a program may have variables of the same
 * names. A program that wants to see the library's looks them up with dlsym: named directly, the linker
 * may give it a copy.
 * @{ */
QEL_API MVS_Context *hVStabilizer; /**< preview: the handle, null while there is none */
QEL_API MVS_InitParam vs_param;    /**< preview: what the handle was asked to be */
QEL_API int32_t lWidth;            /**< preview: frame width in pixels */
QEL_API int32_t lHeight;           /**< preview: frame height in pixels */
QEL_API uint8_t *output;           /**< preview: the stabilized frame before it is copied back */
QEL_API uint8_t *yuv420;           /**< always null */
QEL_API MVS_Context *hVStabilizer_recording; /**< recording: the handle, null while there is none */
QEL_API MVS_InitParam vs_param_recording;    /**< recording: what the handle was asked to be */
QEL_API int32_t lWidth_recording;            /**< recording: frame width in pixels */
QEL_API int32_t lHeight_recording;           /**< recording: frame height in pixels */
QEL_API uint8_t *output_recording;           /**< recording: a second frame buffer, not used */
QEL_API uint8_t *yuv420_recording;           /**< recording: the copy that is stabilized */
/** @} */

#endif
