// SPDX-License-Identifier: BSD-2-Clause
// What a frame is held against: the crop that a stabilizer without rotation shows, at full size, by a
// scaler that many programs use.
#pragma once

#include <libyuv/scale.h>
#include <libyuv/scale_uv.h>

#include "clip.h"

// The last row of an odd height is left out: its chroma has no room in the frame.
inline void ScaleCrop(Size size, const uint8_t *in, uint8_t *out) {
    const int width = size.width * 9 / 10 & ~1, height = size.height * 9 / 10 & ~1;
    const size_t left = (size_t)((size.width - width) / 2 & ~1),
                 top = (size_t)((size.height - height) / 2 & ~1);
    const size_t stride = (size_t)size.width;
    libyuv::NV12Scale(in + top * stride + left, size.width, in + size.Luma() + top / 2 * stride + left,
                      size.width, width, height, out, size.width, out + size.Luma(), size.width,
                      size.width, size.height & ~1, libyuv::kFilterBilinear);
}
