// SPDX-License-Identifier: BSD-2-Clause
// A part of a stream whose frames follow each other at a steady rate.
#pragma once

#include "video/frame_source.h"

class TrimmedSource : public FrameSource {
  public:
    // Seconds; a duration of 0 is all there is. Throws VideoError when the stream has no frame rate.
    TrimmedSource(std::unique_ptr<FrameSource> source, double start, double duration);
    bool Read(Frame &frame) override;

  private:
    std::unique_ptr<FrameSource> mSource;
    int64_t mRead = 0;
    int64_t mFirst = 0;
    int64_t mEnd = INT64_MAX;
};
