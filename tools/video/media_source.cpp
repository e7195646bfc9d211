// SPDX-License-Identifier: BSD-2-Clause
// Decodes the video stream of a container or device; packets of all others go along with its frames.
#include <math.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>

#include "video/interrupt.h"
#include "video/media.h"
#include "video/media_input.h"
#include "video/media_picture.h"

namespace {

const int kReadAttempts = 16;       // at what follows a damaged piece of a container
const double kMissingSeconds = 0.3; // short of the length in the header, taken for a cut-off file

bool IsInterlaced(const AVFrame &picture) {
#ifdef AV_FRAME_FLAG_INTERLACED
    return picture.flags & AV_FRAME_FLAG_INTERLACED;
#else
    return picture.interlaced_frame;
#endif
}

AVFieldOrder FieldOrder(const AVFrame &picture, AVFieldOrder ofStream) {
    if (IsInterlaced(picture)) {
#ifdef AV_FRAME_FLAG_TOP_FIELD_FIRST
        bool top = picture.flags & AV_FRAME_FLAG_TOP_FIELD_FIRST;
#else
        bool top = picture.top_field_first;
#endif
        return top ? AV_FIELD_TT : AV_FIELD_BB;
    }
    // The stream's order tells the coded field before the one that is shown first.
    if (ofStream == AV_FIELD_TT || ofStream == AV_FIELD_BT) return AV_FIELD_TT;
    if (ofStream == AV_FIELD_BB || ofStream == AV_FIELD_TB) return AV_FIELD_BB;
    return AV_FIELD_PROGRESSIVE;
}

// Quarter turns clockwise out of the display matrix; pictures that are mirrored, or turned by another
// angle, count as not turned.
int Rotation(const AVStream *stream) {
    size_t size = 0;
    const auto *matrix = (const int32_t *)StreamSideData(stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (!matrix || size < 9 * sizeof(int32_t)) return 0;
    bool mirrored = (double)matrix[0] * matrix[4] < (double)matrix[1] * matrix[3];
    double clockwise = -av_display_rotation_get(matrix);
    double quarters = round(clockwise / 90);
    if (mirrored || !(fabs(clockwise - 90 * quarters) < 1)) return 0; // not a number either
    return ((int)quarters + 4) % 4 * 90;
}

std::vector<uint8_t> SideDataBytes(const AVFrame &picture, AVFrameSideDataType type) {
    const AVFrameSideData *data = av_frame_get_side_data(&picture, type);
    if (!data) return {};
    return {data->data, data->data + data->size};
}

int64_t Duration(const AVFrame &picture) {
#if LIBAVUTIL_VERSION_MAJOR >= 58
    return picture.duration;
#else
    return picture.pkt_duration;
#endif
}

class MediaSource : public FrameSource {
  public:
    MediaSource(std::shared_ptr<MediaInput> input, const SourceOptions &options);
    bool Read(Frame &frame) override;

  private:
    void OpenDecoder(int threads);
    void DescribeStream();
    void DescribePicture();
    void EstimateCount();
    bool NextPicture();
    bool NextPictureOfPart();
    void Feed();
    void KeepPacket();
    void ReadOthersToEnd();
    void TellChanges(Frame &frame);
    void SetTimes(Frame &frame);
    void Finish() const;
    int64_t InVideoTime(int64_t time) const {
        return time == INT64_MAX ? time : av_rescale_q(time, AV_TIME_BASE_Q, mVideo->time_base);
    }

    std::shared_ptr<MediaInput> mInput;
    AVStream *mVideo;
    NoteHandler mNote;
    MediaPtr<AVCodecContext> mDecoder;
    MediaPtr<AVFrame> mPicture;
    MediaPtr<AVPacket> mPacket;
    PictureImporter mImporter;
    std::vector<PacketPtr> mPackets; // read since the last frame
    bool mPending = false;           // mPicture was decoded at the opening
    bool mFlushing = false;
    bool mEndReached = false;
    bool mToldInterlaced = false;
    PictureSize mLastSize;
    int64_t mNextTime = 0; // of a picture that has none
    int64_t mLastTime = 0;
    int64_t mFrameCount = 0;
    int64_t mLastSeen = 0; // latest end of a packet, in AV_TIME_BASE
    int mDamaged = 0;
    std::string mReadFault;
};

MediaSource::MediaSource(std::shared_ptr<MediaInput> input, const SourceOptions &options)
    : mInput(std::move(input)), mVideo(mInput->Video()), mNote(options.note),
      mPicture(NotNull(av_frame_alloc())), mPacket(NotNull(av_packet_alloc())) {
    mName = mInput->Name();
    OpenDecoder(options.threads);
    DescribeStream();
    mPending = NextPictureOfPart();
    if (!mPending) {
        if (Interrupted()) throw VideoError(mName + ": interrupted before its first frame");
        if (options.start > 0) throw VideoError("--start: " + mName + " holds no frame from there on");
        throw VideoError(mName + ": holds no frame that can be decoded" +
                         (mReadFault.empty() ? "" : ", " + mReadFault));
    }
    DescribePicture();
}

void MediaSource::OpenDecoder(int threads) {
    const AVCodec *codec = avcodec_find_decoder(mVideo->codecpar->codec_id);
    if (!codec)
        throw VideoError(mName + ": no decoder for its video (" +
                         avcodec_get_name(mVideo->codecpar->codec_id) + ")");
    mDecoder.reset(NotNull(avcodec_alloc_context3(codec)));
    CheckMedia(avcodec_parameters_to_context(mDecoder.get(), mVideo->codecpar), mName);
    mDecoder->pkt_timebase = mVideo->time_base;
    mDecoder->thread_count = threads;
    CheckMedia(avcodec_open2(mDecoder.get(), codec, nullptr), mName + ": cannot open the decoder");
}

void MediaSource::DescribeStream() {
    mInfo.container = Container::Coded;
    mInfo.media = mInput;
    mInfo.timeBase = FromMedia(mVideo->time_base);
    mInfo.rotation = Rotation(mVideo);
    mInfo.framesPerSecond = FromMedia(av_guess_frame_rate(mInput->Format(), mVideo, nullptr));
    if (mInfo.framesPerSecond.num <= 0) mInfo.framesPerSecond = {25, 1};
    EstimateCount();
}

void MediaSource::EstimateCount() {
    const AVFormatContext *format = mInput->Format();
    int64_t first = format->start_time == AV_NOPTS_VALUE ? 0 : format->start_time;
    int64_t begin = std::max(first, mInput->Origin());
    int64_t end = mInput->End();
    if (format->duration != AV_NOPTS_VALUE) end = std::min(end, first + format->duration);
    bool whole = begin == first && mInput->End() == INT64_MAX;
    if (whole && mVideo->nb_frames > 0)
        mInfo.frameCount = mVideo->nb_frames;
    else if (end != INT64_MAX && end > begin)
        mInfo.frameCount =
            (int64_t)((double)(end - begin) / AV_TIME_BASE * mInfo.framesPerSecond.Value());
}

void MediaSource::DescribePicture() {
    mLastSize = mInfo.codedSize = {mPicture->width, mPicture->height};
    mInfo.size = EvenPart(mInfo.codedSize);
    if (mInfo.size.width == 0 || mInfo.size.height == 0 || mInfo.size.width > kMaxSide ||
        mInfo.size.height > kMaxSide)
        throw VideoError(mName + ": pictures of " + SizeText(mInfo.codedSize) +
                         " cannot be stabilized, sides are 2 to " + std::to_string(kMaxSide));
    mInfo.sampleAspect =
        FromMedia(av_guess_sample_aspect_ratio(mInput->Format(), mVideo, mPicture.get()));
    mInput->fieldOrder = FieldOrder(*mPicture, mVideo->codecpar->field_order);
    mToldInterlaced = mInfo.interlaced = mInput->fieldOrder != AV_FIELD_PROGRESSIVE;
    auto format = (AVPixelFormat)mPicture->format;
    bool rgb = av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB;
    if (!PictureImporter::IsDirect(format))
        mInfo.notes.push_back(std::string("its pixels (") + av_get_pix_fmt_name(format) +
                              ") are converted to 8-bit 4:2:0");
    MediaInput::Colours &colours = mInput->colours;
    colours.range = rgb ? AVCOL_RANGE_MPEG : mPicture->color_range;
    if (format == AV_PIX_FMT_YUVJ420P) colours.range = AVCOL_RANGE_JPEG;
    colours.primaries = mPicture->color_primaries;
    colours.transfer = mPicture->color_trc;
    colours.matrix = rgb ? MatrixForRgb(mInfo.size) : mPicture->colorspace;
    colours.chroma = mPicture->chroma_location;
    mInput->masteringDisplay = SideDataBytes(*mPicture, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA);
    mInput->lightLevel = SideDataBytes(*mPicture, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL);
    mInfo.fullRange = colours.range == AVCOL_RANGE_JPEG;
}

bool MediaSource::Read(Frame &frame) {
    frame.packets.clear();
    bool more = !mEndReached && !Interrupted() && (mPending || NextPictureOfPart());
    if (!more && mInput->End() != INT64_MAX && !Interrupted()) ReadOthersToEnd();
    frame.packets.swap(mPackets);
    mPending = false;
    if (!more) {
        Finish();
        return false;
    }
    TellChanges(frame);
    mImporter.Import(*mPicture, mInfo.codedSize, mInfo.size, frame);
    SetTimes(frame);
    mFrameCount++;
    return true;
}

// Times increase, whatever the container says.
void MediaSource::SetTimes(Frame &frame) {
    int64_t time = mPicture->best_effort_timestamp;
    if (time == AV_NOPTS_VALUE) time = mNextTime;
    if (mFrameCount > 0) time = std::max(time, mLastTime + 1);
    frame.time = time - InVideoTime(mInput->Origin());
    frame.duration = Duration(*mPicture);
    int64_t usual = av_rescale_q(1, av_inv_q(ToMedia(mInfo.framesPerSecond)), mVideo->time_base);
    mNextTime = time + std::max<int64_t>(frame.duration > 0 ? frame.duration : usual, 1);
    mLastTime = time;
}

void MediaSource::TellChanges(Frame &frame) {
    PictureSize size = {mPicture->width, mPicture->height};
    frame.restart = size != mLastSize;
    std::string at = " from frame " + std::to_string(mFrameCount + 1) + " on";
    if (frame.restart)
        mNote(mName + ": pictures are " + SizeText(size) + at +
              (size == mInfo.codedSize ? " again" : ", they are scaled to " + SizeText(mInfo.size)) +
              "; the stabilizer starts anew");
    mLastSize = size;
    if (!mToldInterlaced && IsInterlaced(*mPicture)) {
        mToldInterlaced = true;
        mNote(mName + ": interlaced" + at +
              ", such frames are moved as a whole; deinterlace first for "
              "a clean picture");
    }
}

bool MediaSource::NextPictureOfPart() {
    int64_t begin = mInput->Origin() > 0 ? InVideoTime(mInput->Origin()) : INT64_MIN;
    int64_t end = InVideoTime(mInput->End());
    while (NextPicture()) {
        int64_t time = mPicture->best_effort_timestamp;
        if (time != AV_NOPTS_VALUE && time < begin) continue;
        mEndReached = time != AV_NOPTS_VALUE && time >= end;
        return !mEndReached;
    }
    mEndReached = true;
    return false;
}

bool MediaSource::NextPicture() {
    for (;;) {
        int result = avcodec_receive_frame(mDecoder.get(), mPicture.get());
        if (result == 0) {
            bool corrupt = mPicture->decode_error_flags || (mPicture->flags & AV_FRAME_FLAG_CORRUPT);
            mDamaged += corrupt;
            return true;
        }
        if (result == AVERROR_EOF || Interrupted()) return false;
        if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
        if (result != AVERROR(EAGAIN)) mDamaged++;
        if (mFlushing && result == AVERROR(EAGAIN)) return false;
        if (!mFlushing) Feed();
    }
}

// Gives the decoder its next packet, or the end.
void MediaSource::Feed() {
    int result = 0;
    for (int attempt = 0; attempt < kReadAttempts; attempt++) {
        av_packet_unref(mPacket.get());
        result = av_read_frame(mInput->Format(), mPacket.get());
        if (result >= 0 || result == AVERROR_EOF || Interrupted()) break;
        if (result == AVERROR(EAGAIN)) { // a camera without a picture yet
            usleep(2000);
            attempt--;
        } else {
            mReadFault = MediaError(result);
        }
    }
    if (result < 0) {
        mFlushing = true;
        avcodec_send_packet(mDecoder.get(), nullptr);
        return;
    }
    KeepPacket();
    if (mPacket->stream_index != mVideo->index) return;
    result = avcodec_send_packet(mDecoder.get(), mPacket.get());
    if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (result < 0) mDamaged++;
    av_packet_unref(mPacket.get());
}

// Notes how far the packet reaches, and keeps it when it belongs to another stream and to the part.
void MediaSource::KeepPacket() {
    const AVStream *stream = mInput->Format()->streams[mPacket->stream_index];
    int64_t time = mPacket->pts != AV_NOPTS_VALUE ? mPacket->pts : mPacket->dts;
    if (time != AV_NOPTS_VALUE) {
        int64_t end = av_rescale_q(time + mPacket->duration, stream->time_base, AV_TIME_BASE_Q);
        mLastSeen = std::max(mLastSeen, end);
    }
    if (mPacket->flags & AV_PKT_FLAG_CORRUPT) mReadFault = "a packet is incomplete";
    if (stream == mVideo) return;
    int64_t origin = av_rescale_q(mInput->Origin(), AV_TIME_BASE_Q, stream->time_base);
    bool cover = stream->disposition & AV_DISPOSITION_ATTACHED_PIC;
    if (time != AV_NOPTS_VALUE && !cover) {
        bool tooEarly = mInput->Origin() > 0 && time + mPacket->duration <= origin;
        if (tooEarly || av_compare_ts(time, stream->time_base, mInput->End(), AV_TIME_BASE_Q) >= 0)
            return;
    }
    PacketPtr packet(NotNull(av_packet_alloc()), MediaRelease());
    av_packet_move_ref(packet.get(), mPacket.get());
    mPacket->stream_index = packet->stream_index; // the caller asks for it
    if (packet->pts != AV_NOPTS_VALUE && !cover) packet->pts -= origin;
    if (packet->dts != AV_NOPTS_VALUE && !cover) packet->dts -= origin;
    mPackets.push_back(std::move(packet));
}

// Sound may lie a little behind the pictures of its time.
void MediaSource::ReadOthersToEnd() {
    int64_t limit = mInput->End() + AV_TIME_BASE;
    while (mLastSeen < limit && av_read_frame(mInput->Format(), mPacket.get()) >= 0) {
        KeepPacket();
        av_packet_unref(mPacket.get());
    }
}

// Throws when the stream was not whole.
void MediaSource::Finish() const {
    if (Interrupted()) return;
    const AVFormatContext *format = mInput->Format();
    std::string fault = mReadFault;
    int64_t first = format->start_time == AV_NOPTS_VALUE ? 0 : format->start_time;
    double missing = (double)(first + format->duration - mLastSeen) / AV_TIME_BASE;
    bool lengthKnown = format->duration_estimation_method == AVFMT_DURATION_FROM_STREAM;
    if (lengthKnown && mInput->End() == INT64_MAX && missing > kMissingSeconds) {
        char text[80];
        snprintf(text, sizeof(text), "%.1f of %.1f seconds are missing at its end", missing,
                 (double)format->duration / AV_TIME_BASE);
        fault = text;
    } else if (mDamaged > 0) {
        fault = std::to_string(mDamaged) + " of its pictures cannot be decoded, or only in part";
    }
    if (fault.empty()) return;
    throw VideoError(mName + ": cut short or damaged, " + fault + "; the " +
                     std::to_string(mFrameCount) + " frames that could be decoded are written");
}

} // namespace

std::unique_ptr<FrameSource> OpenMediaSource(const std::string &path, std::unique_ptr<ByteInput> input,
                                             const SourceOptions &options) {
    auto media = std::make_shared<MediaInput>(path, std::move(input), options);
    return std::make_unique<MediaSource>(std::move(media), options);
}
