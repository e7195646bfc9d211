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

void CopyMiddle(const Frame &whole, PictureSize wholeSize, Frame &middle, PictureSize size,
                const PixelLayout &layout);

// How players show the pictures.
struct View {
    PixelLayout layout;
    int rotation = 0; // clockwise, degrees; columns are counted after it
};

int ShownWidth(PictureSize size, int rotation);

// Of a picture that is shown twice as wide.
PictureSize JoinedSize(PictureSize size, int rotation);

const int kLineColumns = 2;  // of the white line between before and after
const int kSplitColumns = 2; // the least on each side of it

// Replaces what is shown left of `column` by the input's middle, with a white line between.
void ShowSplit(const Frame &input, PictureSize inSize, Frame &output, PictureSize outSize,
               const View &view, int column);

// The input's middle on the left of `joined`, the output on the right.
void ShowSideBySide(const Frame &input, PictureSize inSize, const Frame &output, PictureSize outSize,
                    const View &view, Frame &joined);
