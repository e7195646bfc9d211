// SPDX-License-Identifier: BSD-2-Clause
// Encodes pictures and writes them, together with the packets of other streams, to a container.
#include <limits.h>
#include <string.h>

#include <algorithm>
#include <map>
#include <optional>

#include "video/media.h"
#include "video/media_copy.h"
#include "video/media_encoder.h"
#include "video/media_picture.h"
#include "video/media_tags.h"
#include "video/output_file.h"

namespace {

void SetFields(AVFrame *picture, AVFieldOrder order) {
    bool top = order == AV_FIELD_TT;
    if (!top && order != AV_FIELD_BB) return;
#ifdef AV_FRAME_FLAG_INTERLACED
    picture->flags |= AV_FRAME_FLAG_INTERLACED | (top ? AV_FRAME_FLAG_TOP_FIELD_FIRST : 0);
#else
    picture->interlaced_frame = 1;
    picture->top_field_first = top;
#endif
}

class MediaSink : public FrameSink {
  public:
    MediaSink(const std::string &path, const StreamInfo &info, const SinkOptions &options);
    ~MediaSink() override;
    void Write(const Frame &frame) override;
    void Take(const FramePtr &frame) override;
    void TakePackets(const std::vector<PacketPtr> &packets) override;
    void Close() override;
    std::string Describe() const override;

  private:
    void OpenContainer(const std::string &path, const SinkOptions &options);
    void AddStreams(const SinkOptions &options);
    void WriteHeader();
    void Encode(const AVFrame *picture);
    void WritePacket(AVPacket *packet);
    void Check(int code) const { CheckMedia(code, "cannot write " + mName); }

