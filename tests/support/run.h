// SPDX-License-Identifier: BSD-2-Clause
// Drives a clip through one handle by any of the entry points, every buffer between guard pages.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "context.h"
#include "platform/cpu.h"
#include "support/guarded.h"
#include "support/scene.h"

// Preview and Recording are the camera service's streams; they and the pitched calls know equal sizes.
enum class Entry {
    Diff,
    Same,
    SeparateDiff,
    SeparateSame,
    SplitDiff,
    SplitSame,
    Ex,
    PitchDiff,
    PitchSame,
    Preview,
    Recording
};
const int kEntries = 11;

struct Case {
    Size in, out;
    int32_t format, mode;
    Entry entry;
    int32_t fullChroma;
    int32_t padding = 0; // pitched: bytes behind each row
    bool bottomUp = false;
    std::string Name() const;
    bool Exists() const;  // the entry takes this format, mode and these sizes
    bool InPlace() const; // output buffers start as the input
};
std::ostream &operator<<(std::ostream &os, const Case &c);

const uint8_t kUntouched = 0x33; // what output buffers hold before a frame
const int32_t kSplit = 57;

struct HandleDeleter {
    void operator()(MVS_Context *ctx) const { QEL_MVS_DestroyStabilizer(ctx); }
};
using Handle = std::unique_ptr<MVS_Context, HandleDeleter>;

// The vector instructions that this processor has, the portable level first.
std::vector<CpuLevel> CpuLevels();
struct AtLevel { // handles created meanwhile use no more than the level
    explicit AtLevel(CpuLevel level) { LimitCpuLevel(level); }
    ~AtLevel() { LimitCpuLevel(kCpuLevels); }
};

// Threads that handles made from now on may use, 1 .. 4.
std::atomic<int32_t> &ThreadsOfHandles();

Handle MakeHandle(Size in, Size out, int32_t format);
inline Handle MakeHandle(Size size, int32_t format = 0) { return MakeHandle(size, size, format); }

struct RunResult {
    std::vector<Bytes> frames; // of the output size, in the case's format (2: chroma behind the luma)
    std::vector<MVS_MotionInfo> motion;
    uint64_t Hash() const;
};

class Runner {
  public:
    explicit Runner(const Case &c, Guarded::Side side = Guarded::kAtEnd);
    ~Runner();
    Runner(const Runner &) = delete;
    Runner &operator=(const Runner &) = delete;
    bool Ready() const { return mReady; } // false: no handle, or no such mode for these sizes
    MVS_Context *Context() const;
    void Use(Entry entry) { mCase.entry = entry; } // from now on; not to or from the last four
    Bytes Push(const Bytes &planar);               // one frame
    MVS_MotionInfo Motion() const;

  private:
    Bytes InPlace(const Bytes &frame);
    Bytes Apart(const Bytes &frame);
    Bytes Pitched(const Bytes &frame);

    Case mCase;
    Guarded::Side mSide;
    Handle mHandle;
    bool mReady = false;
    std::unique_ptr<Guarded> mPrevious;
};

RunResult RunClip(const Case &c, const std::vector<Bytes> &planarClip,
                  Guarded::Side side = Guarded::kAtEnd);
