#include "video/byte_file.h"

#include <errno.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "video/picture.h"

namespace {

const char *ErrorText() { return errno ? strerror(errno) : "unknown error"; }

bool IsStandard(const std::string &path) { return path == "-"; }

bool Identify(const std::string &path, int standard, struct stat &info) {
    if (IsStandard(path)) return fstat(standard, &info) == 0;
    return stat(path.c_str(), &info) == 0;
}

} // namespace

ByteInput::ByteInput(const std::string &path) : mName(IsStandard(path) ? "standard input" : path) {
    errno = 0;
    mFile = IsStandard(path) ? stdin : fopen(path.c_str(), "rb");
    if (!mFile) throw VideoError("cannot open input " + mName + ": " + ErrorText());
}

ByteInput::~ByteInput() {
    if (mFile != stdin) fclose(mFile);
}

size_t ByteInput::Read(void *data, size_t size) {
    size_t peeked = std::min(size, mPeeked.size());
    memcpy(data, mPeeked.data(), peeked);
    mPeeked.erase(0, peeked);
    errno = 0;
    size_t count = peeked + fread((char *)data + peeked, 1, size - peeked, mFile);
    if (count < size) CheckError();
    return count;
}

std::string ByteInput::Peek(size_t size) {
    while (mPeeked.size() < size) {
        errno = 0;
        int c = getc(mFile);
        if (c == EOF) break;
        mPeeked.push_back((char)c);
    }
    CheckError();
    return mPeeked.substr(0, size);
}

int ByteInput::Next() {
    if (mPeeked.empty()) {
        errno = 0;
        return getc(mFile);
    }
    int c = (unsigned char)mPeeked[0];
    mPeeked.erase(0, 1);
    return c;
}

bool ByteInput::ReadLine(std::string &line, size_t limit) {
    line.clear();
    for (int c = Next(); c != EOF; c = Next()) {
        if (c == '\n') return true;
        line.push_back((char)c);
        if (line.size() > limit) return false;
    }
    CheckError();
    return false;
}

bool ByteInput::AtEnd() { return Peek(1).empty(); }

void ByteInput::CheckError() const {
    if (ferror(mFile)) throw VideoError("cannot read " + mName + ": " + ErrorText());
}

ByteOutput::ByteOutput(const std::string &path) : mName(IsStandard(path) ? "standard output" : path) {
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

void IgnoreBrokenPipes() { signal(SIGPIPE, SIG_IGN); }
