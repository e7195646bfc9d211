// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/report.h"

#include <math.h>

#include <algorithm>

#include "quorvel/version.h"
#include "stabilize/report_charts.h"

namespace {

const int kLinesOfBt709 = 720; // of a picture, at least

std::string PixelText(const PixelLayout &layout) {
    const char *chroma = layout.planes == 1  ? "grey"
                         : layout.log2X == 0 ? (layout.log2Y == 0 ? "4:4:4" : "4:4:0")
                                             : (layout.log2Y == 0 ? "4:2:2" : "4:2:0");
    return std::string(chroma) + ", " + std::to_string(layout.bits) + " bits";
}

std::string RateText(const StreamInfo &info) {
    const Rational rate = info.meanRate.num > 0 ? info.meanRate : info.framesPerSecond;
    if (rate.num <= 0) return "not told, taken for 30 frames a second";
    const bool varies =
        info.framesPerSecond.num <= 0 || fabs(rate.Value() / info.framesPerSecond.Value() - 1) > 0.001;
    const char *const mean = varies ? " on average" : "";
    return NumberText(rate.Value(), 3) + " frames a second" + mean;
}

// As the library counts it: so short a lookahead is none.
std::string LookaheadText(const RefinedSettings &settings, const StreamInfo &info) {
    const int least = 5;
    if (settings.whole) return "whole clip planned at once";
    const int frames = std::min(LookaheadFrames(settings, info), MostLookahead(settings, info));
    if (frames < least) return "none, pictures have no delay";
    return CountText(frames, "frame") + ", " + NumberText(frames / RateOf(info).Value(), 2) + " s";
}

void AddRefined(std::vector<ReportRow> &rows, const RefinedSettings &settings, const StreamInfo &info,
                double window) {
    rows.emplace_back("Path", "refined");
    rows.emplace_back("Lookahead", LookaheadText(settings, info));
    rows.emplace_back("Window", NumberText(100 * window, 2) + " % of each side" +
                                    (settings.autoWindow ? ", chosen for this clip" : ""));
    rows.emplace_back("Strength", NumberText(settings.strength, 3) + " s");
    rows.emplace_back("Roll", settings.roll ? "taken out" : "left as it is");
    rows.emplace_back("Interpolation", settings.cubic ? "bicubic" : "bilinear");
}

void AddStandard(std::vector<ReportRow> &rows, const Options &options) {
    const char *const names[] = {"none", "shift", "2, shift and turn", "rotate"};
    rows.emplace_back("Path", "standard");
    rows.emplace_back("Mode", names[(int)options.mode]);
    if (options.outSize)
        rows.emplace_back("Size asked for", SizeText(*options.outSize));
    else if (options.crop > 0)
        rows.emplace_back("Crop", NumberText(100 * options.crop, 2) + " %");
    if (options.zoom) rows.emplace_back("Zoom", "to the size of the input");
}

Margins MarginsOf(const StreamInfo &info, const Worker &worker) {
    Margins margins;
    const double window = worker.Window();
    margins.column = window > 0 ? info.size.width * (1 - window) / 2 : worker.Reach().width;
    margins.row = window > 0 ? info.size.height * (1 - window) / 2 : worker.Reach().height;
    margins.halfWidth = info.size.width / 2.0 - margins.column;
    margins.halfHeight = info.size.height / 2.0 - margins.row;
    return margins;
}

} // namespace

ReportFacts DescribeRun(const Options &options, const StreamInfo &info, const Worker &worker,
                        const Summary &summary, double videoSeconds) {
    ReportFacts facts;
    facts.framesPerSecond = RateOf(info).Value();
    facts.videoSeconds = videoSeconds;
    facts.standardPath = !options.refined;
    facts.rollKept = options.refined && !options.refined->roll;
    facts.margins = MarginsOf(info, worker);
    facts.input = {{"Name", summary.input},
                   {"Size", SizeText(info.size)},
                   {"Pixels", PixelText(info.layout)},
                   {"Rate", RateText(info)},
                   {"Length", ClockText(videoSeconds) + ", " + CountText(summary.Frames(), "frame")}};
    facts.output = {{"Name", summary.output.empty() ? "none, measured only" : summary.output}};
    if (!summary.output.empty()) {
        facts.output.emplace_back("Size", SizeText(summary.outSize));
        facts.output.emplace_back("Encoder", summary.encoder);
    }
    facts.output.emplace_back("Time taken", ClockText(summary.seconds));
    if (options.refined)
        AddRefined(facts.settings, *options.refined, info, worker.Window());
    else
        AddStandard(facts.settings, options);
    if (options.scale) facts.settings.emplace_back("Scaled to", SizeText(*options.scale));
    if (options.split) facts.settings.emplace_back("Shown", "input and result, split");
    if (options.sideBySide) facts.settings.emplace_back("Shown", "input and result, side by side");
    if (options.source.start > 0) facts.settings.emplace_back("Start", ClockText(options.source.start));
    facts.settings.emplace_back("Version", QUORVEL_VERSION);
    return facts;
}

Report::Report(const std::string &path, bool overwrite)
    : mFile(path, overwrite), mOutput(mFile.WritePath(), mFile.Name()) {}

bool Report::Add(const MotionRecord &record) {
    mRecords.push_back(record);
    return mDoubts.Add(record);
}

void Report::Show(const Worker &worker, const StreamInfo &info) {
    // By custom: tags are not read. The scaled output has the matrix of the input.
    const bool bt709 = info.size.height >= kLinesOfBt709;
    PictureShape shape = {info.size,      info.layout, info.rotation, info.sampleAspect.Value(),
                          info.fullRange, bt709};
    const Thumbnail before = MakeThumbnail(worker.Input(), shape);
    shape.size = worker.SteadySize();
    shape.sampleAspect = worker.SampleAspect().Value();
    mDoubts.Show(before, MakeThumbnail(worker.Steady(), shape));
}

void Report::Write(const Options &options, const StreamInfo &info, const Worker &worker,
                   const Summary &summary) {
    const double span = mRecords.back().seconds - mRecords.front().seconds;
    const double videoSeconds = span + 1 / RateOf(info).Value();
    const ReportFacts facts = DescribeRun(options, info, worker, summary, videoSeconds);
    mOutput.Write(MakeReportPage(facts, summary, mRecords, mDoubts));
    mOutput.Close();
    mFile.Commit();
}
