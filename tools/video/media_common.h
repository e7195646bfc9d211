// SPDX-License-Identifier: BSD-2-Clause
// What all users of FFmpeg's libraries share.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/avstring.h>
#include <libavutil/avutil.h>
#include <libavutil/display.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>
#include <vector>

#include "video/picture.h"

struct MediaRelease {
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
    void operator()(AVCodecParameters *parameters) const { avcodec_parameters_free(&parameters); }
    void operator()(AVBSFContext *filter) const { av_bsf_free(&filter); }
    void operator()(AVFormatContext *context) const { avformat_free_context(context); }
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
    void operator()(SwsContext *context) const { sws_freeContext(context); }
};
template <typename T> using MediaPtr = std::unique_ptr<T, MediaRelease>;

// Throws std::bad_alloc for null.
template <typename T> T *NotNull(T *pointer) {
    if (!pointer) throw std::bad_alloc();
    return pointer;
}

// An error code in words, with what the libraries last had to say about it.
std::string MediaError(int code);

// Drops what they said last: what failed was no fault.
void ForgetMediaError();

// True when the user asked for what the libraries say.
bool MediaMessagesShown();

// Throws VideoError, "<what>: <the code in words>", for codes below 0.
int CheckMedia(int code, const std::string &what);

// A dictionary from KEY=VALUE texts.
class MediaOptions {
  public:
    MediaOptions() = default;
    // Throws VideoError, for `option`, when a text has no '='.
    MediaOptions(const std::vector<std::string> &texts, const std::string &option);
    ~MediaOptions() { av_dict_free(&mDictionary); }
    MediaOptions(const MediaOptions &) = delete;
    MediaOptions &operator=(const MediaOptions &) = delete;

    void Set(const char *key, const std::string &value);
    bool Has(const char *key) const { return av_dict_get(mDictionary, key, nullptr, 0) != nullptr; }
    // "" without one.
    std::string Value(const char *key) const;
    AVDictionary **Get() { return &mDictionary; }

    // The first that nobody took; empty when there is none.
    std::string Left() const;

  private:
    AVDictionary *mDictionary = nullptr;
};

// What a stream says about all of its packets; null when it says nothing of this type.
const uint8_t *StreamSideData(const AVStream *stream, AVPacketSideDataType type, size_t *size);
// Room for it, replacing what was said before; null without memory.
uint8_t *NewStreamSideData(AVStream *stream, AVPacketSideDataType type, size_t size);

inline AVRational ToMedia(Rational ratio) { return {ratio.num, ratio.den}; }
inline Rational FromMedia(AVRational ratio) { return {ratio.num, ratio.den ? ratio.den : 1}; }