    StreamInfo mInfo;
    std::string mName;
    NoteHandler mNote;
    bool mToldDamage = false;
    AVFormatContext *mFormat = nullptr;
    MediaPtr<AVCodecContext> mEncoder;
    MediaPtr<AVPacket> mPacket;
    AVStream *mVideo = nullptr;
    std::optional<PictureExporter> mExporter;
    std::optional<StreamCopier> mCopier;
    std::map<int64_t, int64_t> mDurations; // of the pictures in the encoder, by their time
    int64_t mLastTime = INT64_MIN;
};

MediaSink::MediaSink(const std::string &path, const StreamInfo &info, const SinkOptions &options)
    : mInfo(info), mName(options.name.empty() ? path : options.name), mNote(options.note),
      mPacket(NotNull(av_packet_alloc())) {
    try {
        OpenContainer(path, options);
        mEncoder = OpenEncoder(*mFormat->oformat, info, options);
        mExporter.emplace(info.size, info.layout, mEncoder->pix_fmt, mEncoder->color_range);
        AddStreams(options);
        WriteHeader();
    } catch (...) {
        if (mFormat && mFormat->pb) avio_closep(&mFormat->pb);
        avformat_free_context(mFormat);
        throw;
    }
}

MediaSink::~MediaSink() {
    if (mFormat && !(mFormat->oformat->flags & AVFMT_NOFILE)) avio_closep(&mFormat->pb);
    avformat_free_context(mFormat);
}

void MediaSink::OpenContainer(const std::string &path, const SinkOptions &options) {
    std::string url = path == "-" ? "pipe:1" : IsAddress(path) ? path : "file:" + path;
    const char *format = options.format.empty() ? nullptr : options.format.c_str();
    const AVOutputFormat *container = av_guess_format(format, mName.c_str(), nullptr);
    if (!container && format)
        throw VideoError("--output-format " + options.format +
                         ": FFmpeg knows no container of this name here");
    if (!container)
        throw VideoError("cannot tell from its name what kind of file " + mName +
                         " is to be; end it in .mp4, .mkv or the like, or give --output-format");
    if (!strcmp(container->name, "image2") && !av_filename_number_test(mName.c_str())) {
        size_t dot = mName.rfind('.');
        std::string ending = dot == std::string::npos ? "" : mName.substr(dot);
        if (EndsWith(mName, ".png")) ending = ".jpg"; // PNG has no YUV pictures
        throw VideoError(
            "one picture cannot hold a video, give a name with a number for OUTPUT, such as " +
            mName.substr(0, dot) + "%03d" + ending);
    }
    if (avformat_alloc_output_context2(&mFormat, container, nullptr, url.c_str()) < 0)
        throw std::bad_alloc();
    if (!(container->flags & AVFMT_NOFILE))
        CheckMedia(avio_open(&mFormat->pb, url.c_str(), AVIO_FLAG_WRITE),
                   "cannot create output " + mName);
}

void MediaSink::AddStreams(const SinkOptions &options) {
    if (mInfo.media) mCopier.emplace(*mInfo.media, mFormat, mEncoder.get(), options);
    mVideo = mCopier ? mCopier->Video() : NotNull(avformat_new_stream(mFormat, nullptr));
    CheckMedia(avcodec_parameters_from_context(mVideo->codecpar, mEncoder.get()), mName);
    mVideo->time_base = mEncoder->time_base;
    mVideo->sample_aspect_ratio = mEncoder->sample_aspect_ratio;
    mVideo->avg_frame_rate = mEncoder->framerate;
    DescribeVideo(mInfo, mFormat, mVideo, options.note);
}

void MediaSink::WriteHeader() {
    MediaOptions dictionary;
    mFormat->strict_std_compliance =
        FF_COMPLIANCE_EXPERIMENTAL; // FLAC in MP4, which players know by now
    if (IsMp4Family(*mFormat->oformat)) {
        bool seekable = mFormat->pb && (mFormat->pb->seekable & AVIO_SEEKABLE_NORMAL);
        // The index of a file moves to its front at the end. A pipe gets an index in each fragment, and
        // the first waits for packets: those of AC-3 say what belongs into it.
        std::string flags =
            seekable ? "faststart" : "frag_keyframe+empty_moov+delay_moov+default_base_moof";
        if (HasFreeTags(*mFormat)) flags += "+use_metadata_tags";
        dictionary.Set("movflags", flags);
        if (!strcmp(mFormat->oformat->name, "ipod")) dictionary.Set("write_tmcd", "1"); // .m4v
    }
    // Cameras' discs have packets of their own; the muxer goes by the name, here a temporary one.
    if (EndsWith(mName, ".m2ts")) dictionary.Set("mpegts_m2ts_mode", "1");
    Check(avformat_write_header(mFormat, dictionary.Get()));
}

void MediaSink::Write(const Frame &frame) {
    auto copy = std::make_shared<Frame>(mInfo.size, mInfo.layout);
    CopyPixels(frame, *copy);
    copy->time = frame.time;
    copy->duration = frame.duration;
    copy->packets = frame.packets;
    Take(copy);
}

void MediaSink::Take(const FramePtr &frame) {
    TakePackets(frame->packets);
    MediaPtr<AVFrame> picture = mExporter->Export(frame);
    AVRational from = ToMedia(mInfo.timeBase);
    int64_t time = av_rescale_q(frame->time, from, mEncoder->time_base);
    if (mLastTime != INT64_MIN) time = std::max(time, mLastTime + 1);
    mLastTime = picture->pts = time;
    picture->quality = mEncoder->global_quality;
    picture->sample_aspect_ratio = mEncoder->sample_aspect_ratio;
    picture->color_range = mEncoder->color_range;
    picture->color_primaries = mEncoder->color_primaries;
    picture->color_trc = mEncoder->color_trc;
    picture->colorspace = mEncoder->colorspace;
    picture->chroma_location = mEncoder->chroma_sample_location;
    SetFields(picture.get(), mEncoder->field_order);
    if (frame->duration > 0)
        mDurations[time] = av_rescale_q(frame->duration, from, mEncoder->time_base);
    Encode(picture.get());
}

void MediaSink::Encode(const AVFrame *picture) {
    CheckMedia(avcodec_send_frame(mEncoder.get(), picture), "cannot encode a picture");
    for (;;) {
        int result = avcodec_receive_packet(mEncoder.get(), mPacket.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        CheckMedia(result, "cannot encode a picture");
        auto known = mDurations.find(mPacket->pts);
        if (known != mDurations.end()) {
            mPacket->duration = known->second;
            mDurations.erase(known);
        }
        mPacket->stream_index = mVideo->index;
        av_packet_rescale_ts(mPacket.get(), mEncoder->time_base, mVideo->time_base);
        WritePacket(mPacket.get());
    }
}

void MediaSink::TakePackets(const std::vector<PacketPtr> &packets) {
    for (const PacketPtr &packet : packets) {
        if (!mCopier) return;
        Check(av_packet_ref(mPacket.get(), packet.get()));
        mCopier->Convert(mPacket.get(), [this](AVPacket *made) { WritePacket(made); });
        av_packet_unref(mPacket.get());
    }
}

// Damage in the packets of other streams may show only when they are written.
void MediaSink::WritePacket(AVPacket *packet) {
    int result = av_interleaved_write_frame(mFormat, packet);
    if (result != AVERROR_INVALIDDATA && result != AVERROR_PATCHWELCOME) return Check(result);
    std::string reason = MediaError(result);
    if (!mToldDamage) mNote("damaged packets beside the pictures are left out: " + reason);
    mToldDamage = true;
}

void MediaSink::Close() {
    if (mCopier) mCopier->Finish([this](AVPacket *made) { WritePacket(made); });
    Encode(nullptr);
    Check(av_write_trailer(mFormat));
    if (mFormat->oformat->flags & AVFMT_NOFILE) return;
    avio_flush(mFormat->pb);
    Check(mFormat->pb->error);
    Check(avio_closep(&mFormat->pb));
}

std::string MediaSink::Describe() const {
    std::string text = std::string(mEncoder->codec->name) + " in " + mFormat->oformat->name;
    int copied = mCopier ? mCopier->CopiedCount() : 0;
    int converted = mCopier ? mCopier->ConvertedCount() : 0;
    if (copied > 0)
        text += ", " + std::to_string(copied) + (copied == 1 ? " other stream" : " other streams") +
                " copied";
    if (converted > 0) text += ", " + std::to_string(converted) + " converted";
    return text;
}

} // namespace

bool IsMediaName(const std::string &path) {
    const AVOutputFormat *container = av_guess_format(nullptr, path.c_str(), nullptr);
    return container && strcmp(container->name, "rawvideo") != 0 &&
           container->video_codec != AV_CODEC_ID_NONE;
}

std::string FirstOfManyFiles(const std::string &path, const std::string &format) {
    const AVOutputFormat *container =
        av_guess_format(format.empty() ? nullptr : format.c_str(), path.c_str(), nullptr);
    if (!container || !(container->flags & AVFMT_NOFILE)) return "";
    char first[PATH_MAX];
    return av_get_frame_filename(first, sizeof(first), path.c_str(), 1) < 0 ? path : first;
}

std::unique_ptr<FrameSink> OpenMediaSink(const std::string &path, const StreamInfo &info,
                                         const SinkOptions &options) {
    return std::make_unique<MediaSink>(path, info, options);
}
