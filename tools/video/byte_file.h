// SPDX-License-Identifier: BSD-2-Clause
// Files and pipes as streams of bytes; "-" is standard input or output. Faults are thrown as
// VideoError.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <string>
#include <vector>

class ByteInput {
  public:
    explicit ByteInput(const std::string &path);
    ~ByteInput();
    ByteInput(const ByteInput &) = delete;
    ByteInput &operator=(const ByteInput &) = delete;

    // For messages: the path, or "standard input".
    const std::string &Name() const { return mName; }

    // Fills the buffer, or as much of it as the stream has left. An interruption (video/interrupt.h)
    // ends every stream.
    size_t Read(void *data, size_t size);

    // As much as there is without waiting for more; 0 only at the end.
    size_t ReadSome(void *data, size_t size);

    // The bytes that the next Read will give, without taking them; at most kBufferSize.
    std::string Peek(size_t size);

    // The bytes before the next newline, without taking them; at most limit, fewer at the end.
    std::string PeekLine(size_t limit);

    // Takes a line without its newline. False when the stream ends first or the line is longer than
    // limit; what was read of it is in `line` then.
    bool ReadLine(std::string &line, size_t limit);

    bool AtEnd();

    // Bytes of a regular file; 0 for others.
    int64_t FileBytes() const;

  private:
    static const size_t kBufferSize = 1 << 16;

    bool Fill();
    size_t ReadFile(void *data, size_t size);

    std::string mName;
    int mFile = -1;
    std::vector<char> mBuffer; // bytes taken from the file: mBegin to mEnd are not yet handed out
    size_t mBegin = 0;
    size_t mEnd = 0;
};

class ByteOutput {
  public:
    // Creates the file, or empties it. Messages call it by its path unless a name is given.
    explicit ByteOutput(const std::string &path, const std::string &name = "");
    // Closes without checking that all was written; Close checks.
    ~ByteOutput();
    ByteOutput(const ByteOutput &) = delete;
    ByteOutput &operator=(const ByteOutput &) = delete;

    const std::string &Name() const { return mName; }

    void Write(const void *data, size_t size);
    void Write(const std::string &text) { Write(text.data(), text.size()); }

    // Writes what is buffered: whoever reads a pipe may wait for it.
    void Flush();

    // Likewise, and checks that all of it arrived.
    void Close();

  private:
    [[noreturn]] void Fail() const;

    std::string mName;
    FILE *mFile = nullptr;
};

// True when both name one regular file, also by way of links or of a redirected standard stream.
// `output` need not exist.
bool IsSameFile(const std::string &input, const std::string &output);

// The same for two outputs, neither of which need exist.
bool IsSameOutput(const std::string &output, const std::string &other);

// Call it before any file is opened. A file would otherwise get the number of a closed standard stream,
// and messages would be written into it.
void ReserveStandardStreams();

// Makes a closed pipe an ordinary write error instead of the end of the process.
void IgnoreBrokenPipes();
