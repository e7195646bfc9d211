// SPDX-License-Identifier: BSD-2-Clause
// The path of a camera: shake of a known strength and kind on top of a pan and a turn.
#pragma once

#include <stdint.h>

#include <vector>

#include "clipgen/scene.h"

// Hand: a band of frequencies. Swing: one. Walk: the beat of steps, with a weaker hand. StopAndGo: a
// hand whose pan halts every other two seconds. Tripod: nothing but pan and turn.
enum class PathKind { Hand, Swing, Walk, StopAndGo, Tripod };

struct PathOptions {
    PathKind kind = PathKind::Hand;
    double frequency = 4; // of a swing, Hz
    double framesPerSecond = 30;
    double shake = 7;    // pixels RMS, in each direction
    double roll = 0.002; // radians RMS
    double pan = 0;      // pixels a second, to the right
    double turn = 0;     // radians a second
    uint32_t seed = 1;
};

class CameraPath {
  public:
    explicit CameraPath(const PathOptions &options);

    // Of the frame with this number, from 0, or between two. Rounded so that the same numbers come out
    // everywhere.
    CameraPose Pose(double frame) const;

  private:
    struct Swing {
        double frequency; // Hz
        double phase;     // turns
        double amplitude;
    };

    static std::vector<Swing> MakeSwings(uint32_t seed, uint32_t series, double strength);
    static std::vector<Swing> MakeAxis(const PathOptions &options, uint32_t series, double strength);
    static double Sum(const std::vector<Swing> &swings, double time);

    double PanAt(double time) const;

    PathOptions mOptions;
    std::vector<Swing> mX, mY, mAngle;
};

// How the picture moved from one pose to the next, in the terms of MVS_MotionInfo: the pixel at (dy,
// dx) was at (dy + row + theta * dx, dx + col - theta * dy) before. Pixels and radians.
struct PoseMotion {
    double row = 0;
    double col = 0;
    double theta = 0;
};

PoseMotion MotionBetween(const CameraPose &before, const CameraPose &now);

// The pose of a picture that is cut out of one taken at `pose`: moved and turned by `cut`, in the terms
// above, and magnified by `zoom`.
CameraPose PoseOfCut(const CameraPose &pose, const PoseMotion &cut, double zoom);
