// SPDX-License-Identifier: BSD-2-Clause
// Memory between two pages that cannot be touched: a read or write one byte outside ends the test.
#pragma once

#include <stddef.h>
#include <stdint.h>

class Guarded {
  public:
    enum Side { kAtEnd, kAtStart }; // which end of the bytes lies against its page

    explicit Guarded(size_t size, Side side = kAtEnd, uint8_t fill = 0);
    ~Guarded();
    Guarded(const Guarded &) = delete;
    Guarded &operator=(const Guarded &) = delete;

    uint8_t *Data() const { return mData; }
    size_t Size() const { return mSize; }
    void ReadOnly() const;

  private:
    uint8_t *mPages;
    size_t mInner, mSize;
    uint8_t *mData;
};
