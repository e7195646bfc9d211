// SPDX-License-Identifier: BSD-2-Clause
#include "quality/judge.h"

#include <math.h>

#include <algorithm>

#include "quality/align.h"
#include "quality/sharpness.h"

namespace {

// One frame in so many is compared for sharpness, which takes longer than all the rest.
const size_t kSharpnessStep = 6;

PoseMotion MotionOf(const Placement &place) { return {place.row, place.col, place.Angle()}; }

// The camera's path, told or measured.
class Camera {
  public:
    explicit Camera(const std::optional<CsvTable> &truth) : mTruth(truth) {}

    // True when nothing connects the frame to the one before.
    bool Follow(size_t frame, const Pyramid &picture) {
        if (mTruth) {
            mPose.x = mTruth->Column("x_px").at(frame);
            mPose.y = mTruth->Column("y_px").at(frame);
            mPose.angle = mTruth->Column("angle_rad").at(frame);
            return frame == 0 || mTruth->Column("cut").at(frame) != 0;
        }
        bool start = true;
        if (mLast) {
            const Alignment motion = Align(picture, *mLast, mMotion, true);
            start = !motion.found;
            mMotion = motion.found ? motion.place : Placement();
            mPose = PoseOfCut(mPose, MotionOf(mMotion), 1);
        }
        mLast = picture;
        return start;
    }

    const CameraPose &Pose() const { return mPose; }

  private:
    const std::optional<CsvTable> &mTruth;
    std::optional<Pyramid> mLast;
    Placement mMotion;
    CameraPose mPose;
};

class Sharpness {
  public:
    void Compare(size_t frame, const LumaPicture &picture, const LumaPicture &other,
                 const Placement &place) {
        if (frame < mNext) return;
        mNext = frame + kSharpnessStep;
        const std::optional<double> ratio = CompareSharpness(picture, other, place);
        if (ratio) mRatios.push_back(*ratio);
    }

    std::optional<double> Median() {
        if (mRatios.empty()) return std::nullopt;
        const auto middle = mRatios.begin() + (ptrdiff_t)(mRatios.size() / 2);
        std::nth_element(mRatios.begin(), middle, mRatios.end());
        return *middle;
    }

  private:
    std::vector<double> mRatios;
    size_t mNext = 0;
};

PathRms Jitter(const Judgement &judgement, const std::vector<CameraPose> &poses, double cutoff,
               size_t &used) {
    std::vector<bool> starts;
    for (const JudgedFrame &frame : judgement.frames) starts.push_back(frame.start);
    return Jitter(poses, starts, judgement.framesPerSecond, cutoff, used);
}

PathRms Jitter(const Judgement &judgement, CameraPose JudgedFrame::*pose, double cutoff, size_t &used) {
    std::vector<CameraPose> poses;
    for (const JudgedFrame &frame : judgement.frames) poses.push_back(frame.*pose);
    return Jitter(judgement, poses, cutoff, used);
}

// The standard path's margin: with equal sizes a sixteenth each way, for the shift and the sweep of the
// corners.
bool AtMargin(const PoseMotion &cut, PictureSize size) {
    const double kNearly = 0.97;
    const int columns = size.width / 16, rows = size.height / 16;
    const double angle = fabs(cut.theta);
    return fabs(cut.col) + (size.width / 2.0 - columns) * angle > kNearly * columns ||
           fabs(cut.row) + (size.height / 2.0 - rows) * angle > kNearly * rows;
}

void Summarise(Judgement &judgement, double cutoff) {
    size_t found = 0;
    for (const JudgedFrame &frame : judgement.frames) {
        judgement.lost += !frame.found;
        found += frame.found;
        judgement.visible += frame.visible;
        judgement.invented += frame.invented;
    }
    if (found == 0) throw VideoError("no stabilized frame shows what its input frame shows");
    judgement.visible /= (double)found;
    judgement.invented /= (double)found;
    judgement.before = Jitter(judgement, &JudgedFrame::before, cutoff, judgement.used);
    judgement.after = Jitter(judgement, &JudgedFrame::after, cutoff, judgement.used);
    if (judgement.used == 0)
        throw VideoError("the clip is too short, or its parts are, for this cutoff");
}

} // namespace

Judgement Judge(FrameSource &before, FrameSource &after, const std::optional<CsvTable> &truth,
                double framesPerSecond, double cutoff) {
    Judgement judgement;
    judgement.framesPerSecond = framesPerSecond;
    const PictureSize in = before.Info().size, out = after.Info().size;
    Frame input(in), output(out);
    Camera camera(truth);
    Placement guess;
    bool gap = false;
    Sharpness sharpness;
    while (before.Read(input) && after.Read(output)) {
        if (truth && judgement.frames.size() >= truth->Rows())
            throw VideoError("the clip has more frames than its true path");
        const Pyramid picture(input.pixels.Data(), in.width, in.height);
        const Pyramid steady(output.pixels.Data(), out.width, out.height);
        JudgedFrame frame;
        frame.start = camera.Follow(judgement.frames.size(), picture) || gap;
        frame.before = camera.Pose();
        const Alignment cut = Align(steady, picture, guess, false);
        frame.found = cut.found;
        gap = !cut.found;
        if (cut.found) {
            guess = cut.place;
            frame.after = PoseOfCut(frame.before, MotionOf(cut.place), 1);
            const double zoom = cut.place.Zoom();
            frame.invented = ShareOutside(cut.place, out.width, out.height, in.width, in.height);
            frame.visible = (double)out.width * out.height / (zoom * zoom * in.width * in.height) *
                            (1 - frame.invented);
            sharpness.Compare(judgement.frames.size(), {output.pixels.Data(), out},
                              {input.pixels.Data(), in}, cut.place);
        } else {
            frame.start = true;
        }
        judgement.frames.push_back(frame);
    }
    judgement.sharpness = sharpness.Median();
    Summarise(judgement, cutoff);
    return judgement;
}

StageReport JudgeStages(const Judgement &judgement, const CsvTable &truth, const CsvTable &trace,
                        PictureSize size, double cutoff) {
    StageReport report;
    size_t used = 0;
    report.measurementError = MeasurementError(truth, trace);
    if (trace.Rows() != judgement.frames.size())
        throw VideoError("trace and clip have different numbers of frames");
    std::vector<CameraPose> smoothed, planned;
    CameraPose path;
    for (size_t i = 0; i < trace.Rows(); i++) {
        const auto value = [&](const char *name) { return trace.Column(name)[i]; };
        const PoseMotion cut = {value("comp_row_px"), value("comp_col_px"), value("comp_theta_rad")};
        path = PoseOfCut(
            path, {value("motion_row_px"), value("motion_col_px"), value("motion_theta_rad")}, 1);
        smoothed.push_back(PoseOfCut(path, cut, 1));
        planned.push_back(PoseOfCut(judgement.frames[i].before, cut, 1));
        if (AtMargin(cut, size)) report.atMargin += 1.0 / (double)trace.Rows();
    }
    report.smoothed = Jitter(judgement, smoothed, cutoff, used);
    report.planned = Jitter(judgement, planned, cutoff, used);
    return report;
}
