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

    // True when a stream like `from`, with other parameters maybe, fits beside those added before; it
    // is added then.
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
    bool mAnyFits = false; // else the pictures alone do not
};
