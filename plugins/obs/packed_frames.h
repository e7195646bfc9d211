// SPDX-License-Identifier: BSD-2-Clause
// 4:2:2 with luma and chroma in turn, as many cameras send it.
#pragma once

#include <stdint.h>

#include "quorvel/refined.h"

// Memory between two frames: 0, or what the last frame needed.
struct PackedMemory {
    uint8_t *bytes = nullptr;
    int64_t size = 0;
};

// As QEL_MVS_CompensateFrame, which takes no such planes: by way of planes of luma and of pairs. Both
// have an even width, and lLuma tells which channel is the luma. False: no memory.
bool CompensatePacked(const MVS_Context *handle, const MVS_Compensation &record, const MVS_Plane &in,
                      const MVS_Plane &out, PackedMemory &memory);

void FreePacked(PackedMemory &memory);
