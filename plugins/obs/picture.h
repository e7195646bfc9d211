// SPDX-License-Identifier: BSD-2-Clause
// The pixels of one frame, from shaky to steady.
#pragma once

#include <stdint.h>

#include "frame_planes.h"

// Kept from frame to frame.
struct PictureMemory {
    uint8_t *bytes = nullptr;
    int64_t size = 0;
};

// Replaces the picture by its output; with `split` the left half stays. False, with nothing changed: no
// memory.
bool SteadyPicture(const MVS_Context *handle, const MVS_Compensation &record, const FramePlanes &planes,
                   bool split, PictureMemory &memory);

void FreePicture(PictureMemory &memory);
