// SPDX-License-Identifier: BSD-2-Clause
// The motion of every frame as a file: CSV, or JSON when the name ends so.
#pragma once

#include <string>

#include "stabilize/motion_record.h"
#include "video/byte_file.h"
#include "video/output_file.h"

class Trace {
  public:
    // The file appears when it is closed.
    Trace(const std::string &path, bool overwrite);
    void Add(const MotionRecord &record);
    void Close();

  private:
    OutputFile mFile;
    ByteOutput mOutput;
    bool mJson;
    bool mAny = false;
};
