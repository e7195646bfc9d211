// SPDX-License-Identifier: BSD-2-Clause
// Shows frames of any layout in the preview window, which knows 8-bit 4:2:0.
#pragma once

#include "stabilize/preview.h"
#include "video/media.h"

class PreviewFeed {
  public:
    // As OpenPreview and Preview::Show.
    PreviewFeed(const std::string &title, PreviewPictures pictures);
    bool Show(const Frame &input, const Frame &output, double seconds);

  private:
    // A converted copy of frames of one size.
    struct Converted {
        Converted(PictureSize size, const PixelLayout &layout)
            : scaler(MakeFrameScaler(size, size, layout, PixelLayout::I420)), frame(size) {}
        const Frame &Of(const Frame &from) {
            scaler->Scale(from, frame);
            return frame;
        }

        std::unique_ptr<FrameScaler> scaler;
        Frame frame;
    };

    std::unique_ptr<Preview> mPreview;
    std::unique_ptr<Converted> mBefore; // null: frames are shown as they are
    std::unique_ptr<Converted> mAfter;
};
