// SPDX-License-Identifier: BSD-2-Clause
// A run as one HTML page that needs nothing else: numbers, charts, and the frames that deserve a look.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "stabilize/doubts.h"
#include "stabilize/options.h"
#include "stabilize/report_path.h"
#include "stabilize/summary.h"
#include "stabilize/worker.h"
#include "video/byte_file.h"
#include "video/output_file.h"

// A name and what belongs to it, plain text.
using ReportRow = std::pair<std::string, std::string>;

// What the page tells beside the motions.
struct ReportFacts {
    std::vector<ReportRow> input, output, settings;
    Margins margins;
    double framesPerSecond = 0;
    double videoSeconds = 0;
    bool standardPath = false;
    bool rollKept = false; // as asked for
};

ReportFacts DescribeRun(const Options &options, const StreamInfo &info, const Worker &worker,
                        const Summary &summary, double videoSeconds);

std::string MakeReportPage(const ReportFacts &facts, const Summary &summary,
                           const std::vector<MotionRecord> &records, const Doubts &doubts);

class Report {
  public:
    // The file appears when it is written as a whole.
    Report(const std::string &path, bool overwrite);

    // True when this frame is to be shown: Show is called next.
    bool Add(const MotionRecord &record);
    // The frame's input and output.
    void Show(const Worker &worker, const StreamInfo &info);

    void Write(const Options &options, const StreamInfo &info, const Worker &worker,
               const Summary &summary);

  private:
    OutputFile mFile;
    ByteOutput mOutput;
    std::vector<MotionRecord> mRecords;
    Doubts mDoubts;
};
