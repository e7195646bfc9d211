// Drives a clip through one handle by any of the entry points, every buffer between guard pages.
#pragma once

#include <memory>
#include <string>

#include "context.h"
#include "platform/cpu.h"
#include "support/guarded.h"
#include "support/scene.h"

enum class Entry { Diff, Same, SeparateDiff, SeparateSame, SplitDiff, SplitSame, Ex };

struct Case {
    Size in, out;
    int32_t format, mode;
    Entry entry;
    int32_t fullChroma;
    std::string Name() const;
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
    bool Ready() const {
        return mHandle != nullptr;
    } // false: no handle, or no such mode for these sizes
    MVS_Context *Context() const { return mHandle.get(); }
    void Use(Entry entry) { mCase.entry = entry; } // from now on
    Bytes Push(const Bytes &planar);               // one frame
    MVS_MotionInfo Motion() const;

  private:
    Bytes InPlace(const Bytes &frame);
    Bytes Apart(const Bytes &frame);

    Case mCase;
    Guarded::Side mSide;
    Handle mHandle;
    std::unique_ptr<Guarded> mPrevious;
};

RunResult RunClip(const Case &c, const std::vector<Bytes> &planarClip,
                  Guarded::Side side = Guarded::kAtEnd);
