// SPDX-License-Identifier: BSD-2-Clause
// Two pictures side by side in one.
#pragma once

#include "video/frame_source.h"

class SideBySide {
  public:
    SideBySide(const StreamInfo &left, const StreamInfo &right);

    // Of the joined pictures, which are I420.
    PictureSize Size() const { return mSize; }

    // `joined` has Size(); what neither picture covers is black.
    void Join(const Frame &left, const Frame &right, Frame &joined) const;

  private:
    void Place(const Frame &frame, const StreamInfo &info, int column, Frame &joined) const;

    StreamInfo mLeft;
    StreamInfo mRight;
    PictureSize mSize;
};
