// SPDX-License-Identifier: BSD-2-Clause
#include "video/output_file.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "video/picture.h"

bool IsAddress(const std::string &path) { return path.find("://") != std::string::npos; }

void RefuseToOverwrite(const std::string &path, bool overwrite, const std::string &option) {
    struct stat info = {};
    if (overwrite || path == "-" || stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return;
    throw VideoError(option + " " + path + " exists already; give -y to overwrite it, or another name");
}

OutputFile::OutputFile(const std::string &path, bool overwrite, bool direct)
    : mName(path), mPath(path) {
    if (path == "-") mName = "standard output";
    if (path == "-" || IsAddress(path)) return;
    struct stat info = {};
    bool exists = stat(path.c_str(), &info) == 0;
    if (exists && !S_ISREG(info.st_mode)) return;
    RefuseToOverwrite(path, overwrite, "output");
    if (direct) return;
    if (exists) { // a link stays one: the file that it names is replaced
        char resolved[PATH_MAX];
        if (realpath(path.c_str(), resolved)) mPath = resolved;
    }
    mTemporary = mPath + "." + std::to_string(getpid()) + ".part";
    errno = 0;
    int file = open(mTemporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file < 0) {
        mTemporary.clear();
        throw VideoError("cannot create output " + mName + ": " + strerror(errno));
    }
    if (exists && fchmod(file, info.st_mode & 07777) != 0) errno = 0; // its rights are nice to keep
    close(file);
}

OutputFile::~OutputFile() {
    if (!mTemporary.empty()) unlink(mTemporary.c_str());
}

void OutputFile::Commit() {
    if (mTemporary.empty()) return;
    errno = 0;
    if (rename(mTemporary.c_str(), mPath.c_str()) != 0)
        throw VideoError("cannot rename the finished " + mTemporary + " to " + mName + ": " +
                         strerror(errno));
    mTemporary.clear();
}
