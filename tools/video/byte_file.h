// Files and pipes as streams of bytes; "-" is standard input or output. Faults are thrown as
// VideoError.
#pragma once

#include <stddef.h>
#include <stdio.h>

#include <string>

class ByteInput {
  public:
    explicit ByteInput(const std::string &path);
    ~ByteInput();
    ByteInput(const ByteInput &) = delete;
    ByteInput &operator=(const ByteInput &) = delete;

    // For messages: the path, or "standard input".
    const std::string &Name() const { return mName; }

    // Fills the buffer as far as the stream goes; less than asked for only at its end.
    size_t Read(void *data, size_t size);

    // The bytes that the next Read will give, without taking them; at most one small buffer's worth.
    std::string Peek(size_t size);

    // Takes a line without its newline. False when the stream ends first or the line is longer than
    // limit; what was read of it is in `line` then.
    bool ReadLine(std::string &line, size_t limit);

    bool AtEnd();

  private:
    int Next();
    void CheckError() const;

    std::string mName;
    FILE *mFile = nullptr;
    std::string mPeeked; // bytes taken from the file and not yet handed out
};

class ByteOutput {
  public:
    // Creates the file, or empties it.
    explicit ByteOutput(const std::string &path);
    // Closes without checking; what matters calls Close.
    ~ByteOutput();
    ByteOutput(const ByteOutput &) = delete;
    ByteOutput &operator=(const ByteOutput &) = delete;

    const std::string &Name() const { return mName; }

    void Write(const void *data, size_t size);
    void Write(const std::string &text) { Write(text.data(), text.size()); }

    // Writes what is buffered and checks that all of it arrived.
    void Close();

  private:
    [[noreturn]] void Fail() const;

    std::string mName;
    FILE *mFile = nullptr;
};

// True when both name one regular file, also by way of links or of a redirected standard stream.
// `output` need not exist.
bool IsSameFile(const std::string &input, const std::string &output);

// Makes a closed pipe an ordinary write error instead of the end of the process.
void IgnoreBrokenPipes();
