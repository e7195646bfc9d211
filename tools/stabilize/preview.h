// SPDX-License-Identifier: BSD-2-Clause
// A window with the input left and the output right of a line that can be moved.
#pragma once

#include <memory>
#include <string>

#include "video/frame_source.h"

extern const bool kHasPreview;

// The window library's version for --version.
std::string PreviewVersion();

class Preview {
  public:
    virtual ~Preview() = default;

    // `seconds` is when the frame is due after the first one; below 0 it is shown at once. False when
    // the window was closed.
    virtual bool Show(const Frame &input, const Frame &output, double seconds) = 0;
};

struct PreviewPictures {
    PictureSize before; // holds `after` in its middle
    PictureSize after;
    PixelLayout layout;
    int rotation = 0; // as in StreamInfo
    double sampleAspect = 1;
};

// Throws VideoError when no window can be opened.
std::unique_ptr<Preview> OpenPreview(const std::string &title, const PreviewPictures &pictures);
