// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_fit.h"

#include <string.h>

#include <algorithm>

namespace {

// Transport streams take every codec, but name these only: the others come out as unknown data.
const AVCodecID kTransport[] = {
    AV_CODEC_ID_MP1,       AV_CODEC_ID_MP2,        AV_CODEC_ID_MP3,          AV_CODEC_ID_AAC,
    AV_CODEC_ID_AAC_LATM,  AV_CODEC_ID_AC3,        AV_CODEC_ID_EAC3,         AV_CODEC_ID_DTS,
    AV_CODEC_ID_TRUEHD,    AV_CODEC_ID_OPUS,       AV_CODEC_ID_S302M,        AV_CODEC_ID_H264,
    AV_CODEC_ID_HEVC,      AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO,   AV_CODEC_ID_MPEG4,
    AV_CODEC_ID_SMPTE_KLV, AV_CODEC_ID_TIMED_ID3,  AV_CODEC_ID_DVB_SUBTITLE, AV_CODEC_ID_DVB_TELETEXT,
};

MediaPtr<AVCodecParameters> CopyOf(const AVCodecParameters *from) {
    MediaPtr<AVCodecParameters> copy(NotNull(avcodec_parameters_alloc()));
    CheckMedia(avcodec_parameters_copy(copy.get(), from), "copying a stream");
    copy->codec_tag = 0; // each container has its own
    return copy;
}

} // namespace

ContainerTrial::ContainerTrial(const AVFormatContext *to, const AVCodecContext *video) : mTo(to) {
    MediaPtr<AVCodecParameters> parameters(NotNull(avcodec_parameters_alloc()));
    CheckMedia(avcodec_parameters_from_context(parameters.get(), video), "describing the pictures");
    mEntries.push_back({nullptr, std::move(parameters)});
    mTimeBase = video->time_base;
    mFrameRate = video->framerate;
    mAnyFits = HeaderWorks();
}

bool ContainerTrial::PicturesOnly() const {
    const AVOutputFormat &container = Container();
    return container.audio_codec == AV_CODEC_ID_NONE && container.subtitle_codec == AV_CODEC_ID_NONE;
}

bool ContainerTrial::Add(const AVStream *from, const AVCodecParameters *parameters) {
    if (!mAnyFits || PicturesOnly() || !KnowsCodec(parameters->codec_id)) return false;
    bool attachment = parameters->codec_type == AVMEDIA_TYPE_ATTACHMENT;
    if (attachment && strcmp(Container().name, "matroska") != 0) return false;
    mEntries.push_back({from, CopyOf(parameters)});
    if (HeaderWorks()) return true;
    mEntries.pop_back();
    return false;
}

bool ContainerTrial::KnowsCodec(AVCodecID codec) const {
    // Containers take anything as "data", but no player knows what it means.
    if (codec == AV_CODEC_ID_NONE || codec == AV_CODEC_ID_BIN_DATA) return false;
    const char *name = Container().name;
    if (!strcmp(name, "mpegts") || !strcmp(name, "hls"))
        return std::find(std::begin(kTransport), std::end(kTransport), codec) != std::end(kTransport);
    // These do not say how long a packet is, and players lose their place in FLAC.
    bool counts = !strcmp(name, "avi") || !strcmp(name, "asf");
    if (counts && codec == AV_CODEC_ID_FLAC) return false;
    int answer = avformat_query_codec(&Container(), codec, FF_COMPLIANCE_NORMAL);
    // Below 0: unknown, the trial of the header tells. There is none where the container makes several
    // files.
    return answer > 0 || (answer < 0 && !(Container().flags & AVFMT_NOFILE));
}

// Writes the header, to memory: some containers find out only then, and some have no place for a second
// stream of a kind.
bool ContainerTrial::HeaderWorks() const {
    if (Container().flags & AVFMT_NOFILE) return true;
    AVFormatContext *made = nullptr;
    if (avformat_alloc_output_context2(&made, mTo->oformat, nullptr, mTo->url) < 0)
        throw std::bad_alloc();
    MediaPtr<AVFormatContext> trial(made);
    trial->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    for (const Entry &entry : mEntries) {
        AVStream *stream = NotNull(avformat_new_stream(made, nullptr));
        CheckMedia(avcodec_parameters_copy(stream->codecpar, entry.parameters.get()),
                   "copying a stream");
        stream->time_base = mTimeBase;
        stream->avg_frame_rate = entry.like ? entry.like->avg_frame_rate : mFrameRate;
        if (!entry.like) continue;
        av_dict_copy(&stream->metadata, entry.like->metadata, 0);
        stream->disposition = entry.like->disposition;
        stream->time_base = entry.like->time_base;
    }
    if (avio_open_dyn_buf(&trial->pb) < 0) throw std::bad_alloc();
    int result = avformat_write_header(made, nullptr);
    uint8_t *written = nullptr;
    avio_close_dyn_buf(trial->pb, &written);
    trial->pb = nullptr;
    av_free(written);
    ForgetMediaError();
    return result >= 0;
}
