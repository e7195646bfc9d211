// SPDX-License-Identifier: BSD-2-Clause
// Decodes the video stream of a container or device; packets of all others go along with its frames.
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "video/interrupt.h"
#include "video/media.h"
#include "video/media_input.h"
#include "video/media_picture.h"

namespace {

const int kReadAttempts = 16;       // at what follows a damaged piece of a container
const double kMissingSeconds = 0.3; // short of the length in the header, taken for a cut-off file
const int64_t kTimeSlack = 500;     // microseconds: the coarsest containers round to a millisecond

// How long before a part to look for a key picture, in AV_TIME_BASE. Containers of files know where one
// is. Transport streams do not, and it takes more than the usual distance of key pictures to meet one.
const int64_t kLeads[] = {AV_TIME_BASE, 15 * AV_TIME_BASE};

int64_t Duration(const AVFrame &picture) {
#if LIBAVUTIL_VERSION_MAJOR >= 58
    return picture.duration;
#else
    return picture.pkt_duration;
#endif
}

bool IsDamaged(const AVFrame &picture) {
    return picture.decode_error_flags || (picture.flags & AV_FRAME_FLAG_CORRUPT);
}

// `usual`: when the stream does not say.
ChromaSite ChromaSiteOf(AVChromaLocation location, ChromaSite usual) {
    if (location == AVCHROMA_LOC_UNSPECIFIED) return usual;
    bool left = location == AVCHROMA_LOC_LEFT || location == AVCHROMA_LOC_TOPLEFT ||
                location == AVCHROMA_LOC_BOTTOMLEFT;
    bool top = location == AVCHROMA_LOC_TOP || location == AVCHROMA_LOC_TOPLEFT;
    bool bottom = location == AVCHROMA_LOC_BOTTOM || location == AVCHROMA_LOC_BOTTOMLEFT;
    return {left ? 0 : 2, top ? 0 : bottom ? 4 : 2};
}

class MediaSource : public FrameSource {
  public:
    MediaSource(std::shared_ptr<MediaInput> input, const SourceOptions &options);
    bool Read(Frame &frame) override;

