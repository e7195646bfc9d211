// SPDX-License-Identifier: BSD-2-Clause
// Frames that are used again and again: a frame comes back by itself when its last user lets go of it.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "video/frame_source.h"

class FramePool {
  public:
    FramePool(PictureSize size, const PixelLayout &layout)
        : mSize(size), mLayout(layout), mShelf(std::make_shared<Shelf>()) {}

    // Any thread may call, and let go of frames, also when the pool is gone.
    FramePtr Get() {
        std::unique_ptr<Frame> frame = mShelf->Take();
        if (!frame) frame = std::make_unique<Frame>(mSize, mLayout);
        std::shared_ptr<Shelf> shelf = mShelf;
        return FramePtr(frame.release(), [shelf](Frame *used) { shelf->Put(used); });
    }

  private:
    struct Shelf {
        std::unique_ptr<Frame> Take() {
            std::lock_guard<std::mutex> lock(mutex);
            if (frames.empty()) return nullptr;
            std::unique_ptr<Frame> frame = std::move(frames.back());
            frames.pop_back();
            return frame;
        }
        void Put(Frame *used) {
            std::unique_ptr<Frame> frame(used);
            frame->packets.clear();
            std::lock_guard<std::mutex> lock(mutex);
            frames.push_back(std::move(frame));
        }

        std::mutex mutex;
        std::vector<std::unique_ptr<Frame>> frames;
    };

    PictureSize mSize;
    PixelLayout mLayout;
    std::shared_ptr<Shelf> mShelf;
};
