// SPDX-License-Identifier: BSD-2-Clause
// The motion of every frame as a file: CSV, or JSON when the name ends so.
#pragma once

#include <string>

#include "stabilize/motion_record.h"
#include "video/byte_file.h"

class Trace {
  public:
    explicit Trace(const std::string &path);
    void Add(const MotionRecord &record);
    void Close();

  private:
    ByteOutput mOutput;
    bool mJson;
    bool mAny = false;
};
