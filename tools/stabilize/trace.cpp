// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/trace.h"

#include <stdio.h>

#include "video/picture.h"

namespace {

const char *const kColumns[] = {
    "frame",       "measured",    "motion_row_px",  "motion_col_px",  "motion_theta_rad",
    "comp_row_px", "comp_col_px", "comp_theta_rad", "shift_reliable", "blocks_valid",
    "blocks_kept", "time_s",      "reset"};
const size_t kColumnCount = sizeof(kColumns) / sizeof(kColumns[0]);

std::string Number(const char *format, double value) {
    char text[40];
    snprintf(text, sizeof(text), format, value);
    return text;
}

} // namespace

Trace::Trace(const std::string &path, bool overwrite)
    : mFile(path, overwrite), mOutput(mFile.WritePath(), mFile.Name()) {
    mJson = EndsWith(path, ".json");
    std::string heading = kColumns[0];
    for (size_t i = 1; i < kColumnCount; i++) heading += std::string(",") + kColumns[i];
    mOutput.Write(mJson ? "[" : heading + "\n");
}

void Trace::Add(const MotionRecord &record) {
    const Movement &motion = record.motion, &compensation = record.compensation;
    const std::string values[kColumnCount] = {
        std::to_string(record.frame),         std::to_string((int)record.measured),
        Number("%.4f", motion.row),           Number("%.4f", motion.column),
        Number("%.7f", motion.theta),         Number("%.4f", compensation.row),
        Number("%.4f", compensation.column),  Number("%.7f", compensation.theta),
        std::to_string((int)record.reliable), std::to_string(record.blocksValid),
        std::to_string(record.blocksKept),    Number("%.6f", record.seconds),
        std::to_string((int)record.reset)};
    std::string line = mJson ? (mAny ? ",\n{" : "\n{") : "";
    for (size_t i = 0; i < kColumnCount; i++) {
        if (i > 0) line += ",";
        if (mJson) line += "\"" + std::string(kColumns[i]) + "\":";
        line += values[i];
    }
    mOutput.Write(line + (mJson ? "}" : "\n"));
    mAny = true;
}

void Trace::Close() {
    if (mJson) mOutput.Write("\n]\n");
    mOutput.Close();
    mFile.Commit();
}
