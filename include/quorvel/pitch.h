/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * Stabilization of frames with row strides, and with planes anywhere in memory.
 *
 * @code
 * MVS_PitchImage in = {QEL_MVS_FORMAT_NV21, 1280, 720, {y, vu, vu, 0}, {1536, 1536, 1536, 0}};
 * MVS_PitchImage out = in;
 * out.pPlane[0] = out_y;
 * out.pPlane[1] = out.pPlane[2] = out_vu;
 * MVS_Context *stabilizer = QEL_MVS_CreateStabilizerPitch(in);
 * QEL_MVS_StabilizeFramePitch(stabilizer, in, out);
 * QEL_MVS_DestroyStabilizerPitch(stabilizer);
 * @endcode
 *
 * The result equals that of the packed calls (quorvel/stabilizer.h) on the same picture, byte for
 * byte. The bytes between the rows are never written. The handle has two packed frames of its own:
 * each call copies the picture into one of them and the result out of one. Threads, units, errors
 * and settings are those of the packed calls, and QEL_MVS_GetMotion takes these handles too.
 */
#ifndef QUORVEL_PITCH_H
#define QUORVEL_PITCH_H

#include <stdint.h>

#include "quorvel/export.h"
#include "quorvel/stabilizer.h"

/**
 * Where a picture lies.
 *
 * Planes are Y, U, V for I420 and Y, interleaved V,U for NV21. The fourth entries are not read. A
 * pitch is the distance in bytes from one row to the next, at least the length of a row. It is
 * negative for a picture that is stored bottom row first; the plane pointer names the top row all
 * the same. Only the bytes of the picture are touched, so a buffer may end with the last sample.
 */
typedef struct MVS_PitchImage {
    int32_t lFormat;    /**< QEL_MVS_FORMAT_I420 or QEL_MVS_FORMAT_NV21; read at creation only */
    int32_t lWidth;     /**< pixels; read at creation only */
    int32_t lHeight;    /**< pixels; read at creation only */
    uint8_t *pPlane[4]; /**< top left samples */
    int32_t lPitch[4];  /**< bytes from row to row */
} MVS_PitchImage;

/**
 * @name Pitched frames
 * @{ */

/**
 * Creates a stabilizer whose input and output have the format and size of the image.
 *
 * The crop is the middle 14/16 of each side, zoomed back to full size. Planes and pitches come with
 * each frame; the image's own are not used here.
 *
 * @param stImage format and size
 * @return the handle, or null as from QEL_MVS_CreateStabilizer. Either destructor frees everything.
 */
QEL_API MVS_Context *QEL_MVS_CreateStabilizerPitch(MVS_PitchImage stImage);

/**
 * QEL_MVS_DestroyStabilizer by another name.
 *
 * @param pCtx the handle; null does nothing
 */
QEL_API void QEL_MVS_DestroyStabilizerPitch(MVS_Context *pCtx);

/**
 * Stabilizes the next frame of a stream.
 *
 * In place when planes 0, 1 and 2 of both images are equal. That includes plane 2 of NV21, which
 * has no other use: give both images the same one, or null. Format and size are the handle's, not
 * the images'.
 *
 * This call and its two forms below return without touching a plane when the handle is null or was
 * not made for pitched frames, when its format is neither I420 nor NV21, and when a plane is null
 * or a pitch too short.
 *
 * @param pCtx the handle, made by QEL_MVS_CreateStabilizerPitch
 * @param stIn the input picture; only read, unless it is the output too
 * @param stOut the output picture
 */
QEL_API void QEL_MVS_StabilizeFramePitch(MVS_Context *pCtx, MVS_PitchImage stIn, MVS_PitchImage stOut);

/**
 * QEL_MVS_StabilizeFramePitch in place.
 *
 * @param pCtx the handle
 * @param stImage input and output picture
 */
QEL_API void QEL_MVS_StabilizeFrame_SameBufferPitch(MVS_Context *pCtx, MVS_PitchImage stImage);

/**
 * QEL_MVS_StabilizeFramePitch from one picture to another; they must not overlap.
 *
 * @param pCtx the handle
 * @param stIn the input picture, only read
 * @param stOut the output picture
 */
QEL_API void QEL_MVS_StabilizeFrame_DiffBufferPitch(MVS_Context *pCtx, MVS_PitchImage stIn,
                                                    MVS_PitchImage stOut);

/** @} */
/**
 * @name Copies
 * Between an image and a packed frame of the handle's input size. Any handle will do, since only
 * its size is used. With a null argument or plane, or a pitch that is too short, nothing happens.
 * @{ */

/**
 * Image to packed I420.
 *
 * @param pCtx gives the size
 * @param pFrame destination
 * @param stImage source, three planes
 */
QEL_API void CopyI420FromPitchBuf(const MVS_Context *pCtx, uint8_t *pFrame, MVS_PitchImage stImage);

/**
 * Image to packed NV21.
 *
 * @param pCtx gives the size
 * @param pFrame destination
 * @param stImage source, two planes
 */
QEL_API void CopyNV21FromPitchBuf(const MVS_Context *pCtx, uint8_t *pFrame, MVS_PitchImage stImage);

/**
 * Packed I420 to image.
 *
 * @param pCtx gives the size
 * @param pFrame source
 * @param stImage destination, three planes
 */
QEL_API void CopyI420ToPitchBuf(const MVS_Context *pCtx, const uint8_t *pFrame, MVS_PitchImage stImage);

/**
 * Packed NV21 to image.
 *
 * @param pCtx gives the size
 * @param pFrame source
 * @param stImage destination, two planes
 */
QEL_API void CopyNV21ToPitchBuf(const MVS_Context *pCtx, const uint8_t *pFrame, MVS_PitchImage stImage);

/** @} */
/**
 * @name UYVY
 *
 * Between packed I420 planes (strides lWidth and lWidth >> 1) and UYVY, byte order U Y0 V Y1, with
 * lPitch bytes from row to row: at least 2 * lWidth, or negative for a picture that is stored
 * bottom row first. The last column of an odd width is neither read nor written. With a null
 * argument, or a pitch that is too short, nothing happens. No handle is needed, and any thread may
 * call.
 * @{ */

/**
 * Planes to UYVY. Each chroma row serves two luma rows, and the last one also the last row of an
 * odd height. A picture of one row, which has no chroma, becomes grey (128).
 *
 * @param pY luma, lWidth * lHeight
 * @param pU (lWidth >> 1) * (lHeight >> 1) samples
 * @param pV (lWidth >> 1) * (lHeight >> 1) samples
 * @param pPacked UYVY
 * @param lWidth pixels
 * @param lHeight rows
 * @param lPitch bytes from UYVY row to row
 */
QEL_API void I420_uyvy_conversion_c(const uint8_t *pY, const uint8_t *pU, const uint8_t *pV,
                                    uint8_t *pPacked, int32_t lWidth, int32_t lHeight, int32_t lPitch);

/**
 * UYVY to planes. The chroma comes from the even rows and is not averaged; the last row of an odd
 * height gives luma only.
 *
 * @param pPacked UYVY
 * @param pY luma, lWidth * lHeight
 * @param pU (lWidth >> 1) * (lHeight >> 1) samples
 * @param pV (lWidth >> 1) * (lHeight >> 1) samples
 * @param lWidth pixels
 * @param lHeight rows
 * @param lPitch bytes from UYVY row to row
 */
QEL_API void uyvy_I420_conversion_c(const uint8_t *pPacked, uint8_t *pY, uint8_t *pU, uint8_t *pV,
                                    int32_t lWidth, int32_t lHeight, int32_t lPitch);

/** @} */

#endif
