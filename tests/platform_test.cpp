// SPDX-License-Identifier: BSD-2-Clause
// Memory pool against a plain model of its blocks; events and threads.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <list>

#include "platform/cpu.h"
#include "platform/fixed.h"
#include "quorvel/memory.h"
#include "quorvel/threads.h"
#include "support/guarded.h"
#include "support/scene.h"

namespace {

struct Block {
    uint32_t size;
    bool used;
    uint8_t mark;
};
using Blocks = std::list<Block>;

void Join(Blocks *blocks, Blocks::iterator first) {
    const auto next = std::next(first);
    if (next == blocks->end() || first->used || next->used) return;
    first->size += next->size + 8;
    blocks->erase(next);
}

void Release(Blocks *blocks, Blocks::iterator it) {
    it->used = false;
    Join(blocks, it);
    if (it != blocks->begin()) Join(blocks, std::prev(it));
}

// Cuts a block to `size` where the rest is worth a block of its own.
void Cut(Blocks *blocks, Blocks::iterator it, uint32_t size, int64_t rest, int64_t least) {
    if (rest < least) return;
    it->size = size;
    blocks->insert(std::next(it), Block{(uint32_t)rest, false, 0});
}

Blocks::iterator Take(Blocks *blocks, uint32_t size) {
    auto it = blocks->begin();
    while (it != blocks->end() && (it->used || it->size < size)) ++it;
    if (it == blocks->end()) return it;
    Cut(blocks, it, size, (int64_t)it->size - size - 8, 32);
    it->used = true;
    return it;
}

Blocks::iterator Resize(Blocks *blocks, Blocks::iterator it, uint32_t size) {
    const auto next = std::next(it);
    if (it->size >= size) {
        const int64_t rest = (int64_t)it->size - 8 - size;
        Cut(blocks, it, size, rest, 33);
        if (it->size == size && rest >= 33) Join(blocks, std::next(it));
        return it;
    }
    if (next != blocks->end() && !next->used && it->size + next->size >= size) {
        const int64_t rest = (int64_t)it->size + next->size - size;
        it->size += next->size + 8;
        blocks->erase(next);
        Cut(blocks, it, size, rest, 32);
        return it;
    }
    const auto moved = Take(blocks, size);
    if (moved == blocks->end()) return moved;
    moved->mark = it->mark;
    Release(blocks, it);
    return moved;
}

class Pool : public testing::Test {
  protected:
    Guarded mMemory{4003};
    void *mPool = MMemMgrCreate(mMemory.Data(), 4003); // starts unaligned, ends at the page
    Blocks mModel{{3984, false, 0}};

