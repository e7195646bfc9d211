// SPDX-License-Identifier: BSD-2-Clause
// Hands things from one thread to another, a few at a time.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>

template <typename T> class BoundedQueue {
  public:
    explicit BoundedQueue(size_t limit) : mLimit(limit) {}

    // Waits for room. False when the queue was closed: the thing is dropped.
    bool Push(T thing) {
        std::unique_lock<std::mutex> lock(mMutex);
        mChanged.wait(lock, [&] { return mThings.size() < mLimit || mClosed; });
        if (mClosed) return false;
        mThings.push_back(std::move(thing));
        mChanged.notify_all();
        return true;
    }

    // Waits for a thing. False when the queue was closed and is empty.
    bool Pop(T &thing) {
        std::unique_lock<std::mutex> lock(mMutex);
        mChanged.wait(lock, [&] { return !mThings.empty() || mClosed; });
        if (mThings.empty()) return false;
        thing = std::move(mThings.front());
        mThings.pop_front();
        mChanged.notify_all();
        return true;
    }

    // No more come in; what is in still goes out.
    void Close() {
        std::lock_guard<std::mutex> lock(mMutex);
        mClosed = true;
        mChanged.notify_all();
    }

  private:
    const size_t mLimit;
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::deque<T> mThings;
    bool mClosed = false;
};
