// SPDX-License-Identifier: BSD-2-Clause
// Decoded pictures as frames, and frames as pictures to be encoded.
#pragma once

#include "video/frame_source.h"
#include "video/media_common.h"

// Fills packed I420 frames from pictures of any format and size.
class PictureImporter {
  public:
    // True when the pixels need nothing but copying.
    static bool IsDirect(int pixelFormat);

    // `size` is the even part of the pictures; pictures of another coded size are scaled to it.
    void Import(const AVFrame &picture, PictureSize coded, PictureSize size, Frame &frame);

  private:
    void Convert(const AVFrame &picture, PictureSize from, PictureSize size, Frame &frame);

    MediaPtr<SwsContext> mScaler;
    PictureSize mFrom;
    int mFormat = -1;
};

// The matrix that RGB pictures of this size are given.
AVColorSpace MatrixForRgb(PictureSize size);

// A picture of frame's pixels: naming them when the encoder can do with their rows (and the picture
// then keeps the frame from being used again), else with a copy.
MediaPtr<AVFrame> ExportPicture(const FramePtr &frame, PictureSize size, PixelLayout layout,
                                AVPixelFormat format);
