// SPDX-License-Identifier: BSD-2-Clause
// Small pictures of frames, for pages: bitmaps, which need no encoder.
#pragma once

#include <string>

#include "video/picture.h"

// How the samples of a frame are shown.
struct PictureShape {
    PictureSize size;
    PixelLayout layout;
    int rotation = 0; // clockwise: 0, 90, 180, 270
    double sampleAspect = 1;
    bool fullRange = false;
    bool bt709 = false; // the matrix of the colours; else that of BT.601
};

const PictureSize kMostThumbnail = {160, 120};

struct Thumbnail {
    PictureSize size; // within kMostThumbnail
    std::string url;  // data:image/bmp, 24 bits a pixel
};

Thumbnail MakeThumbnail(const Frame &frame, const PictureShape &shape);
