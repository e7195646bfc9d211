// SPDX-License-Identifier: BSD-2-Clause
// Decoded pictures as frames, and frames as pictures to be encoded.
#pragma once

#include "video/frame_source.h"
#include "video/media_common.h"

// The formats that frames can have, AV_PIX_FMT_NONE behind them; NV21 comes from raw frames only.
extern const AVPixelFormat kFramePixels[];

// Of one of these, or of NV21.
PixelLayout LayoutOf(AVPixelFormat format);
AVPixelFormat PixelsOf(const PixelLayout &layout);

// Formats with luma from 0 to 255 also have old names of their own ("yuvj420p").
AVPixelFormat FullRangeForm(AVPixelFormat format);
bool IsFullRangeForm(AVPixelFormat format);

// The frames' format that keeps the most of a picture's.
AVPixelFormat NearestFramePixels(AVPixelFormat format);

// True when pictures of one format become the other's without loss.
bool HasSamePixels(AVPixelFormat format, AVPixelFormat other);

// Fills frames from pictures of any format and size.
class PictureImporter {
  public:
    // `to` is one of kFramePixels.
    explicit PictureImporter(AVPixelFormat to = AV_PIX_FMT_YUV420P) : mTo(to) {}

    // `size` is the even part of the pictures; pictures of another coded size are scaled to it.
    void Import(const AVFrame &picture, PictureSize coded, PictureSize size, Frame &frame);

  private:
    void Convert(const AVFrame &picture, PictureSize from, PictureSize size, Frame &frame);

    AVPixelFormat mTo;
    MediaPtr<SwsContext> mScaler;
    PictureSize mFrom;
    int mFormat = -1;
};

// The matrix that RGB pictures of this size are given.
AVColorSpace MatrixForRgb(PictureSize size);

// Makes pictures of frames.
class PictureExporter {
  public:
    // `to` is the frames' own format, or one of kFramePixels, or its full-range form. The pictures have
    // the range of the frames.
    PictureExporter(PictureSize size, const PixelLayout &layout, AVPixelFormat to, AVColorRange range);

    // The picture refers to the frame's pixels when the encoder can do with their rows (and then keeps
    // the frame from being used again), else it has a copy.
    MediaPtr<AVFrame> Export(const FramePtr &frame);

  private:
    void Refer(const FramePtr &frame, AVFrame *picture) const;
    void Copy(const Frame &frame, AVFrame *picture);

    PictureSize mSize;
    PixelLayout mLayout;
    AVPixelFormat mTo;
    bool mSamePlanes;
    MediaPtr<SwsContext> mConverter; // null: nothing but copying is needed
};
