// The motion of every frame as a CSV file.
#pragma once

#include <string>

#include "quorvel/stabilizer.h"
#include "video/byte_file.h"

class Trace {
  public:
    explicit Trace(const std::string &path);
    void Add(const MVS_MotionInfo &motion);
    void Close() { mOutput.Close(); }

  private:
    ByteOutput mOutput;
};
