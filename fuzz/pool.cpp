// SPDX-License-Identifier: BSD-2-Clause
// The memory pool against the promises of its header. Every call is preceded by a walk along the chain:
// each block in use must be one that was handed out, and must hold what was written to it.
#include <string.h>

#include <map>

#include "input.h"
#include "quorvel/memory.h"

namespace {

struct Pool {
    uint8_t *begin, *end; // of the buffer, rounded inwards
    void *handle;
    std::map<uint8_t *, uint32_t> live; // payload, bytes asked for; filled with FillOf(payload)
};

uint8_t FillOf(const Pool &pool, const uint8_t *payload) {
    return (uint8_t)((payload - pool.begin) / 4 + 1);
}

struct Free {
    int32_t largest;
    uint8_t *firstFit; // of the size asked for
};

uint32_t WordAt(const uint8_t *p) {
    uint32_t w;
    memcpy(&w, p, 4);
    return w;
}

Free Walk(const Pool &pool, uint32_t wanted) {
    Free found = {0, nullptr};
    size_t used = 0;
    bool lastFree = false;
    uint8_t *p = pool.begin;
    while (WordAt(p) != 0xFFFFFFFFu) {
        const uint32_t size = WordAt(p), inUse = WordAt(p + 4);
        MUST(size % 4 == 0 && inUse <= 1 && size <= (size_t)(pool.end - p) - 16);
        p += 8;
        if (inUse) {
            const auto block = pool.live.find(p);
            MUST(block != pool.live.end() && block->second <= size);
            for (uint32_t i = 0; i < block->second; i++) MUST(p[i] == FillOf(pool, p));
            used++;
        } else {
            MUST(!lastFree); // neighbours are joined
            if ((int32_t)size > found.largest) found.largest = (int32_t)size;
            if (!found.firstFit && wanted <= size) found.firstFit = p;
        }
        lastFree = !inUse;
        p += size;
    }
    MUST(p + 8 == pool.end && used == pool.live.size());
    return found;
}

void Own(Pool *pool, uint8_t *p, uint32_t size) {
    pool->live[p] = size;
    memset(p, FillOf(*pool, p), size);
}

// A block in use, or an address that is no block.
uint8_t *Pick(Pool *pool, Input *input) {
    const uint8_t choice = input->Byte();
    if (choice < 8 || pool->live.empty()) return pool->begin + choice % 8;
    auto it = pool->live.begin();
    std::advance(it, choice % pool->live.size());
    return it->first;
}

void Resize(Pool *pool, Input *input, uint32_t size) {
    uint8_t *p = Pick(pool, input);
    const auto old = pool->live.find(p);
    const Free before = Walk(*pool, size);
    uint8_t *moved = (uint8_t *)MMemRealloc(pool->handle, p, size);
    const bool possible = old != pool->live.end() && size > 0 && size <= 0x7FFFFFFC;
    if (!moved) MUST(!possible || (size > old->second && !before.firstFit));
    if (!moved) return;
    MUST(possible);
    const uint32_t kept = old->second < size ? old->second : size;
    for (uint32_t i = 0; i < kept; i++) MUST(moved[i] == FillOf(*pool, p));
    pool->live.erase(old);
    Own(pool, moved, size);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input input = {data, data + size};
    const int32_t length = input.In(0, 700), skip = input.In(0, 3);
    Guarded buffer((size_t)(length + skip), input.Byte() & 1 ? Guarded::kAtStart : Guarded::kAtEnd,
                   0xAA);
    uint8_t *start = buffer.Data() + skip;
    Pool pool = {start + (-(uintptr_t)start & 3), nullptr, MMemMgrCreate(start, length), {}};
    pool.end = pool.begin + ((start + length - pool.begin) & ~(ptrdiff_t)3);
    MUST((pool.handle != nullptr) == (pool.end - pool.begin > 16));
    if (!pool.handle) return 0;
    MUST(pool.handle == pool.begin);
    while (!input.Empty()) {
        const uint8_t call = input.Byte() & 3;
        const uint32_t bytes = call & 2 ? (uint32_t)input.In(0, 90) : (uint32_t)input.Number();
        const Free before = Walk(pool, bytes);
        MUST(GetMaxAllocMemSize(pool.handle) == before.largest);
        if (input.Byte() & 1) {
            uint8_t *p = (uint8_t *)MMemAlloc(pool.handle, bytes);
            MUST(p == (bytes && bytes <= 0x7FFFFFFC ? before.firstFit : nullptr));
            if (p) Own(&pool, p, bytes);
        } else if (call & 1) {
            Resize(&pool, &input, bytes);
        } else {
            uint8_t *p = Pick(&pool, &input);
            MMemFree(pool.handle, p);
            pool.live.erase(p);
        }
    }
    for (const auto &block : pool.live) MMemFree(pool.handle, block.first);
    pool.live.clear();
    Walk(pool, 0);
    MUST(GetMaxAllocMemSize(pool.handle) == pool.end - pool.begin - 16);
    return 0;
}
