// SPDX-License-Identifier: BSD-2-Clause
// The charts of a report: lines and bars in SVG, which fill whatever room the page gives them; labels
// and grid are HTML, so that text keeps its size.
#pragma once

#include <string>
#include <vector>

#include "stabilize/report_path.h"

// With as many decimals, without trailing zeros.
std::string NumberText(double value, int decimals);

// "12.5 s", "1:02.5" or "1:00:02".
std::string ClockText(double seconds);

struct TimeLine {
    std::string look; // "before" or "after"
    const std::vector<double> *values;
};

// What all charts over the time have in common.
struct TimeAxis {
    const std::vector<double> &seconds;
    const std::vector<bool> &scenes; // marked from top to bottom
    const std::vector<bool> &doubts; // marked at the bottom
};

struct TimeChart {
    std::string name; // of the element
    std::string title;
    std::string unit;
    std::string description;
    std::vector<TimeLine> lines;
    double leastSpan = 1;    // of the values: less would show noise as if it were large
    bool downwards = false;  // larger values are lower
    bool wholeRange = false; // 0 to leastSpan, also when it is zoomed
};

std::string DrawTimeChart(const TimeChart &chart, const TimeAxis &axis);

// `shares` in percent, of tenths.
std::string DrawHistogram(const std::vector<double> &shares, const std::string &description);

std::string DrawSpectrum(const std::vector<ShakeBand> &bands, const std::string &description);
