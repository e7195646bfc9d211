// SPDX-License-Identifier: BSD-2-Clause
#include "support/guarded.h"

#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <new>

namespace {
const size_t kPage = (size_t)sysconf(_SC_PAGESIZE);
}

Guarded::Guarded(size_t size, Side side, uint8_t fill)
    : mInner((size + kPage - 1) / kPage * kPage), mSize(size) {
    void *p = mmap(nullptr, mInner + 2 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) throw std::bad_alloc();
    mPages = (uint8_t *)p;
    if (mInner && mprotect(mPages + kPage, mInner, PROT_READ | PROT_WRITE)) throw std::bad_alloc();
    mData = mPages + kPage + (side == kAtEnd ? mInner - size : 0);
    memset(mData, fill, size);
}

Guarded::~Guarded() { munmap(mPages, mInner + 2 * kPage); }

void Guarded::ReadOnly() const { mprotect(mPages + kPage, mInner, PROT_READ); }
