// SPDX-License-Identifier: BSD-2-Clause
// A mapped video buffer as the planes that the library takes.
#pragma once

#include <gst/video/video.h>

#include "quorvel/refined.h"

struct Picture {
    GstVideoFrame frame;
    MVS_Plane planes[GST_VIDEO_MAX_PLANES];
    gint count;
};

// False, with nothing mapped: the buffer cannot be mapped, is of another format or size than the caps,
// or its planes do not lie within its memory. `flags` is GST_MAP_READ or GST_MAP_WRITE.
gboolean picture_map(Picture *picture, const GstVideoInfo *info, GstBuffer *buffer, GstMapFlags flags);
void picture_unmap(Picture *picture);

// Copies the left half, from one picture to another of the same format and size.
void picture_copy_left_half(const Picture *from, const Picture *to);
