// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/pipeline.h"

#include <string>
#include <system_error>

#include "video/interrupt.h"

namespace {

const size_t kQueueFrames = 4;

} // namespace

Pipeline::Pipeline(FrameSource &source, FrameSink *sink)
    : mSource(source), mSink(sink), mPool(source.Info().size, source.Info().layout),
      mRead(kQueueFrames), mWrite(kQueueFrames) {
    try {
        mReader = std::thread([this] { ReadFrames(); });
        if (sink) mWriter = std::thread([this] { WriteFrames(); });
    } catch (const std::system_error &error) {
        Join();
        throw VideoError(std::string("cannot start a thread: ") + error.code().message() +
                         "; end other programs, or raise the limit of processes (ulimit -u)");
    }
}

Pipeline::~Pipeline() { Join(); }

void Pipeline::ReadFrames() {
    FramePtr frame;
    try {
        for (;;) {
            frame = mPool.Get();
            if (!mSource.Read(*frame) || !mRead.Push(frame)) break;
        }
    } catch (...) {
        mReadFault = std::current_exception();
    }
    mLast = std::move(frame);
    mReadDone = true;
    mRead.Close();
}

void Pipeline::WriteFrames() {
    try {
        FramePtr frame;
        while (mWrite.Pop(frame)) mSink->Take(frame);
    } catch (...) {
        mWriteFault = std::current_exception();
    }
    mWrite.Close();
}

void Pipeline::Join() {
    if (!mReadDone) Interrupt(); // something has failed, and the reader may wait for a camera or a pipe
    mRead.Close();
    mWrite.Close();
    if (mReader.joinable()) mReader.join();
    if (mWriter.joinable()) mWriter.join();
}

void Pipeline::Finish() {
    Join();
    if (mWriteFault) std::rethrow_exception(mWriteFault);
    if (mSink && mLast) mSink->TakePackets(mLast->packets);
}
