// SPDX-License-Identifier: BSD-2-Clause
#include "video/byte_file.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "video/interrupt.h"
#include "video/picture.h"

namespace {

const char *ErrorText() { return errno ? strerror(errno) : "unknown error"; }

bool IsStandard(const std::string &path) { return path == "-"; }

bool Identify(const std::string &path, int standard, struct stat &info) {
    if (IsStandard(path)) return fstat(standard, &info) == 0;
    return stat(path.c_str(), &info) == 0;
}

// The path of a file that does not exist yet, the same for every spelling of it.
std::filesystem::path FuturePath(const std::string &path) {
    const int mostLinks = 40;
    std::error_code fault;
    std::filesystem::path file = std::filesystem::absolute(path, fault);
    for (int i = 0; i < mostLinks && std::filesystem::is_symlink(file, fault); i++)
        file = file.parent_path() / std::filesystem::read_symlink(file, fault);
    return std::filesystem::weakly_canonical(file.parent_path(), fault) / file.filename();
}

} // namespace

ByteInput::ByteInput(const std::string &path)
    : mName(IsStandard(path) ? "standard input" : path), mBuffer(kBufferSize) {
    errno = 0;
    mFile = IsStandard(path) ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (mFile < 0) throw VideoError("cannot open input " + mName + ": " + ErrorText());
    int state = fcntl(mFile, F_GETFL);
    if (state < 0 || (state & O_ACCMODE) == O_WRONLY)
        throw VideoError(mName + " is closed, there is nothing to read from");
}

ByteInput::~ByteInput() {
    if (mFile != STDIN_FILENO) close(mFile);
}

size_t ByteInput::ReadFile(void *data, size_t size) {
    // Waits here and not in read, so that an interruption is seen whichever thread its signal reaches.
    pollfd files[2] = {{mFile, POLLIN, 0}, {InterruptFile(), POLLIN, 0}};
    while (poll(files, 2, -1) < 0 && errno == EINTR) {
    }
    if (Interrupted()) return 0;
    ssize_t count = 0;
    do {
        errno = 0;
        count = read(mFile, data, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) throw VideoError("cannot read " + mName + ": " + ErrorText());
    return (size_t)count;
}

bool ByteInput::Fill() {
    if (mBegin > 0) memmove(mBuffer.data(), mBuffer.data() + mBegin, mEnd - mBegin);
    mEnd -= mBegin;
    mBegin = 0;
    size_t count = ReadFile(mBuffer.data() + mEnd, mBuffer.size() - mEnd);
    mEnd += count;
    return count > 0;
}

size_t ByteInput::ReadSome(void *data, size_t size) {
    if (mBegin == mEnd) return ReadFile(data, size);
    size_t count = std::min(size, mEnd - mBegin);
    memcpy(data, mBuffer.data() + mBegin, count);
    mBegin += count;
    return count;
}

size_t ByteInput::Read(void *data, size_t size) {
    size_t done = 0;
    while (done < size) {
        size_t count = ReadSome((char *)data + done, size - done);
        if (count == 0) break;
        done += count;
    }
    return done;
}

std::string ByteInput::Peek(size_t size) {
    while (mEnd - mBegin < size && Fill()) {
    }
    return std::string(mBuffer.data() + mBegin, std::min(size, mEnd - mBegin));
}

std::string ByteInput::PeekLine(size_t limit) {
    for (;;) {
        std::string line(mBuffer.data() + mBegin, std::min(limit, mEnd - mBegin));
        size_t end = line.find('\n');
        if (end != std::string::npos) return line.substr(0, end);
        if (line.size() == limit || !Fill()) return line;
    }
}

bool ByteInput::ReadLine(std::string &line, size_t limit) {
    line.clear();
    while (mBegin < mEnd || Fill()) {
        char c = mBuffer[mBegin++];
        if (c == '\n') return true;
        line.push_back(c);
        if (line.size() > limit) return false;
    }
    return false;
}

bool ByteInput::AtEnd() { return Peek(1).empty(); }

int64_t ByteInput::FileBytes() const {
    struct stat info = {};
    return fstat(mFile, &info) == 0 && S_ISREG(info.st_mode) ? (int64_t)info.st_size : 0;
}

ByteOutput::ByteOutput(const std::string &path, const std::string &name) : mName(path) {
    if (IsStandard(path)) mName = "standard output";
    if (!name.empty()) mName = name;
    errno = 0;
    mFile = IsStandard(path) ? stdout : fopen(path.c_str(), "wb");
    if (!mFile) throw VideoError("cannot create output " + mName + ": " + ErrorText());
}

ByteOutput::~ByteOutput() {
    if (mFile) fclose(mFile);
}

void ByteOutput::Write(const void *data, size_t size) {
    errno = 0;
    if (fwrite(data, 1, size, mFile) != size) Fail();
}

void ByteOutput::Flush() {
    errno = 0;
    if (fflush(mFile) != 0) Fail();
}

void ByteOutput::Close() {
    FILE *file = mFile;
    mFile = nullptr;
    errno = 0;
    if (fclose(file) != 0) Fail();
}

void ByteOutput::Fail() const {
    throw VideoError("cannot write " + mName + ": " + ErrorText() + "; the output is incomplete");
}

bool IsSameFile(const std::string &input, const std::string &output) {
    struct stat in = {};
    struct stat out = {};
    if (!Identify(input, STDIN_FILENO, in) || !Identify(output, STDOUT_FILENO, out)) return false;
    return S_ISREG(in.st_mode) && in.st_dev == out.st_dev && in.st_ino == out.st_ino;
}

bool IsSameOutput(const std::string &output, const std::string &other) {
    struct stat first = {};
    struct stat second = {};
    bool exists = Identify(output, STDOUT_FILENO, first);
    if (exists != Identify(other, STDOUT_FILENO, second)) return false;
    if (output == "-" && other == "-") return true;
    if (exists) // two outputs do no harm to each other on a device such as /dev/null
        return first.st_dev == second.st_dev && first.st_ino == second.st_ino &&
               !S_ISCHR(first.st_mode);
    return FuturePath(output) == FuturePath(other);
}

void ReserveStandardStreams() {
    // Opened the wrong way round: using one is still an error.
    const int ways[] = {O_WRONLY, O_RDONLY, O_RDWR};
    for (int file = 0; file < 3; file++)
        if (fcntl(file, F_GETFD) < 0 && open("/dev/null", ways[file]) < 0) return;
}

void IgnoreBrokenPipes() { signal(SIGPIPE, SIG_IGN); }
