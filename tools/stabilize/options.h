// SPDX-License-Identifier: BSD-2-Clause
// The command line of quorvel-stabilize.
#pragma once

#include <optional>
#include <string>

#include "stabilize/path.h"
#include "video/frame_source.h"

enum class Mode { None = 0, Shift = 1, ShiftAndTurn = 2, Rotate = 3 };

struct Options {
    std::string input;
    std::string output; // empty: none is written
    SourceOptions source;
    SinkOptions sink;
    std::optional<PictureSize> outSize;     // else the input's size, less the crop
    std::optional<RefinedSettings> refined; // none: the standard path, which the next ones are of
    Mode mode = Mode::Rotate;
    double crop = 0;                  // share of each side that becomes margin, 0 to 1
    std::optional<PictureSize> scale; // of the stabilized picture
    bool zoom = false;                // scaled to the input's size
    bool split = false;
    int splitColumn = 0; // as shown; 0: the middle
    bool sideBySide = false;
    bool preview = false;
    bool dryRun = false;
    bool overwrite = false;
    bool force = false; // interlaced video is taken too
    int threads = 0;    // of the decoder, the stabilizer and the encoder, each; 0: their own choice
    bool quiet = false;
    bool json = false;
    std::string tracePath;  // empty: no trace
    std::string plotPath;   // empty: no plot
    std::string reportPath; // empty: no report
};

// Fills the options. False when the program is to end at once, with exitCode: help or version was asked
// for (and printed), or the command line is wrong (and one line on standard error says how).
bool ParseOptions(int argc, char **argv, Options &options, int &exitCode);
