// SPDX-License-Identifier: BSD-2-Clause
// The planes of the host's frames.
#pragma once

#include <stdint.h>

#include <obs-module.h>

#include "quorvel/refined.h"

const int kMostPlanes = 4;

struct FramePlanes {
    int32_t count;
    bool packed;                  // 4:2:2 in one plane, luma and chroma in turn
    MVS_Plane plane[kMostPlanes]; // the first holds the luma
};

// False for a format whose planes the library does not take, and for a damaged frame: no size, no data,
// or rows that are shorter than the picture.
bool DescribeFrame(const obs_source_frame &frame, FramePlanes &planes);

// The bytes of all planes, with the gaps between rows.
uint64_t FrameBytes(const FramePlanes &planes);

// Of a row, without the gap behind it.
int64_t RowBytes(const MVS_Plane &plane);
