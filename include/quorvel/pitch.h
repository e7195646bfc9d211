/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * Stabilization of frames whose rows are longer than the picture and whose planes lie anywhere.
 *
 * @code
 * MVS_PitchImage in = {QEL_MVS_FORMAT_NV21, 1280, 720, {y, vu, vu, 0}, {1536, 1536, 1536, 0}};
 * MVS_PitchImage out = {QEL_MVS_FORMAT_NV21, 1280, 720, {out_y, out_vu, out_vu, 0}, {1280, 1280, 1280,
 * 0}}; MVS_Context *stabilizer = QEL_MVS_CreateStabilizerPitch(in);
 * QEL_MVS_StabilizeFramePitch(stabilizer, in, out);
 * QEL_MVS_DestroyStabilizerPitch(stabilizer);
 * @endcode
 *
 * The result equals that of the packed calls (quorvel/stabilizer.h) on the same picture, byte for byte;
 * what lies between the rows is never written. The handle keeps two packed frames of its own for it,
 * and each call copies its frame into one and back out of one. Threads, units and errors are those of
 * the packed calls, and so are the settings and QEL_MVS_GetMotion, which take these handles too.
 */
#ifndef QUORVEL_PITCH_H
#define QUORVEL_PITCH_H

#include <stdint.h>

#include "quorvel/export.h"
#include "quorvel/stabilizer.h"

/**
 * Where a picture lies.
 *
 * Planes are Y, U, V for I420 and Y, interleaved V,U for NV21; the fourth entries are not read. A pitch
 * is the distance in bytes from a row to the next, of a magnitude not below the row's length: negative
 * for a picture that is stored bottom row first, whose plane pointer names the top row all the same. Of
 * each row only its own bytes are touched, the last row included: the buffer may end with them.
 */
typedef struct MVS_PitchImage {
    int32_t lFormat;    /**< QEL_MVS_FORMAT_I420 or QEL_MVS_FORMAT_NV21; creation alone reads it */
    int32_t lWidth;     /**< pixels; creation alone reads it */
    int32_t lHeight;    /**< pixels; creation alone reads it */
    uint8_t *pPlane[4]; /**< top left samples */
    int32_t lPitch[4];  /**< bytes from row to row */
} MVS_PitchImage;

/**
 * @name Pitched frames
 * @{ */

/**
 * Creates a stabilizer whose input and output have the format and size of the image.
 *
 * The crop is 14/16 of each side, zoomed back by 16/14. Planes are not read, and the pitches are only
 * noted: each frame brings its own.
 *
 * @param stImage format and size
 * @return the handle, or null as QEL_MVS_CreateStabilizer. Either destructor frees everything.
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
 * In place when planes 0, 1 and 2 of both images are equal (also plane 2 of NV21, which is used for
 * nothing else: set it, or leave it null in both). The handle's format and size count, not the images'.
 *
 * This and its two forms below return without touching a plane when the handle is null or was not made
 * for pitched frames, when its format is another, and when a plane is null or a pitch too short.
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
 * Between an image and a packed frame of the handle's input size. The handle gives the size only, any
 * handle will do. Null arguments, planes and too short pitches: nothing happens.
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
 * Between packed I420 planes (strides lWidth and lWidth >> 1) and packed UYVY, byte order U Y0 V Y1,
 * with lPitch bytes from row to row (a magnitude of at least 2 * lWidth). lWidth >> 1 groups a row are
 * converted: the last column of an odd width is left as it was, on both sides. Null arguments and too
 * short pitches: nothing happens. No handle; any thread.
 * @{ */

/**
 * Planes to UYVY. Each chroma row serves two luma rows, the last one also the last row of an odd height
 * (which is grey, 128, where there is no chroma row at all).
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
 * UYVY to planes. The chroma is taken from the even rows without averaging; the last row of an odd
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