  private:
    void OpenDecoder();
    void DescribeStream();
    void DescribePicture();
    void EstimateCount();
    bool FindPart();
    bool ReachKey();
    void StartOver();
    [[noreturn]] void FailEmpty() const;
    bool NextPicture();
    bool NextPictureOfPart();
    void SetTime();
    bool Decode();
    void Feed();
    bool TakePacket();
    void KeepPacket(int64_t time);
    void ReadOthersToEnd();
    void TellChanges(Frame &frame);
    void Finish() const;
    double MissingSeconds() const;
    // Whether the picture begins at this time, in AV_TIME_BASE, or later.
    bool IsFrom(int64_t time) const {
        return av_compare_ts(mTime, mVideo->time_base, time - kTimeSlack, AV_TIME_BASE_Q) >= 0;
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
    bool mEndReached = false;
    bool mToldInterlaced = false;
    bool mKeepPixels;
    int mThreads;
    PictureSize mLastSize;
    int64_t mFrameCount = 0;

    // Of the stream since it was last begun.
    struct Progress {
        bool sought = false;              // not from its beginning
        bool flushing = false;            // the decoder has got its last packet
        int64_t keyTime = AV_NOPTS_VALUE; // of the first packet with a key picture
        int64_t keyDecodeTime = AV_NOPTS_VALUE;
        bool keySeen = false;
        bool timesMissing = false; // of a picture, which then lies where it is counted to be
        int64_t pictures = 0;
        int64_t delay = 0;         // by which times taken from packets are too late
        int64_t nextTime = 0;      // of a picture that has none
        int64_t lastSeen = 0;      // latest end of a packet, in AV_TIME_BASE
        int64_t lastVideoSeen = 0; // likewise, of the pictures' ones
        int damaged = 0;
        std::string readFault;
    };
    Progress mProgress;
    int64_t mTime = 0; // of mPicture
};

MediaSource::MediaSource(std::shared_ptr<MediaInput> input, const SourceOptions &options)
    : mInput(std::move(input)), mVideo(mInput->Video()), mNote(options.note),
      mPicture(NotNull(av_frame_alloc())), mPacket(NotNull(av_packet_alloc())),
      mKeepPixels(options.keepPixels), mThreads(options.threads) {
    mName = mInput->Name();
    OpenDecoder();
    DescribeStream();
    mPending = FindPart();
    if (!mPending) FailEmpty();
    if (mInput->IsPart()) { // what is wrong before it does not matter
        mProgress.damaged = IsDamaged(*mPicture);
        mProgress.readFault.clear();
    }
    DescribePicture();
}

void MediaSource::FailEmpty() const {
    if (Interrupted()) throw VideoError(mName + ": interrupted before its first frame");
    if (mProgress.pictures == 0)
        throw VideoError(mName + ": holds no frame that can be decoded" +
                         (mProgress.readFault.empty() ? "" : ", " + mProgress.readFault));
    if (mEndReached)
        throw VideoError("--duration: " + mName + " has no frame within this time, give a longer one");
    double length =
        (double)mProgress.nextTime * av_q2d(mVideo->time_base) - (double)mInput->First() / AV_TIME_BASE;
    FailBehindEnd(mName, length);
}

void MediaSource::OpenDecoder() {
    const AVCodec *codec = avcodec_find_decoder(mVideo->codecpar->codec_id);
    if (!codec)
        throw VideoError(mName + ": no decoder for its video (" +
                         avcodec_get_name(mVideo->codecpar->codec_id) + ")");
    mDecoder.reset(NotNull(avcodec_alloc_context3(codec)));
    CheckMedia(avcodec_parameters_to_context(mDecoder.get(), mVideo->codecpar), mName);
    mDecoder->pkt_timebase = mVideo->time_base;
    mDecoder->thread_count = mThreads;
    CheckMedia(avcodec_open2(mDecoder.get(), codec, nullptr), mName + ": cannot open the decoder");
}

void MediaSource::DescribeStream() {
    bool y4m = !strcmp(mInput->Format()->iformat->name, "yuv4mpegpipe");
    mInfo.container = y4m ? Container::Y4m : Container::Coded;
    mInfo.media = mInput;
    mInfo.timeBase = FromMedia(mVideo->time_base);
    mInfo.rotation = mInput->Rotation();
    mInfo.framesPerSecond = FromMedia(av_guess_frame_rate(mInput->Format(), mVideo, nullptr));
    if (mInfo.framesPerSecond.num <= 0) mInfo.framesPerSecond = {25, 1};
    mInfo.meanRate = FromMedia(mVideo->avg_frame_rate);
    EstimateCount();
}

void MediaSource::EstimateCount() {
    int64_t begin = std::max(mInput->First(), mInput->Origin());
    int64_t end = std::min(mInput->End(), mInput->Last());
    bool whole = !mInput->IsPart() && mInput->End() == INT64_MAX;
    if (whole && mVideo->nb_frames > 0)
        mInfo.frameCount = mVideo->nb_frames;
    else if (end != INT64_MAX && end > begin)
        mInfo.frameCount =
            (int64_t)((double)(end - begin) / AV_TIME_BASE * mInfo.framesPerSecond.Value());
}

// Pictures shown behind a key picture are the same wherever the reading began. When there is none
// before the part, or the times cannot be relied on, what is before the part is read from the
// beginning.
bool MediaSource::FindPart() {
    for (int64_t lead : kLeads) {
        if (!mInput->SeekBefore(lead)) break;
        mProgress.sought = true;
        bool reached = ReachKey();
        bool found = reached && NextPictureOfPart();
        if ((reached && !mProgress.timesMissing) || Interrupted()) return found;
        StartOver();
    }
    return NextPictureOfPart();
}

bool MediaSource::ReachKey() {
    while (NextPicture() && !mProgress.timesMissing) {
        if (mTime < mProgress.keyTime) continue;
        mPending = mTime == mProgress.keyTime && !IsDamaged(*mPicture) && !IsFrom(mInput->Origin());
        return mPending;
    }
    return false;
}

void MediaSource::StartOver() {
    mInput->StartOver();
    mVideo = mInput->Video();
    mPackets.clear();
    mProgress = {};
    mPending = mEndReached = false;
    OpenDecoder();
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
    mInput->NotePicture(*mPicture);
    mToldInterlaced = mInfo.interlaced = mInput->fieldOrder != AV_FIELD_PROGRESSIVE;
    auto format = (AVPixelFormat)mPicture->format;
    bool rgb = av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB;
    AVPixelFormat kept = mKeepPixels ? NearestFramePixels(format) : AV_PIX_FMT_YUV420P;
    mImporter = PictureImporter(kept);
    mInfo.layout = LayoutOf(kept);
    if (!HasSamePixels(format, kept))
        mInfo.notes.push_back(std::string("its pixels (") + av_get_pix_fmt_name(format) +
                              ") are converted to " +
                              (mKeepPixels ? av_get_pix_fmt_name(kept) : "8-bit 4:2:0"));
    MediaInput::Colours &colours = mInput->colours;
    colours.range = rgb ? AVCOL_RANGE_MPEG : mPicture->color_range;
    if (IsFullRangeForm(format)) colours.range = AVCOL_RANGE_JPEG;
    colours.primaries = mPicture->color_primaries;
    colours.transfer = mPicture->color_trc;
    colours.matrix = rgb ? MatrixForRgb(mInfo.size) : mPicture->colorspace;
    colours.chroma = mPicture->chroma_location;
    // As in MPEG-2, but for JPEG pictures; those that are not kept as they are count as JPEG's too.
    bool middle = !mKeepPixels || IsFullRangeForm(format);
    mInfo.chromaSite = ChromaSiteOf(colours.chroma, {middle ? 2 : 0, 2});
    mInfo.fullRange = colours.range == AVCOL_RANGE_JPEG;
}

bool MediaSource::Read(Frame &frame) {
    frame.packets.clear();
    bool more = !mEndReached && !Interrupted() && NextPictureOfPart();
    if (!more && mInput->End() != INT64_MAX && !Interrupted()) ReadOthersToEnd();
    frame.packets.swap(mPackets);
    if (!more) {
        Finish();
        return false;
    }
    TellChanges(frame);
    mImporter.Import(*mPicture, mInfo.codedSize, mInfo.size, frame);
    frame.time = mTime - av_rescale_q(mInput->Origin(), AV_TIME_BASE_Q, mVideo->time_base);
    frame.duration = Duration(*mPicture);
    mFrameCount++;
    return true;
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
    while (mPending || NextPicture()) {
        mPending = false;
        if (mInput->IsPart() && !IsFrom(mInput->Origin())) continue;
        mEndReached = mInput->End() != INT64_MAX && IsFrom(mInput->End());
        return !mEndReached;
    }
    return false;
}

bool MediaSource::NextPicture() {
    if (!Decode()) return false;
    mProgress.damaged += IsDamaged(*mPicture);
    SetTime();
    return true;
}

// Times increase, whatever the container says.
void MediaSource::SetTime() {
    int64_t time = mPicture->best_effort_timestamp;
    bool first = mProgress.pictures++ == 0;
    if (mPicture->pts == AV_NOPTS_VALUE) {
        // Then `time` is that of the last packet that went in, some packets after the picture's own.
        if (first && time != AV_NOPTS_VALUE && mProgress.keyDecodeTime != AV_NOPTS_VALUE)
            mProgress.delay = std::max<int64_t>(time - mProgress.keyDecodeTime, 0);
        mProgress.timesMissing = true;
    }
    time = time == AV_NOPTS_VALUE ? mProgress.nextTime : time - mProgress.delay;
    mTime = first ? time : std::max(time, mTime + 1);
    int64_t duration = Duration(*mPicture);
    int64_t usual = av_rescale_q(1, av_inv_q(ToMedia(mInfo.framesPerSecond)), mVideo->time_base);
    mProgress.nextTime = mTime + std::max<int64_t>(duration > 0 ? duration : usual, 1);
}

bool MediaSource::Decode() {
    for (;;) {
        int result = avcodec_receive_frame(mDecoder.get(), mPicture.get());
        if (result == 0) return true;
        if (result == AVERROR_EOF || Interrupted()) return false;
        if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
        if (result != AVERROR(EAGAIN)) mProgress.damaged++;
        if (mProgress.flushing && result == AVERROR(EAGAIN)) return false;
        if (!mProgress.flushing) Feed();
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
            mProgress.readFault = MediaError(result);
        }
    }
    std::string fault = mInput->TakeFault();
    if (!fault.empty()) mProgress.readFault = fault;
    if (result < 0) {
        mProgress.flushing = true;
        avcodec_send_packet(mDecoder.get(), nullptr);
        return;
    }
    if (!TakePacket()) return;
    result = avcodec_send_packet(mDecoder.get(), mPacket.get());
    if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (result < 0) mProgress.damaged++;
}

// Notes what the packet says of the stream's progress; true when it is for the decoder.
bool MediaSource::TakePacket() {
    const AVPacket &packet = *mPacket;
    const AVStream *stream = mInput->Format()->streams[packet.stream_index];
    bool picture = stream == mVideo;
    int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    if (time != AV_NOPTS_VALUE) {
        int64_t end = av_rescale_q(time + packet.duration, stream->time_base, AV_TIME_BASE_Q);
        mProgress.lastSeen = std::max(mProgress.lastSeen, end);
        if (picture) mProgress.lastVideoSeen = std::max(mProgress.lastVideoSeen, end);
    }
    if (packet.flags & AV_PKT_FLAG_CORRUPT) mProgress.readFault = "a packet is incomplete";
    if (!picture) KeepPacket(time);
    if (!picture || packet.size == 0) return false; // to the decoder an empty one would be the end
    if (!mProgress.keySeen && (packet.flags & AV_PKT_FLAG_KEY)) {
        mProgress.keySeen = true;
        mProgress.keyTime = packet.pts;
        mProgress.keyDecodeTime = packet.dts;
    }
    return mProgress.keySeen || !mProgress.sought;
}

// Keeps a packet of another stream when it belongs to the part.
void MediaSource::KeepPacket(int64_t time) {
    const AVStream *stream = mInput->Format()->streams[mPacket->stream_index];
    int64_t origin = av_rescale_q(mInput->Origin(), AV_TIME_BASE_Q, stream->time_base);
    bool cover = stream->disposition & AV_DISPOSITION_ATTACHED_PIC;
    if (time != AV_NOPTS_VALUE && !cover) {
        bool tooEarly = mInput->Origin() > 0 && time + mPacket->duration <= origin;
        if (tooEarly || av_compare_ts(time, stream->time_base, mInput->End(), AV_TIME_BASE_Q) >= 0)
            return;
    }
    PacketPtr packet(NotNull(av_packet_alloc()), MediaRelease());
    av_packet_move_ref(packet.get(), mPacket.get());
    if (packet->pts != AV_NOPTS_VALUE && !cover) packet->pts -= origin;
    if (packet->dts != AV_NOPTS_VALUE && !cover) packet->dts -= origin;
    mPackets.push_back(std::move(packet));
}

// Sound may lie a little behind the pictures of its time.
void MediaSource::ReadOthersToEnd() {
    int64_t limit = mInput->End() + AV_TIME_BASE;
    while (mProgress.lastSeen < limit && av_read_frame(mInput->Format(), mPacket.get()) >= 0) {
        TakePacket();
        av_packet_unref(mPacket.get());
    }
}

// How much is missing of the length that the container announces: of all streams, or of the pictures
// when that is less. Announced lengths may include pauses, in which nothing can be read.
double MediaSource::MissingSeconds() const {
    const AVFormatContext *format = mInput->Format();
    bool known = format->duration_estimation_method == AVFMT_DURATION_FROM_STREAM;
    if (!known || mInput->Last() == INT64_MAX || mInput->End() != INT64_MAX) return 0;
    auto missing = [&](int64_t first, int64_t duration) {
        return av_rescale_q(first + duration, mVideo->time_base, AV_TIME_BASE_Q) -
               mProgress.lastVideoSeen;
    };
    int64_t most = mInput->Last() - mProgress.lastSeen;
    if (mVideo->start_time != AV_NOPTS_VALUE && mVideo->duration > 0)
        most = std::min(most, missing(mVideo->start_time, mVideo->duration));
    // FFmpeg shortens the durations of an AVI that is cut short, but not its number of frames. Each
    // frame is one unit long.
    if (!strcmp(format->iformat->name, "avi")) most = std::max(most, missing(0, mVideo->nb_frames));
    return (double)most / AV_TIME_BASE;
}

// Throws when the stream was not whole.
void MediaSource::Finish() const {
    if (Interrupted()) return;
    std::string fault = mProgress.readFault;
    double missing = MissingSeconds();
    if (missing > kMissingSeconds) {
        char text[80];
        double seen = (double)(mProgress.lastSeen - mInput->First()) / AV_TIME_BASE;
        snprintf(text, sizeof(text), "%.1f of %.1f seconds are missing at its end", missing,
                 seen + missing);
        fault = text;
    } else if (mProgress.damaged > 0) {
        fault =
            std::to_string(mProgress.damaged) + " of its pictures cannot be decoded, or only in part";
    }
    if (fault.empty()) return;
    throw VideoError(mName + ": cut short or damaged, " + fault + "; the " +
                     CountText(mFrameCount, "frame") + " that could be decoded " +
                     (mFrameCount == 1 ? "is" : "are") + " written");
}

} // namespace

std::unique_ptr<FrameSource> OpenMediaSource(const std::string &path, std::unique_ptr<ByteInput> input,
                                             const SourceOptions &options) {
    auto media = std::make_shared<MediaInput>(path, std::move(input), options);
    return std::make_unique<MediaSource>(std::move(media), options);
}
