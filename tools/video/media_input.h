// SPDX-License-Identifier: BSD-2-Clause
// An opened container or device: its streams and what they say about themselves.
#pragma once

#include <stdint.h>

#include <utility>
#include <vector>

#include "video/byte_file.h"
#include "video/frame_source.h"
#include "video/media_common.h"

bool IsInterlaced(const AVFrame &picture);

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

    // All times here are in AV_TIME_BASE.

    // Of the first packet; 0 when the container does not say.
    int64_t First() const;
    // The end of the whole, by what the container says; INT64_MAX when it does not.
    int64_t Last() const;

    // The time that becomes 0 in the output: where the part begins, else the first packet.
    int64_t Origin() const { return mOrigin; }
    // Where the part ends; INT64_MAX: nowhere.
    int64_t End() const { return mEnd; }
    // The input is to be read from Origin on only.
    bool IsPart() const { return mOptions.start > 0; }

    // Seeks to a key picture that is earlier than Origin by at least this time. Some containers only
    // guess where one is: what is read then shows whether it has worked. False, and nothing is done,
    // when the input cannot be sought in or that would be its beginning.
    bool SeekBefore(int64_t lead);
    // Reads from the beginning; the streams and their context are new ones.
    void StartOver();

    // What the demuxer found wrong since it was last asked, but read past; empty: nothing.
    std::string TakeFault() { return std::exchange(mFault, ""); }

    // By which players turn the picture clockwise: 0, 90, 180, 270.
    int Rotation() const;

    // Fills in what is told by the first picture, but for its colours.
    void NotePicture(const AVFrame &picture);

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
    void Open();
    void FindVideo();
    void SetPart();

    std::string mPath;
    std::string mName;
    SourceOptions mOptions;
    std::unique_ptr<ByteInput> mInput;
    AVIOContext *mIo = nullptr;
    AVFormatContext *mFormat = nullptr;
    std::string mFault;
    AVStream *mVideo = nullptr;
    int64_t mOrigin = 0;
    int64_t mEnd = INT64_MAX;
};
