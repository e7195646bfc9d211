// SPDX-License-Identifier: BSD-2-Clause
// Reading, working on, and writing frames at the same time: a thread each, with short queues between.
#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <thread>

#include "stabilize/bounded_queue.h"
#include "video/frame_pool.h"

class Pipeline {
  public:
    // Starts reading and writing; `sink` may be null. Frames come from a pool of the input's size.
    Pipeline(FrameSource &source, FrameSink *sink);
    ~Pipeline();
    Pipeline(const Pipeline &) = delete;
    Pipeline &operator=(const Pipeline &) = delete;

    // Called by the thread that works on the frames. False at the end of the input.
    bool Next(FramePtr &frame) { return mRead.Pop(frame); }

    // False when the sink has failed and it is no use to go on.
    bool Write(FramePtr frame) { return !mSink || mWrite.Push(std::move(frame)); }

    // Ends both threads; throws what writing threw. The sink is not closed.
    void Finish();

    // What reading threw at its end, null when the input was whole. To be asked for after Finish.
    std::exception_ptr ReadFault() const { return mReadFault; }

  private:
    void ReadFrames();
    void WriteFrames();
    void Join();

    FrameSource &mSource;
    FrameSink *mSink;
    FramePool mPool;
    BoundedQueue<FramePtr> mRead;
    BoundedQueue<FramePtr> mWrite;
    std::atomic<bool> mReadDone{false};
    FramePtr mLast; // carries the packets behind the last frame
    std::exception_ptr mReadFault;
    std::exception_ptr mWriteFault;
    std::thread mReader;
    std::thread mWriter;
};
