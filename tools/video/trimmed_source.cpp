// SPDX-License-Identifier: BSD-2-Clause
#include "video/trimmed_source.h"

#include <math.h>

#include <algorithm>

#include "video/interrupt.h"

TrimmedSource::TrimmedSource(std::unique_ptr<FrameSource> source, double start, double duration)
    : mSource(std::move(source)) {
    mInfo = mSource->Info();
    mName = mSource->Name();
    double rate = mInfo.framesPerSecond.Value();
    if (rate <= 0)
        throw VideoError("--start and --duration: " + mName + " does not tell its frame rate");
    // A frame belongs to the part when it begins within it; the rate's rounding is not to matter.
    const double slack = 1e-6;
    mFirst = (int64_t)ceil(start * rate - slack);
    if (duration > 0) mEnd = (int64_t)ceil((start + duration) * rate - slack);
    if (mInfo.frameCount > 0)
        mInfo.frameCount = std::max<int64_t>(std::min(mInfo.frameCount, mEnd) - mFirst, 0);
}

bool TrimmedSource::Read(Frame &frame) {
    while (mSource->Read(frame)) {
        mRead = frame.time + 1;
        if (frame.time >= mEnd) return false;
        if (frame.time < mFirst) continue;
        frame.time -= mFirst;
        return true;
    }
    if (mFirst > 0 && mRead <= mFirst && !Interrupted())
        FailBehindEnd(mName, (double)mRead / mInfo.framesPerSecond.Value());
    return false;
}
