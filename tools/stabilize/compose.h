// SPDX-License-Identifier: BSD-2-Clause
// Before and after in one picture.
#pragma once

#include "video/frame_source.h"

// Where a picture of size `window` lies within one of size `whole`: in its middle, on even positions.
struct Corner {
    int column = 0;
    int row = 0;
};
Corner MiddleCorner(PictureSize whole, PictureSize window);

// Replaces the columns left of `column` by those of the input's middle, with a white line between.
void ShowSplit(const Frame &input, PictureSize inSize, Frame &output, PictureSize outSize,
               PixelLayout layout, int column);

// The input's middle on the left of `joined`, which is twice as wide as the output, the output on the
// right.
void ShowSideBySide(const Frame &input, PictureSize inSize, const Frame &output, PictureSize outSize,
                    PixelLayout layout, Frame &joined);
