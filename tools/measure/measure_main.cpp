// SPDX-License-Identifier: BSD-2-Clause
// quorvel-measure: how much shake a stabilized clip has left, from its true path and its trace.
#include <stdio.h>

#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include "measure/jitter.h"

namespace {

const char kExamples[] =
    "Example:\n"
    "  quorvel-clipgen shaky.nv21 --truth truth.csv\n"
    "  quorvel-stabilize --size 1280x720 shaky.nv21 steady.nv21 --trace trace.csv\n"
    "  quorvel-measure truth.csv trace.csv";

double Ratio(double after, double before) { return before > 0 ? after / before : 0; }

void PrintLine(const char *name, double before, double after, double error) {
    printf("%-12s %10.3f %10.3f %10.3f %20.3f\n", name, before, after, Ratio(after, before), error);
}

void Print(const JitterReport &report, double cutoff) {
    printf(
        "Shake faster than %g Hz, RMS over %zu of %zu frames; the last column is the RMS of measured\n"
        "minus true motion from frame to frame, over %zu frames.\n\n",
        cutoff, report.framesUsed, report.frames, report.framesMeasured);
    printf("%-12s %10s %10s %10s %20s\n", "", "before", "after", "ratio", "measurement error");
    const PathRms &before = report.before;
    const PathRms &after = report.after;
    const PathRms &error = report.measurementError;
    PrintLine("row (px)", before.row, after.row, error.row);
    PrintLine("column (px)", before.col, after.col, error.col);
    PrintLine("roll (mrad)", before.angle * 1000, after.angle * 1000, error.angle * 1000);
}

} // namespace

int main(int argc, char **argv) {
    std::string truth;
    std::string trace;
    double cutoff = 1;
    CLI::App app("Prints the shake of a clip before and after its stabilization.", "quorvel-measure");
    app.add_option("TRUTH", truth, "True camera path, from quorvel-clipgen --truth")->required();
    app.add_option("TRACE", trace, "Motion of the frames, from quorvel-stabilize --trace")->required();
    app.add_option("--cutoff", cutoff, "What is slower than this, in Hz, is intended movement")
        ->check(CLI::Range(0.05, 10.0))
        ->capture_default_str();
    app.footer(kExamples);
    CLI11_PARSE(app, argc, argv);
    try {
        Print(MeasureJitter(CsvTable(truth), CsvTable(trace), cutoff), cutoff);
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "quorvel-measure: " << error.what() << "\n";
        return 1;
    }
}
