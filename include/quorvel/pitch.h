/*
 * Stabilization of frames whose rows are longer than the picture and whose planes lie anywhere.
 *
 *     MVS_PitchImage in = {QEL_MVS_FORMAT_NV21, 1280, 720, {y, vu, vu, 0}, {1536, 1536, 1536, 0}};
 *     MVS_Context *stabilizer = QEL_MVS_CreateStabilizerPitch(in);
 *     QEL_MVS_StabilizeFramePitch(stabilizer, in, out);
 *     QEL_MVS_DestroyStabilizerPitch(stabilizer);
 *
 * The result equals that of the packed calls (quorvel/stabilizer.h) on the same picture, byte for byte;
 * what lies between the rows is never written. The handle keeps two packed frames of its own for it.
 */
#ifndef QUORVEL_PITCH_H
#define QUORVEL_PITCH_H

#include <stdint.h>

#include "quorvel/export.h"
#include "quorvel/stabilizer.h"

/* Planes are Y, U, V for I420 and Y, interleaved V,U for NV21; the fourth entries are not read. A pitch is
 * the distance in bytes from a row to the next, of a magnitude not below the row's length: negative for a
 * picture that is stored bottom row first, whose plane pointer names the top row all the same. */
typedef struct MVS_PitchImage {
    int32_t lFormat; /* QEL_MVS_FORMAT_I420 or QEL_MVS_FORMAT_NV21 */
    int32_t lWidth;  /* pixels */
    int32_t lHeight;
    uint8_t *pPlane[4];
    int32_t lPitch[4];
} MVS_PitchImage;

/* A stabilizer whose input and output have the format and size of the image: the crop is 14/16 of each
 * side, zoomed back by 16/14. Planes are not read, and the pitches are only noted: each frame brings its
 * own. Null as QEL_MVS_CreateStabilizer. */
QEL_API MVS_Context *QEL_MVS_CreateStabilizerPitch(MVS_PitchImage stImage);

/* Either destructor frees everything. */
QEL_API void QEL_MVS_DestroyStabilizerPitch(MVS_Context *pCtx);

/* In place when planes 0, 1 and 2 of both images are equal (also plane 2 of NV21, which is used for nothing
 * else: set it, or leave it null in both). The handle's format and size count, not the images'. All three
 * calls return without touching a plane when the handle is null or was not made for pitched frames, when
 * its format is another, and when a plane is null or a pitch too short. */
QEL_API void QEL_MVS_StabilizeFramePitch(MVS_Context *pCtx, MVS_PitchImage stIn, MVS_PitchImage stOut);
QEL_API void QEL_MVS_StabilizeFrame_SameBufferPitch(MVS_Context *pCtx, MVS_PitchImage stImage);
QEL_API void QEL_MVS_StabilizeFrame_DiffBufferPitch(MVS_Context *pCtx, MVS_PitchImage stIn,
                                                    MVS_PitchImage stOut);

/* Between an image and a packed frame of the handle's input size. Null arguments, planes and too short
 * pitches: nothing happens. */
QEL_API void CopyI420FromPitchBuf(const MVS_Context *pCtx, uint8_t *pFrame, MVS_PitchImage stImage);
QEL_API void CopyNV21FromPitchBuf(const MVS_Context *pCtx, uint8_t *pFrame, MVS_PitchImage stImage);
QEL_API void CopyI420ToPitchBuf(const MVS_Context *pCtx, const uint8_t *pFrame, MVS_PitchImage stImage);
QEL_API void CopyNV21ToPitchBuf(const MVS_Context *pCtx, const uint8_t *pFrame, MVS_PitchImage stImage);

/* Between packed I420 planes (strides lWidth and lWidth >> 1) and packed UYVY, byte order U Y0 V Y1, with
 * lPitch bytes from row to row (a magnitude of at least 2 * lWidth). width >> 1 groups a row are converted:
 * the last column of an odd width is left as it was, on both sides.
 *
 * To UYVY each chroma row serves two luma rows, the last one also the last row of an odd height (which is
 * grey, 128, where there is no chroma row at all). From UYVY the chroma is taken from the even rows without
 * averaging; the last row of an odd height gives luma only. Null arguments and too short pitches: nothing
 * happens. */
QEL_API void I420_uyvy_conversion_c(const uint8_t *pY, const uint8_t *pU, const uint8_t *pV,
                                    uint8_t *pPacked, int32_t lWidth, int32_t lHeight, int32_t lPitch);
QEL_API void uyvy_I420_conversion_c(const uint8_t *pPacked, uint8_t *pY, uint8_t *pU, uint8_t *pV,
                                    int32_t lWidth, int32_t lHeight, int32_t lPitch);

#endif
