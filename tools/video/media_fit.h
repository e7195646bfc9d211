// SPDX-License-Identifier: BSD-2-Clause
// Finds out which streams a container can hold together.
#pragma once

#include <vector>

#include "video/media_common.h"

class ContainerTrial {
  public:
    // `to` is a container without streams, `video` what its pictures will be.
    ContainerTrial(const AVFormatContext *to, const AVCodecContext *video);

    // Holds pictures and nothing else.
    bool PicturesOnly() const;

    // Adds a stream like `from`, but with these parameters. False, and none is added, when it does not
    // fit beside those added before.
    bool Add(const AVStream *from, const AVCodecParameters *parameters);

    const AVOutputFormat &Container() const { return *mTo->oformat; }

  private:
    struct Entry {
        const AVStream *like; // null: the pictures
        MediaPtr<AVCodecParameters> parameters;
    };

    bool KnowsCodec(AVCodecID codec) const;
    bool HeaderWorks() const;

    const AVFormatContext *mTo;
    std::vector<Entry> mEntries;
    AVRational mTimeBase = {0, 1}; // of the pictures
    AVRational mFrameRate = {0, 1};
    bool mAnyFits = false; // the pictures alone do
};
