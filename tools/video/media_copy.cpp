// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_copy.h"

#include <string.h>
#include <strings.h>

#include <algorithm>

#include "video/media_sound.h"
#include "video/media_subtitle.h"

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

// Null when it cannot be converted either.
std::unique_ptr<PacketConverter> MakeConverter(const AVStream *from, ContainerTrial &trial,
                                               const NoteHandler &note) {
    bool sound = from->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
    bool text = from->codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE;
    std::unique_ptr<PacketConverter> converter;
    if (sound) converter = MakeSoundConverter(from, trial, note);
    if (text) converter = MakeSubtitleConverter(from, trial);
    if (!converter) return nullptr;
    note(std::string(sound ? "sound (" : "subtitles (") + avcodec_get_name(from->codecpar->codec_id) +
         (sound ? ") is" : ") are") + " converted to " +
         avcodec_get_name(converter->Encoder()->codec_id) + ", " + trial.Container().name +
         " files cannot hold " + (sound ? "it" : "them"));
    return converter;
}

bool IsSound(const AVStream *stream) { return stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO; }

} // namespace

StreamCopier::StreamCopier(const MediaInput &input, AVFormatContext *to, const AVCodecContext *encoder,
                           const SinkOptions &options)
    : mPlaces(input.Format()->nb_streams) {
    const AVFormatContext *from = input.Format();
    CopyMetadata(from->metadata, &to->metadata);
    CopyChapters(input, to);
    ContainerTrial trial(to, encoder);
    int others = 0;
    for (unsigned i = 0; i < from->nb_streams; i++) {
        const AVStream *stream = from->streams[i];
        if (stream == input.Video()) {
            AddVideo(stream, to);
        } else if (!options.noAudio || !IsSound(stream)) {
            others++;
            if (!trial.PicturesOnly()) AddOther(stream, to, trial, options);
        }
    }
    if (trial.PicturesOnly() && others > 0)
        options.note(
            std::string(to->oformat->name) +
            " files hold nothing but pictures, the other streams are left out; try an OUTPUT with "
            "the ending .mkv");
}

void StreamCopier::AddVideo(const AVStream *from, AVFormatContext *to) {
    mVideo = NotNull(avformat_new_stream(to, nullptr));
    CopyMetadata(from->metadata, &mVideo->metadata);
    mVideo->disposition = from->disposition;
    mVideo->time_base = from->time_base;
}

void StreamCopier::AddOther(const AVStream *from, AVFormatContext *to, ContainerTrial &trial,
                            const SinkOptions &options) {
    Place &place = mPlaces[(size_t)from->index];
    bool copied = trial.Add(from, from->codecpar);
    if (!copied) place.converter = MakeConverter(from, trial, options.note);
    if (!copied && !place.converter) {
        TellLeftOut(from, to, options.note);
        return;
    }
    AVStream *stream = NotNull(avformat_new_stream(to, nullptr));
    CopyMetadata(from->metadata, &stream->metadata);
    stream->disposition = from->disposition;
    place.stream = stream;
    if (place.converter) {
        const AVCodecContext *encoder = place.converter->Encoder();
        CheckMedia(avcodec_parameters_from_context(stream->codecpar, encoder), "converting a stream");
        stream->time_base = place.timeBase = encoder->time_base;
        mConverted++;
        return;
    }
    CheckMedia(avcodec_parameters_copy(stream->codecpar, from->codecpar), "copying a stream");
    stream->codecpar->codec_tag = 0; // each container has its own
    stream->time_base = place.timeBase = from->time_base;
    stream->avg_frame_rate = from->avg_frame_rate;
    stream->r_frame_rate = from->r_frame_rate;
    stream->sample_aspect_ratio = from->sample_aspect_ratio;
    mCopied++;
}

void StreamCopier::Convert(AVPacket *packet, const PacketWriter &write) {
    if ((size_t)packet->stream_index >= mPlaces.size()) return; // appeared while reading
    Place &place = mPlaces[(size_t)packet->stream_index];
    if (!place.stream) return;
    auto finish = [&](AVPacket *made) {
        Move(place, made);
        write(made);
    };
    if (place.converter)
        place.converter->Convert(packet, finish);
    else
        finish(packet);
}

void StreamCopier::Finish(const PacketWriter &write) {
    for (Place &place : mPlaces) {
        if (!place.converter) continue;
        place.converter->Convert(nullptr, [&](AVPacket *made) {
            Move(place, made);
            write(made);
        });
    }
}

void StreamCopier::Move(Place &place, AVPacket *packet) {
    packet->stream_index = place.stream->index;
    packet->pos = -1;
    av_packet_rescale_ts(packet, place.timeBase, place.stream->time_base);
    // Containers insist on it; two packets may have fallen on one unit of a coarser time base.
    if (packet->dts != AV_NOPTS_VALUE && place.lastTime != INT64_MIN && packet->dts <= place.lastTime) {
        packet->dts = place.lastTime + 1;
        if (packet->pts != AV_NOPTS_VALUE && packet->pts < packet->dts) packet->pts = packet->dts;
    }
    if (packet->dts != AV_NOPTS_VALUE) place.lastTime = packet->dts;
}
