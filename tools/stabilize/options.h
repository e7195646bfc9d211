// The command line of quorvel-stabilize.
#pragma once

#include <optional>
#include <string>

#include "video/frame_source.h"

struct Options {
    std::string input;
    std::string output;
    std::optional<RawShape> shape;      // of raw frames; without it the streams are Y4M
    std::optional<PictureSize> outSize; // the input's size where not given
    int mode = 3;
    std::string tracePath; // empty: no trace
};

// Fills the options. False when the program is to end at once, with exitCode: help or version was asked
// for (and printed), or the command line is wrong (and one line on standard error says how).
bool ParseOptions(int argc, char **argv, Options &options, int &exitCode);
