// SPDX-License-Identifier: BSD-2-Clause
// Which of the library's two paths pictures take: the refined one, which measures finer, keeps pixels
// as they are, and may look ahead, or the standard one.
#pragma once

#include <optional>
#include <string>

#include "video/frame_source.h"

namespace CLI {
class App;
}

struct RefinedSettings {
    double lookahead = 1;        // seconds
    bool givenLookahead = false; // else it is shortened where frames are large
    bool whole = false;          // all frames are measured before the first picture is made
    double window = 0.9;         // of each side, what is shown
    bool autoWindow = false;     // it is chosen when all frames are measured
    double strength = 1;         // seconds
    bool roll = true;
    bool cubic = true; // else bilinear

    // Before the first picture is made.
    bool MeasuredFirst() const { return whole || autoWindow; }
};

// Values of the options that are still text.
struct PathArguments {
    std::string lookahead;
    std::string window;
    std::string strength;
};

void AddPathOptions(CLI::App &app, PathArguments &arguments);

// What is wrong with options of both paths at once; empty: nothing.
std::string PathFault(const CLI::App &app);

// After the command line was read; null for the standard path. `file`: the input may wait for later
// frames, as a camera or a pipe should not unless it is asked for.
std::optional<RefinedSettings> SettingsOf(const CLI::App &app, const PathArguments &arguments,
                                          bool file);

// Throws VideoError when the whole input is to be measured first and cannot be read twice.
void CheckReadTwice(const std::string &input, const SourceOptions &options,
                    const RefinedSettings &settings);
