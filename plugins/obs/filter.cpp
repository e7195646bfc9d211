// SPDX-License-Identifier: BSD-2-Clause
#include "filter.h"

#include <algorithm>
#include <new>

#include <util/threading.h>

namespace {

const uint64_t kSoundSlack = 40000000;             // nanoseconds; sound that is off by more is noticed
const uint64_t kMostHeldBytes = (uint64_t)1 << 30; // of the frames that wait
const int32_t kFirstRateWindow = 4, kRateWindow = 32;

const int32_t kMostLines = 16; // in the log: a source may change its format with every frame

void Say(Filter &filter, int level, const char *what) {
    if (filter.lines++ >= kMostLines) return;
    blog(level, "[quorvel-stabilize] '%s': %s frames of %ux%u %s",
         filter.source ? obs_source_get_name(filter.source) : "", get_video_format_name(filter.format),
         filter.width, filter.height, what);
}

// A line in the log for the first frame of a kind that passes as it is.
void Complain(Filter &filter, const char *why) {
    if (filter.refused == why && filter.refusedFormat == filter.format) return;
    Say(filter, LOG_WARNING, why);
    filter.refused = why;
    filter.refusedFormat = filter.format;
}

// A frame of the source belongs to its cache, and goes back to it. Without a source it has but one
// owner.
void Release(obs_source_t *parent, obs_source_frame *frame) {
    if (!frame) return;
    if (parent)
        obs_source_release_frame(parent, frame);
    else if (os_atomic_dec_long(&frame->refs) <= 0)
        obs_source_frame_destroy(frame);
}

obs_source_t *ParentOf(const Filter &filter) {
    return filter.source ? obs_filter_get_parent(filter.source) : nullptr;
}

HeldFrame &HeldAt(Filter &filter, int32_t index) {
    return filter.held[(filter.first + index) % (kMostLookahead + 1)];
}

obs_source_frame *TakeFirst(Filter &filter) {
    obs_source_frame *frame = HeldAt(filter, 0).frame;
    filter.first = (filter.first + 1) % (kMostLookahead + 1);
    filter.count--;
    filter.settled = std::max(filter.settled - 1, 0);
    return frame;
}

void DropFrames(Filter &filter, obs_source_t *parent) {
    while (filter.count > 0) Release(parent, TakeFirst(filter));
    filter.filled = false;
}

void PullRecords(Filter &filter) {
    MVS_Compensation record = {};
    record.lSize = (int32_t)sizeof(record);
    while (filter.settled < filter.count && QEL_MVS_PullCompensation(filter.handle, &record))
        HeldAt(filter, filter.settled++).record = record;
}

// The frames that wait keep the path that was planned for them: any handle of this size applies it.
void CloseStream(Filter &filter) {
    if (!filter.handle) return;
    QEL_MVS_EndStream(filter.handle);
    PullRecords(filter);
    QEL_MVS_DestroyStabilizer(filter.handle);
    filter.handle = nullptr;
}

void Stop(Filter &filter, obs_source_t *parent) {
    DropFrames(filter, parent);
    CloseStream(filter);
    FreePicture(filter.memory);
    filter.rateFrames = filter.rateWindow = 0;
}

// -- The stream

int32_t Lookahead(int32_t wanted, uint64_t frameBytes) {
    const uint64_t most = frameBytes ? kMostHeldBytes / frameBytes : (uint64_t)kMostLookahead;
    return FramesHeld((int32_t)std::min<uint64_t>((uint64_t)std::max(wanted, 0), most));
}

void ChangeLookahead(Filter &filter, int32_t lookahead) {
    DropFrames(filter, ParentOf(filter));
    DropSound(filter.sound);
    filter.lookahead = lookahead;
    filter.delay = filter.interval * (uint64_t)lookahead; // until the frames tell
}

bool OpenFilter(Filter &filter, const FramePlanes &planes) {
    CloseStream(filter);
    filter.used = filter.wanted;
    StreamSettings stream = filter.used.stream;
    stream.lookahead = Lookahead(stream.lookahead, FrameBytes(planes));
    if (stream.lookahead != filter.lookahead) ChangeLookahead(filter, stream.lookahead);
    stream.rateNumerator = (int32_t)std::min<uint64_t>(1000 * kSecond / filter.interval, 1000000);
    stream.rateDenominator = 1000;
    filter.handle = OpenStream(planes.plane[0].lWidth, planes.plane[0].lHeight, stream);
    if (filter.handle) QEL_MVS_SetCubic(filter.handle, filter.used.cubic);
    return filter.handle != nullptr;
}

bool NeedsStream(const Filter &filter) {
    const StreamSettings &a = filter.wanted.stream, &b = filter.used.stream;
    return !filter.handle || a.lookahead != b.lookahead || a.window != b.window ||
           a.strength != b.strength || a.roll != b.roll;
}

// Frames of another kind than before, or from another time, have nothing to do with those that wait.
void FollowSource(Filter &filter, const obs_source_frame &frame) {
    const bool same =
        frame.format == filter.format && frame.width == filter.width && frame.height == filter.height;
    const bool jump = IsJump(filter.newest, frame.timestamp);
    if (!same || (jump && filter.handle)) Stop(filter, ParentOf(filter));
    filter.isNew = filter.isNew || !same;
    filter.format = frame.format;
    filter.width = frame.width;
    filter.height = frame.height;
    filter.newest = frame.timestamp;
}

// True when the frame rate turns out to be another one than the stream was opened with.
bool MeasureRate(Filter &filter) {
    if (filter.rateWindow == 0 || filter.rateFrames == filter.rateWindow) {
        filter.rateWindow = filter.rateWindow == 0 ? kFirstRateWindow : kRateWindow;
        filter.rateStart = filter.newest;
        filter.rateFrames = 0;
        return false;
    }
    if (++filter.rateFrames < filter.rateWindow) return false;
    const uint64_t interval = (filter.newest - filter.rateStart) / (uint64_t)filter.rateFrames;
    const uint64_t apart = std::max(interval, filter.interval) - std::min(interval, filter.interval);
    if (interval == 0 || apart <= filter.interval / 8) return false;
    filter.interval = interval;
    return true;
}

// The sound follows the delay of the frames. A single late frame changes that for as long as it waits,
// so only a change that lasts longer counts.
void FollowDelay(Filter &filter) {
    if (filter.lookahead == 0 || filter.count < 2) return;
    const int32_t waiting = filter.count - 1;
    const uint64_t span = filter.newest - HeldAt(filter, 0).frame->timestamp;
    const uint64_t delay = span * (uint64_t)filter.lookahead / (uint64_t)waiting;
    const bool off = std::max(delay, filter.delay) - std::min(delay, filter.delay) > kSoundSlack;
    filter.delayOff = off ? filter.delayOff + 1 : 0;
    if (!filter.filled || filter.delayOff > filter.lookahead + 8) filter.delay = delay;
    filter.filled = waiting == filter.lookahead;
}

// -- The output

// The oldest frame leaves with the time of the newest. The host compares that time with its own clock:
// with the old one it would delay the sound of some kinds of source once more, and of others not.
obs_source_frame *Leave(Filter &filter) {
    const MVS_Compensation record = HeldAt(filter, 0).record;
    const bool settled = filter.settled > 0;
    obs_source_frame *frame = TakeFirst(filter);
    // The output is made in memory of the filter's own, and copied into the frame. A frame of the
    // filter's own cannot leave: the host keeps what it gets without a reference, and trusts that the
    // source's cache has it. Nor can the memory change places with the frame's: another filter may have
    // put it there.
    FramePlanes planes;
    if (!settled || !DescribeFrame(*frame, planes) ||
        !SteadyPicture(filter.handle, record, planes, filter.wanted.split, filter.memory))
        Complain(filter, "lack memory, and pass");
    frame->timestamp = filter.newest;
    return frame;
}

// Drops what waits, and lets the frame pass.
obs_source_frame *Refuse(Filter &filter, obs_source_frame *frame, const char *why) {
    Complain(filter, why);
    Stop(filter, ParentOf(filter));
    return frame;
}

// Stabilized before it is deinterlaced, a picture would have its fields mixed.
bool IsInterlaced(const Filter &filter) {
    obs_source_t *parent = ParentOf(filter);
    return parent && obs_source_get_deinterlace_mode(parent) != OBS_DEINTERLACE_MODE_DISABLE;
}

obs_source_frame *Stabilize(Filter &filter, obs_source_frame *frame) {
    FramePlanes planes;
    FollowSource(filter, *frame);
    if (!DescribeFrame(*frame, planes))
        return Refuse(filter, frame, "are not of a kind that can be stabilized, and pass");
    if (IsInterlaced(filter)) return Refuse(filter, frame, "are to be deinterlaced, and pass");
    const bool newRate = MeasureRate(filter);
    if ((newRate || NeedsStream(filter)) && !OpenFilter(filter, planes))
        return Refuse(filter, frame,
                      "cannot be stabilized, for their size or for want of memory, and pass");
    if (filter.wanted.cubic != filter.used.cubic) QEL_MVS_SetCubic(filter.handle, filter.wanted.cubic);
    filter.used.cubic = filter.wanted.cubic;
    if (filter.isNew) Say(filter, LOG_INFO, "are stabilized");
    filter.isNew = false;
    if (!QEL_MVS_PushLuma(filter.handle, &planes.plane[0]))
        return Refuse(filter, frame, "cannot be measured, and pass");
    HeldAt(filter, filter.count++).frame = frame;
    PullRecords(filter);
    FollowDelay(filter);
    return filter.count > filter.lookahead ? Leave(filter) : nullptr;
}

class Lock {
  public:
    explicit Lock(Filter *filter) : mMutex(&filter->mutex) { pthread_mutex_lock(mMutex); }
    ~Lock() { pthread_mutex_unlock(mMutex); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

  private:
    pthread_mutex_t *mMutex;
};

} // namespace

Filter *CreateFilter(obs_source_t *source, const FilterSettings &settings) {
    Filter *filter = new (std::nothrow) Filter;
    if (!filter) return nullptr;
    if (pthread_mutex_init(&filter->mutex, nullptr) != 0) {
        delete filter;
        return nullptr;
    }
    filter->source = source;
    filter->wanted = settings;
    return filter;
}

void DestroyFilter(Filter *filter) {
    if (!filter) return;
    StopFilter(filter, ParentOf(*filter));
    ClearSound(filter->sound);
    pthread_mutex_destroy(&filter->mutex);
    delete filter;
}

void SetFilter(Filter *filter, const FilterSettings &settings) {
    Lock lock(filter);
    filter->wanted = settings;
}

obs_source_frame *FilterFrame(Filter *filter, obs_source_frame *frame) {
    if (!frame) return nullptr;
    Lock lock(filter);
    // The filter may have been switched off since the host looked.
    if (filter->source && !obs_source_enabled(filter->source)) return frame;
    return Stabilize(*filter, frame);
}

obs_audio_data *FilterSound(Filter *filter, obs_audio_data *sound) {
    if (!sound) return nullptr;
    Lock lock(filter);
    if (filter->lookahead == 0 || filter->count == 0) {
        ClearSound(filter->sound);
        return sound;
    }
    return DelaySound(filter->sound, *sound, filter->delay);
}

// The host locks its frames before it calls the filter with one. So here, where it may be another
// thread that calls, they are given back after the filter's mutex is.
void StopFilter(Filter *filter, obs_source_t *parent) {
    obs_source_frame *waiting[kMostLookahead + 1];
    int32_t count = 0;
    {
        Lock lock(filter);
        while (filter->count > 0) waiting[count++] = TakeFirst(*filter);
        Stop(*filter, parent);
        DropSound(filter->sound);
        filter->format = VIDEO_FORMAT_NONE;
    }
    for (int32_t i = 0; i < count; i++) Release(parent, waiting[i]);
}

int32_t DelayFrames(Filter *filter, int32_t lookahead) {
    Lock lock(filter);
    FramePlanes planes;
    const bool known = filter->count > 0 && DescribeFrame(*HeldAt(*filter, 0).frame, planes);
    return Lookahead(lookahead, known ? FrameBytes(planes) : 0);
}

double DelaySeconds(Filter *filter, int32_t lookahead) {
    const int32_t frames = DelayFrames(filter, lookahead);
    Lock lock(filter);
    return (double)frames * (double)filter->interval / (double)kSecond;
}
