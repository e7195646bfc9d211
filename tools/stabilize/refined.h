// SPDX-License-Identifier: BSD-2-Clause
// One stream's refined handle of the library: frames of any layout, which may wait for later ones.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "quorvel/refined.h"
#include "stabilize/motion_record.h"
#include "stabilize/path.h"
#include "video/frame_source.h"

// What is known of a frame.
struct FrameRecord {
    MVS_Compensation compensation = {};
    int textured = 0; // tiles, and those of them that match the frame before
    int matched = 0;
};

class RefinedStabilizer {
  public:
    // The output has the input's size.
    RefinedStabilizer(const StreamInfo &info, const RefinedSettings &settings, int threads);

    // Every frame is measured and kept, in the order of the stream; which of both comes first does not
    // matter.
    void Measure(const Frame &frame);
    void Keep(const FramePtr &frame);
    // No more are measured: all can be settled.
    void EndMeasuring();

    // Takes the motions that another one has measured, in place of frames.
    void Replay(const std::vector<FrameRecord> &records);
    // All records that are settled, for whoever keeps no frames.
    std::vector<FrameRecord> TakeRecords();

    // The oldest of the frames kept that is settled; null while none is.
    FramePtr Next();

    // Of the frame that Next gave last: what is known of its motion, and its picture.
    void Describe(MotionRecord &record) const;
    void Draw(const Frame &input, Frame &output) const;

    double Window() const { return mWindow; }
    // How far the picture can be moved each way, in pixels.
    PictureSize Reach() const;

  private:
    struct Destroy {
        void operator()(MVS_Context *context) const { QEL_MVS_DestroyStabilizer(context); }
    };
    void Set(const RefinedSettings &settings);
    void PullRecords();
    std::vector<MVS_Plane> Planes(const Frame &frame) const;

    StreamInfo mInfo;
    double mWindow;
    std::unique_ptr<MVS_Context, Destroy> mContext;
    std::deque<FramePtr> mKept;
    std::deque<FrameRecord> mMeasured; // and not settled: their tiles
    std::deque<FrameRecord> mSettled;
    FrameRecord mCurrent;
    bool mEnded = false;
};

// Frames a second, within the library's limits; the mean of a rate that varies.
Rational RateOf(const StreamInfo &info);

const int kMostLookahead = 240; // frames, of the library

// What a lookahead is shortened to: the library's most, or 1 GiB of waiting frames when none was given.
int MostLookahead(const RefinedSettings &settings, const StreamInfo &info);

// As asked for, which may be more than that.
int LookaheadFrames(const RefinedSettings &settings, const StreamInfo &info);
