// SPDX-License-Identifier: BSD-2-Clause
// What goes from container to container as it is: other streams, metadata, chapters, tags.
#pragma once

#include <vector>

#include "video/frame_source.h"
#include "video/media_input.h"

class StreamCopier {
  public:
    // Adds a stream to `to` for each of the input's, in their order; the video stream is left for the
    // encoder's parameters. A stream that the container has no place for is told to `note`.
    StreamCopier(const MediaInput &input, AVFormatContext *to, const NoteHandler &note);

    AVStream *Video() const { return mVideo; }
    int CopiedCount() const { return mCopied; }

    // Makes the packet one of the output; false when its stream is not in it.
    bool Convert(AVPacket *packet);

  private:
    struct Place {
        AVRational timeBase = {0, 1};
        AVStream *stream = nullptr; // null: left out
        int64_t lastTime = INT64_MIN;
    };

    void AddStream(const MediaInput &input, const AVStream *from, AVFormatContext *to,
                   const NoteHandler &note);

    std::vector<Place> mPlaces; // by the input's index
    AVStream *mVideo = nullptr;
    int mCopied = 0;
};
