// SPDX-License-Identifier: BSD-2-Clause
#include "packed_frames.h"

#include <stdlib.h>

#include "common/stream.h"

namespace {

// Both have as many bytes: a pair of chroma for two pixels.
struct Parts {
    uint8_t *luma, *pairs;
};

bool Reserve(PackedMemory &memory, int64_t size) {
    if (memory.size == size) return true;
    FreePacked(memory);
    memory.bytes = (uint8_t *)malloc((size_t)size);
    memory.size = memory.bytes ? size : 0;
    return memory.bytes != nullptr;
}

void Split(const MVS_Plane &from, const Parts &to) {
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

void Join(const Parts &from, const MVS_Plane &to) {
    const int32_t luma = to.lLuma;
    for (int64_t row = 0; row < to.lHeight; row++) {
        const uint8_t *lumaRow = from.luma + row * to.lWidth, *pairRow = from.pairs + row * to.lWidth;
        uint8_t *out = to.pPixels + row * to.llPitch;
        for (int64_t i = 0; i < to.lWidth; i++) {
            out[2 * i + luma] = lumaRow[i];
            out[2 * i + 1 - luma] = pairRow[i];
        }
    }
}

} // namespace

bool CompensatePacked(const MVS_Context *handle, const MVS_Compensation &record, const MVS_Plane &in,
                      const MVS_Plane &out, PackedMemory &memory) {
    const int32_t width = in.lWidth, height = in.lHeight;
    const int64_t plane = (int64_t)width * height;
    if (!Reserve(memory, 4 * plane)) return false;
    const Parts from = {memory.bytes, memory.bytes + plane};
    const Parts to = {memory.bytes + 2 * plane, memory.bytes + 3 * plane};
    Split(in, from);
    const MVS_Plane inPlanes[] = {MakePlane(width, height, 1, 0, 0, from.luma, width),
                                  MakePlane(width, height, 2, 1, 0, from.pairs, width)};
    const MVS_Plane outPlanes[] = {MakePlane(width, height, 1, 0, 0, to.luma, width),
                                   MakePlane(width, height, 2, 1, 0, to.pairs, width)};
    if (!QEL_MVS_CompensateFrame(handle, &record, inPlanes, outPlanes, 2)) return false;
    Join(to, out);
    return true;
}

void FreePacked(PackedMemory &memory) {
    free(memory.bytes);
    memory = {};
}
