// SPDX-License-Identifier: BSD-2-Clause
#include "picture.h"

#include <stdlib.h>
#include <string.h>

#include "common/stream.h"

namespace {

bool Reserve(PictureMemory &memory, int64_t size) {
    if (memory.size == size) return true;
    FreePicture(memory);
    memory.bytes = (uint8_t *)malloc((size_t)size);
    memory.size = memory.bytes ? size : 0;
    return memory.bytes != nullptr;
}

int64_t PlaneBytes(const MVS_Plane &plane) { return RowBytes(plane) * plane.lHeight; }

void CopyRows(const MVS_Plane &from, const MVS_Plane &to, int32_t firstColumn) {
    const int64_t start = (int64_t)(firstColumn >> to.lLog2X) * to.lChannels * to.lSampleBytes;
    const int64_t bytes = RowBytes(to) - start;
    for (int64_t row = 0; row < to.lHeight; row++)
        memcpy(to.pPixels + row * to.llPitch + start, from.pPixels + row * from.llPitch + start,
               (size_t)bytes);
}

bool SteadyPlanes(const MVS_Context *handle, const MVS_Compensation &record, const FramePlanes &planes,
                  int32_t firstColumn, PictureMemory &memory) {
    int64_t size = 0;
    for (int i = 0; i < planes.count; i++) size += PlaneBytes(planes.plane[i]);
    if (!Reserve(memory, size)) return false;
    FramePlanes out = planes;
    uint8_t *pixels = memory.bytes;
    for (int i = 0; i < planes.count; i++) {
        out.plane[i].pPixels = pixels;
        out.plane[i].llPitch = RowBytes(planes.plane[i]);
        pixels += PlaneBytes(planes.plane[i]);
    }
    if (!QEL_MVS_CompensateFrame(handle, &record, planes.plane, out.plane, planes.count)) return false;
    for (int i = 0; i < planes.count; i++) CopyRows(out.plane[i], planes.plane[i], firstColumn);
    return true;
}

// Luma, and pairs of chroma; both have as many bytes.
struct Parts {
    uint8_t *luma, *pairs;
};

void Divide(const MVS_Plane &from, const Parts &to) {
    const int32_t luma = from.lLuma;
    for (int64_t row = 0; row < from.lHeight; row++) {
        const uint8_t *in = from.pPixels + row * from.llPitch;
        uint8_t *lumaRow = to.luma + row * from.lWidth, *pairRow = to.pairs + row * from.lWidth;
        for (int64_t i = 0; i < from.lWidth; i++) {
            lumaRow[i] = in[2 * i + luma];
            pairRow[i] = in[2 * i + 1 - luma];
        }
    }
}

void Join(const Parts &from, const MVS_Plane &to, int32_t firstColumn) {
    const int32_t luma = to.lLuma;
    for (int64_t row = 0; row < to.lHeight; row++) {
        const uint8_t *lumaRow = from.luma + row * to.lWidth, *pairRow = from.pairs + row * to.lWidth;
        uint8_t *out = to.pPixels + row * to.llPitch;
        for (int64_t i = firstColumn; i < to.lWidth; i++) {
            out[2 * i + luma] = lumaRow[i];
            out[2 * i + 1 - luma] = pairRow[i];
        }
    }
}

// The library takes no planes of luma and chroma in turn: each is copied to one of luma and one of
// pairs, and back.
bool SteadyPacked(const MVS_Context *handle, const MVS_Compensation &record, const MVS_Plane &plane,
                  int32_t firstColumn, PictureMemory &memory) {
    const int32_t width = plane.lWidth, height = plane.lHeight;
    const int64_t size = (int64_t)width * height;
    if (!Reserve(memory, 4 * size)) return false;
    const Parts from = {memory.bytes, memory.bytes + size};
    const Parts to = {memory.bytes + 2 * size, memory.bytes + 3 * size};
    Divide(plane, from);
    const MVS_Plane in[] = {MakePlane(width, height, 1, 0, 0, from.luma, width),
                            MakePlane(width, height, 2, 1, 0, from.pairs, width)};
    const MVS_Plane out[] = {MakePlane(width, height, 1, 0, 0, to.luma, width),
                             MakePlane(width, height, 2, 1, 0, to.pairs, width)};
    if (!QEL_MVS_CompensateFrame(handle, &record, in, out, 2)) return false;
    Join(to, plane, firstColumn);
    return true;
}

} // namespace

bool SteadyPicture(const MVS_Context *handle, const MVS_Compensation &record, const FramePlanes &planes,
                   bool split, PictureMemory &memory) {
    // Half of the columns, rounded down to a whole chroma sample.
    const int32_t firstColumn = split ? planes.plane[0].lWidth / 2 & ~1 : 0;
    return planes.packed ? SteadyPacked(handle, record, planes.plane[0], firstColumn, memory)
                         : SteadyPlanes(handle, record, planes, firstColumn, memory);
}

void FreePicture(PictureMemory &memory) {
    free(memory.bytes);
    memory = {};
}
