#include "stabilize/trace.h"

#include <stdio.h>

namespace {

double Pixels(int32_t q10) { return q10 / 1024.0; }
double Radians(int32_t q16) { return q16 / 65536.0; }

} // namespace

Trace::Trace(const std::string &path) : mOutput(path) {
    mOutput.Write("frame,measured,motion_row_px,motion_col_px,motion_theta_rad,comp_row_px,comp_col_px,"
                  "comp_theta_rad,shift_reliable,blocks_valid,blocks_kept\n");
}

void Trace::Add(const MVS_MotionInfo &motion) {
    char line[320];
    int length = snprintf(line, sizeof(line), "%d,%d,%.4f,%.4f,%.7f,%.4f,%.4f,%.7f,%d,%d,%d\n",
                          motion.lFrameNumber, motion.bMeasured, Pixels(motion.lMotionRow),
                          Pixels(motion.lMotionCol), Radians(motion.lMotionTheta),
                          Pixels(motion.lCompRow), Pixels(motion.lCompCol), Radians(motion.lCompTheta),
                          motion.bShiftReliable, motion.lBlocksValid, motion.lBlocksKept);
    mOutput.Write(line, (size_t)length);
}
