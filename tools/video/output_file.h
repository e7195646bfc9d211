// SPDX-License-Identifier: BSD-2-Clause
// An output that appears under its name when it is complete: until then it has a temporary name in the
// same folder, and goes away with the object.
#pragma once

#include <string>

class OutputFile {
  public:
    // Throws VideoError when the file exists and may not be overwritten. What is no regular file
    // (standard output, a pipe, a device, a network address) is written to directly, and with `direct`
    // anything is.
    OutputFile(const std::string &path, bool overwrite, bool direct = false);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    // Where to write.
    const std::string &WritePath() const { return mTemporary.empty() ? mPath : mTemporary; }
    // For messages.
    const std::string &Name() const { return mName; }

    void Commit();

  private:
    std::string mName;
    std::string mPath;
    std::string mTemporary; // empty: none is used
};

// Throws VideoError, with the option's name, unless the file may be written.
void RefuseToOverwrite(const std::string &path, bool overwrite, const std::string &option);

// "rtmp://..." and the like.
bool IsAddress(const std::string &path);
