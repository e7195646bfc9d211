// SPDX-License-Identifier: BSD-2-Clause
// An opened container or device: its streams and what they say about themselves.
#pragma once

#include <stdint.h>

#include <vector>

#include "video/byte_file.h"
#include "video/frame_source.h"
#include "video/media_common.h"

class MediaInput {
  public:
    // As OpenMediaSource. Throws VideoError when there is no video stream in it.
    MediaInput(const std::string &path, std::unique_ptr<ByteInput> input, const SourceOptions &options);
    ~MediaInput();
    MediaInput(const MediaInput &) = delete;
    MediaInput &operator=(const MediaInput &) = delete;

    AVFormatContext *Format() const { return mFormat; }
    AVStream *Video() const { return mVideo; }
    const std::string &Name() const { return mName; }

    // The time, in AV_TIME_BASE, that becomes 0 in the output: of the part's begin when only a part is
    // asked for, of the first packet where the origin means nothing (a camera, a transport stream).
    int64_t Origin() const { return mOrigin; }
    // Likewise, where to end; INT64_MAX: nowhere.
    int64_t End() const { return mEnd; }

    // Colours of the pictures as they are handed out, filled in with the first one.
    struct Colours {
        AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
        AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
        AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
        AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
        AVChromaLocation chroma = AVCHROMA_LOC_UNSPECIFIED;
    };
    Colours colours;

    // Likewise: progressive, or the field that is shown first (AV_FIELD_TT, AV_FIELD_BB).
    AVFieldOrder fieldOrder = AV_FIELD_UNKNOWN;

    // Likewise: AVMasteringDisplayMetadata and AVContentLightMetadata as the bytes of their side data;
    // empty when there is none.
    std::vector<uint8_t> masteringDisplay;
    std::vector<uint8_t> lightLevel;

  private:
    void Close();
    void Open(const std::string &path, const SourceOptions &options);
    void FindVideo();
    void SetPart(const SourceOptions &options);

    std::string mName;
    std::unique_ptr<ByteInput> mInput;
    AVIOContext *mIo = nullptr;
    AVFormatContext *mFormat = nullptr;
    AVStream *mVideo = nullptr;
    int64_t mOrigin = 0;
    int64_t mEnd = INT64_MAX;
};
