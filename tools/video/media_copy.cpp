// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_copy.h"

#include <string.h>
#include <strings.h>

#include <algorithm>

namespace {

// Describes a container or its codec, not its content.
bool IsOwn(const char *key) {
    const char *const own[] = {"major_brand", "minor_version",   "compatible_brands",
                               "encoder",     "vendor_id",       "handler_name",
                               "DURATION",    "NUMBER_OF_BYTES", "BPS"};
    for (const char *name : own)
        if (!strcasecmp(key, name)) return true; // Matroska writes all in capitals
    return !strncmp(key, "_STATISTICS", strlen("_STATISTICS"));
}

void CopyMetadata(AVDictionary *from, AVDictionary **to) {
    const AVDictionaryEntry *entry = nullptr;
    while ((entry = av_dict_get(from, "", entry, AV_DICT_IGNORE_SUFFIX)))
        if (!IsOwn(entry->key) && av_dict_set(to, entry->key, entry->value, 0) < 0)
            throw std::bad_alloc();
}

void CopyChapters(const MediaInput &input, AVFormatContext *to) {
    const AVFormatContext *from = input.Format();
    for (unsigned i = 0; i < from->nb_chapters; i++) {
        const AVChapter *chapter = from->chapters[i];
        int64_t origin = av_rescale_q(input.Origin(), AV_TIME_BASE_Q, chapter->time_base);
        bool before = chapter->end <= origin && input.Origin() > 0;
        if (before ||
            av_compare_ts(chapter->start, chapter->time_base, input.End(), AV_TIME_BASE_Q) >= 0)
            continue;
        auto *copy = NotNull((AVChapter *)av_mallocz(sizeof(AVChapter)));
        copy->id = chapter->id;
        copy->time_base = chapter->time_base;
        copy->start = std::max<int64_t>(chapter->start - origin, 0);
        copy->end = chapter->end - origin;
        if (input.End() != INT64_MAX)
            copy->end = std::min(copy->end,
                                 av_rescale_q(input.End(), AV_TIME_BASE_Q, copy->time_base) - origin);
        CopyMetadata(chapter->metadata, &copy->metadata);
        int count = (int)to->nb_chapters;
        av_dynarray_add(&to->chapters, &count, copy);
        to->nb_chapters = (unsigned)count;
    }
}

bool Fits(const AVStream *stream, const AVFormatContext *to) {
    const AVCodecParameters *parameters = stream->codecpar;
    if (parameters->codec_type == AVMEDIA_TYPE_UNKNOWN || parameters->codec_id == AV_CODEC_ID_NONE)
        return false;
    if (parameters->codec_type == AVMEDIA_TYPE_DATA && parameters->codec_id == AV_CODEC_ID_BIN_DATA)
        return false;
    if (parameters->codec_type == AVMEDIA_TYPE_ATTACHMENT)
        return !strcmp(to->oformat->name, "matroska");
    // Below 0 the container does not know, and is to be tried.
    return avformat_query_codec(to->oformat, parameters->codec_id, FF_COMPLIANCE_NORMAL) != 0;
}

void TellLeftOut(const AVStream *stream, const AVFormatContext *to, const NoteHandler &note) {
    const AVCodecParameters *parameters = stream->codecpar;
    // Made anew: the time code from the video's metadata, the track of chapter names from the chapters.
    if (parameters->codec_tag == MKTAG('t', 'm', 'c', 'd')) return;
    if (parameters->codec_tag == MKTAG('t', 'e', 'x', 't') && to->nb_chapters > 0) return;
    const char *type = av_get_media_type_string(parameters->codec_type);
    std::string kind = parameters->codec_id == AV_CODEC_ID_NONE
                           ? std::string("of an unknown kind")
                           : std::string("(") + avcodec_get_name(parameters->codec_id) + ")";
    note("stream " + std::to_string(stream->index) + " (" + (type ? type : "unknown") + ") " + kind +
         " is left out, " + to->oformat->name + " files have no place for it" +
         (strcmp(to->oformat->name, "matroska") ? "; try an OUTPUT with the ending .mkv" : ""));
}

} // namespace

StreamCopier::StreamCopier(const MediaInput &input, AVFormatContext *to, const NoteHandler &note)
    : mPlaces(input.Format()->nb_streams) {
    const AVFormatContext *from = input.Format();
    CopyMetadata(from->metadata, &to->metadata);
    CopyChapters(input, to);
    for (unsigned i = 0; i < from->nb_streams; i++) AddStream(input, from->streams[i], to, note);
}

void StreamCopier::AddStream(const MediaInput &input, const AVStream *from, AVFormatContext *to,
                             const NoteHandler &note) {
    bool isVideo = from == input.Video();
    if (!isVideo && !Fits(from, to)) {
        TellLeftOut(from, to, note);
        return;
    }
    AVStream *stream = NotNull(avformat_new_stream(to, nullptr));
    CopyMetadata(from->metadata, &stream->metadata);
    stream->disposition = from->disposition;
    stream->time_base = from->time_base;
    if (isVideo) {
        mVideo = stream;
        return;
    }
    CheckMedia(avcodec_parameters_copy(stream->codecpar, from->codecpar), "copying a stream");
    stream->codecpar->codec_tag = 0; // each container has its own
    stream->avg_frame_rate = from->avg_frame_rate;
    stream->r_frame_rate = from->r_frame_rate;
    stream->sample_aspect_ratio = from->sample_aspect_ratio;
    mPlaces[(size_t)from->index].timeBase = from->time_base;
    mPlaces[(size_t)from->index].stream = stream;
    mCopied++;
}

bool StreamCopier::Convert(AVPacket *packet) {
    if ((size_t)packet->stream_index >= mPlaces.size()) return false; // appeared while reading
    Place &place = mPlaces[(size_t)packet->stream_index];
    if (!place.stream) return false;
    packet->stream_index = place.stream->index;
    packet->pos = -1;
    av_packet_rescale_ts(packet, place.timeBase, place.stream->time_base);
    // Containers insist on it; two packets may have fallen on one unit of a coarser time base.
    if (packet->dts != AV_NOPTS_VALUE && place.lastTime != INT64_MIN && packet->dts <= place.lastTime) {
        packet->dts = place.lastTime + 1;
        if (packet->pts != AV_NOPTS_VALUE && packet->pts < packet->dts) packet->pts = packet->dts;
    }
    if (packet->dts != AV_NOPTS_VALUE) place.lastTime = packet->dts;
    return true;
}