    uint8_t *At(Blocks::iterator it) {
        uint8_t *p = (uint8_t *)mPool + 8;
        for (auto b = mModel.begin(); b != it; ++b) p += b->size + 8;
        return p;
    }
    void Check() {
        uint32_t header[2], largest = 0;
        for (auto it = mModel.begin(); it != mModel.end(); ++it) {
            memcpy(header, At(it) - 8, sizeof(header));
            ASSERT_EQ(header[0], it->size);
            ASSERT_EQ(header[1], it->used ? 1u : 0u);
            if (it->used)
                ASSERT_EQ(*At(it), it->mark);
            else
                largest = std::max(largest, it->size);
        }
        memcpy(header, At(mModel.end()) - 8, sizeof(header));
        ASSERT_EQ(header[0], 0xFFFFFFFFu);
        ASSERT_EQ(GetMaxAllocMemSize(mPool), (int32_t)largest);
    }
};

TEST_F(Pool, ManyRequestsLikeTheModel) {
    Random random;
    for (int32_t i = 0; i < 30000; i++) {
        const uint32_t size = (uint32_t)random.In(1, i % 5 ? 90 : 700), rounded = (size + 3) / 4 * 4;
        auto it = mModel.begin();
        std::advance(it, random.In(0, (int32_t)mModel.size() - 1));
        void *const p = At(it);
        if (!it->used) {
            void *const got = MMemAlloc(mPool, size);
            it = Take(&mModel, rounded);
            ASSERT_EQ(got, it == mModel.end() ? nullptr : At(it));
            if (got) *(uint8_t *)got = it->mark = (uint8_t)random.Next();
        } else if (random.In(0, 2)) {
            MMemFree(mPool, p);
            Release(&mModel, it);
        } else {
            void *const got = MMemRealloc(mPool, p, size);
            it = Resize(&mModel, it, rounded);
            ASSERT_EQ(got, it == mModel.end() ? nullptr : At(it));
        }
        Check();
        if (HasFatalFailure()) FAIL() << i;
    }
}

TEST_F(Pool, RequestsThatCannotBeMet) {
    int32_t other = 0;
    void *p = MMemAllocStatic(mPool, 100);
    for (uint32_t size : {0u, 4000u, 0x7FFFFFFDu, 0xFFFFFFFFu}) {
        EXPECT_EQ(MMemAllocStatic(mPool, size), nullptr) << size;
        EXPECT_EQ(MMemReallocStatic(mPool, p, size), nullptr) << size;
    }
    MMemFreeStatic(mPool, &other);
    MMemFreeStatic(mPool, nullptr);
    MMemFreeStatic(nullptr, p);
    EXPECT_EQ(MMemReallocStatic(mPool, &other, 8), nullptr);
    EXPECT_EQ(GetMaxAllocMemSize(mPool), 3984 - 108);
    EXPECT_EQ(MMemRealloc(nullptr, p, 8), nullptr);
    EXPECT_EQ(GetMaxAllocMemSize(nullptr), 2);
    alignas(4) uint8_t small[28];
    EXPECT_EQ(MMemMgrCreate(small, 16), nullptr);
    EXPECT_EQ(MMemMgrCreate(small + 1, 22), nullptr);
    EXPECT_EQ(MMemMgrCreate(nullptr, 100), nullptr);
    EXPECT_EQ(GetMaxAllocMemSize(MMemMgrCreate(small, 24)), 8);
}

// Everything a helper thread of these tests needs.
struct Shared {
    void *event, *reply;
    int32_t plain = 0;
    std::atomic<int32_t> passed{0};
};

TEST(Event, SignalsDoNotCount) {
    alignas(8) uint8_t memory[512];
    for (int32_t shift = 0; shift < 8; shift += 4) { // a pool aligns to 4 bytes only
        void *pool = MMemMgrCreate(memory + shift, 480);
        Shared shared = {zekMEventCreate(pool), zekMEventCreate(pool)};
        zekMEventSignal(shared.event);
        zekMEventSignal(shared.event);
        EXPECT_EQ(zekMEventWait(shared.event, 0), QEL_EVENT_OK); // a poll consumes both
        EXPECT_EQ(zekMEventWait(shared.event, 5), QEL_EVENT_OK); // and does not wait
        const uintptr_t thread = zekMThreadCreate(
            [](void *argument) -> void * {
                Shared *s = (Shared *)argument;
                zekMEventWait(s->event, -1);
                s->passed = 1;
                zekMEventSignal(s->reply);
                zekMEventWait(s->event, -1);
                s->passed = 2;
                return nullptr;
            },
            &shared);
        ASSERT_NE(thread, 0u);
        usleep(20000); // time for the thread to pass where it must not
        EXPECT_EQ(shared.passed, 0);
        zekMEventSignal(shared.event);
        zekMEventWait(shared.reply, -1);
        EXPECT_EQ(shared.passed, 1);
        zekMEventSignal(shared.event);
        EXPECT_EQ(zekMThreadDestory(thread), 0);
        EXPECT_EQ(shared.passed, 2);
        EXPECT_EQ(zekMEventDestroy(pool, shared.reply), QEL_EVENT_OK);
        EXPECT_EQ(zekMEventDestroy(pool, shared.event), QEL_EVENT_OK);
        EXPECT_EQ(GetMaxAllocMemSize(pool), 464);
    }
    EXPECT_EQ(zekMEventWait(nullptr, -1), QEL_EVENT_NULL);
    EXPECT_EQ(zekMEventSignal(nullptr), QEL_EVENT_NULL);
    EXPECT_EQ(zekMEventDestroy(nullptr, nullptr), QEL_EVENT_NULL);
    EXPECT_EQ(zekMThreadCreate(nullptr, nullptr), 0u);
    EXPECT_EQ(zekMThreadExit(0), 0);
}

TEST(Platform, BestLevelAndSaturation) {
#ifdef QEL_X86
    __builtin_cpu_init();
    EXPECT_EQ(ChooseCpuLevel() == kCpuAvx2, __builtin_cpu_supports("avx2") != 0);
#endif
    const volatile float large = 2147483648.0f; // not known to the compiler
    EXPECT_EQ(TruncateFloat(large), INT32_MAX);
    EXPECT_EQ(TruncateFloat(-large), INT32_MIN);
    EXPECT_EQ(TruncateFloat(large - large / 16), 2013265920);
}

TEST(Event, ServesAsALock) {
    Shared shared = {zekMEventCreate(nullptr), nullptr};
    zekMEventSignal(shared.event);
    uintptr_t threads[4];
    for (uintptr_t &thread : threads)
        thread = zekMThreadCreate(
            [](void *argument) -> void * {
                Shared *s = (Shared *)argument;
                for (int i = 0; i < 5000; i++) {
                    zekMEventWait(s->event, -1);
                    s->plain++;
                    zekMEventSignal(s->event);
                }
                return nullptr;
            },
            &shared);
    for (uintptr_t thread : threads) zekMThreadExit(thread);
    EXPECT_EQ(shared.plain, 20000);
    zekMEventDestroy(nullptr, shared.event);
}

} // namespace
