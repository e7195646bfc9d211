/*
 * The camera service's wrapper: two streams of NV21 frames, preview and recording, stabilized in place
 * without handles or buffers of the service's own.
 *
 *     runVideoStabilizer(frame, width, height);     at every preview frame
 *     uninit_quorvel_videostabilizer();             when the preview ends
 *
 * A run sets its stream up by itself, and anew when the frame size changes; only after uninit a run of the
 * same size waits for an init and leaves its frames as they are. Every step writes lines to the
 * log, with a null tag: priority 3 for progress, 6 for the calls that create and destroy the stabilizer.
 * Each stream is driven by one thread at a time; the two are independent.
 *
 * Without memory, or for a size that cannot be stabilized (odd widths, sides above 16384), a run leaves the
 * frame as it is.
 */
#ifndef QUORVEL_CAMERA_H
#define QUORVEL_CAMERA_H

#include <stdint.h>

#include "quorvel/export.h"
#include "quorvel/stabilizer.h"

/* Prepares a stream for frames of the given size in pixels; 0 stands for 1280 and 720. An existing handle is
 * kept. Negative sizes do nothing. A second call without uninit loses the buffers of the first. 0. */
QEL_API int32_t init_quorvel_videostabilizer(int32_t lFrameWidth, int32_t lFrameHeight);
QEL_API int32_t init_quorvel_videostabilizer_recording(int32_t lFrameWidth, int32_t lFrameHeight);

/* Releases all that the stream holds. The result has no meaning. */
QEL_API int32_t uninit_quorvel_videostabilizer(void);
QEL_API int32_t uninit_quorvel_videostabilizer_recording(void);

/* Stabilizes a packed NV21 frame of width * height * 3 / 2 bytes in place. A null frame and sizes below 1
 * do nothing. 0. */
QEL_API int32_t runVideoStabilizer(uint8_t *pFrame, int32_t lFrameWidth, int32_t lFrameHeight);
QEL_API int32_t runVideoStabilizer_recording(uint8_t *pFrame, int32_t lFrameWidth, int32_t lFrameHeight);

/* State of the streams, for diagnosis; yuv420 is always null. The library binds its own uses to these, so a
 * program may have variables of the same names. A program that wants to see the library's looks them up with
 * dlsym: named directly, the linker may give it a copy. */
QEL_API MVS_Context *hVStabilizer;
QEL_API MVS_InitParam vs_param;
QEL_API int32_t lWidth;
QEL_API int32_t lHeight;
QEL_API uint8_t *output;
QEL_API uint8_t *yuv420;
QEL_API MVS_Context *hVStabilizer_recording;
QEL_API MVS_InitParam vs_param_recording;
QEL_API int32_t lWidth_recording;
QEL_API int32_t lHeight_recording;
QEL_API uint8_t *output_recording;
QEL_API uint8_t *yuv420_recording;

#endif
