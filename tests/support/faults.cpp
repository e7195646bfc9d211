// SPDX-License-Identifier: BSD-2-Clause
#include "support/faults.h"
#include "support/run.h"

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stddef.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <unordered_map>
#include <vector>

namespace {

std::atomic<int> sAllocations, sFailAllocation, sThreads, sFailThread, sLocks, sFailLock, sEarlyWakes,
    sRunning;
std::atomic<bool> sDawdle, sInterrupt;
std::atomic<unsigned> sSeed;

// Not a mutex: those are wrapped.
std::atomic_flag sBusy = ATOMIC_FLAG_INIT;
struct Busy {
    Busy() {
        while (sBusy.test_and_set(std::memory_order_acquire)) sched_yield();
    }
    ~Busy() { sBusy.clear(std::memory_order_release); }
};
std::unordered_map<void *, size_t> &LiveBlocks() { // outlives every free of the process's end
    static auto *blocks = new std::unordered_map<void *, size_t>;
    return *blocks;
}
size_t sBytes, sMostBytes;
std::vector<pthread_t> &Running() {
    static auto *threads = new std::vector<pthread_t>;
    return *threads;
}

unsigned Draw() { return (sSeed += 0x9E3779B9u) * 0x85EBCA6Bu >> 16; }

void Sleep(unsigned microseconds) {
    const timespec time = {0, (long)microseconds * 1000};
    nanosleep(&time, nullptr);
}

void MaybeSleep() {
    if (!sDawdle) return;
    const unsigned draw = Draw();
    if (draw % 4 == 0) Sleep(draw % 200);
    if (draw % 4 == 1) sched_yield();
}

bool Fails(std::atomic<int> *count, const std::atomic<int> &which) { return ++*count == which; }

struct Start {
    void *(*body)(void *);
    void *arg;
};

void *Run(void *argument) {
    const Start start = *(Start *)argument;
    delete (Start *)argument;
    {
        const Busy busy;
        Running().push_back(pthread_self());
    }
    MaybeSleep();
    void *result = start.body(start.arg);
    const Busy busy;
    auto &all = Running();
    for (size_t i = 0; i < all.size(); i++)
        if (pthread_equal(all[i], pthread_self())) all.erase(all.begin() + (ptrdiff_t)i--);
    sRunning--;
    return result;
}

std::thread *sInterrupter;

} // namespace

void Faults::Reset() {
    sAllocations = sFailAllocation = sThreads = sFailThread = sLocks = sFailLock = sEarlyWakes = 0;
    ThreadsOfHandles() = 4;
    sDawdle = false;
    const Busy busy;
    sMostBytes = sBytes;
}
void Faults::FailAllocation(int n) { sFailAllocation = n ? sAllocations + n : 0; }
void Faults::FailThread(int n) { sFailThread = n > 0 ? sThreads + n : n; }
void Faults::FailLock(int n) { sFailLock = n ? sLocks + n : 0; }
void Faults::KeepThreads(int count) { ThreadsOfHandles() = count; }
void Faults::WakeEarly(bool yes) { sEarlyWakes = yes; }
void Faults::Dawdle(bool yes) { sDawdle = yes; }
int Faults::Allocations() { return sAllocations; }
int Faults::Threads() { return sThreads; }
int Faults::Running() { return sRunning; }
int Faults::Locks() { return sLocks; }
int Faults::Live() {
    const Busy busy;
    return (int)LiveBlocks().size();
}
size_t Faults::Bytes() {
    const Busy busy;
    return sBytes;
}
size_t Faults::MostBytes() {
    const Busy busy;
    return sMostBytes;
}

Interruptions::Interruptions() {
    struct sigaction action = {};
    action.sa_handler = [](int) { Sleep(20 + Draw() % 100); };
    action.sa_flags = SA_RESTART;
    sigaction(SIGUSR1, &action, nullptr);
    sInterrupt = true;
    sInterrupter = new std::thread([caller = pthread_self()] {
        while (sInterrupt) {
            Sleep(20);
            pthread_kill(caller, SIGUSR1);
            const Busy busy; // none of them ends meanwhile
            for (pthread_t thread : Running())
                if (Draw() % 2) pthread_kill(thread, SIGUSR1);
        }
    });
}

Interruptions::~Interruptions() {
    sInterrupt = false;
    sInterrupter->join();
    delete sInterrupter;
}

extern "C" {

void *__real_malloc(size_t size);
void __real_free(void *p);
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attr, void *(*body)(void *),
                          void *arg);
int __real_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attr);
int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __real_pthread_cond_init(pthread_cond_t *condition, const pthread_condattr_t *attr);
int __real_pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex);
int __real_pthread_cond_signal(pthread_cond_t *condition);
int __real_pthread_cond_broadcast(pthread_cond_t *condition);

void *__wrap_malloc(size_t size) {
    if (Fails(&sAllocations, sFailAllocation)) return nullptr;
    void *p = __real_malloc(size);
    const Busy busy;
    if (!p) return p;
    LiveBlocks()[p] = size;
    sBytes += size;
    sMostBytes = std::max(sMostBytes, sBytes);
    return p;
}

void __wrap_free(void *p) {
    {
        const Busy busy;
        const auto block = LiveBlocks().find(p);
        if (block != LiveBlocks().end()) {
            sBytes -= block->second;
            LiveBlocks().erase(block);
        }
    }
    __real_free(p);
}

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attr, void *(*body)(void *),
                          void *arg) {
    const int n = ++sThreads;
    if (n == sFailThread || sFailThread < 0) return EAGAIN;
    Start *start = new Start{body, arg};
    sRunning++;
    const int result = __real_pthread_create(thread, attr, Run, start);
    if (result) {
        sRunning--;
        delete start;
    }
    return result;
}

int __wrap_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attr) {
    return Fails(&sAllocations, sFailAllocation) ? ENOMEM : __real_pthread_mutex_init(mutex, attr);
}

int __wrap_pthread_cond_init(pthread_cond_t *condition, const pthread_condattr_t *attr) {
    return Fails(&sAllocations, sFailAllocation) ? ENOMEM : __real_pthread_cond_init(condition, attr);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex) {
    if (Fails(&sLocks, sFailLock)) return EAGAIN;
    MaybeSleep();
    return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex) {
    if (sEarlyWakes && Draw() % 2) {
        pthread_mutex_unlock(mutex);
        sched_yield();
        return __real_pthread_mutex_lock(mutex);
    }
    return __real_pthread_cond_wait(condition, mutex);
}

int __wrap_pthread_cond_signal(pthread_cond_t *condition) {
    MaybeSleep();
    return __real_pthread_cond_signal(condition);
}

int __wrap_pthread_cond_broadcast(pthread_cond_t *condition) {
    MaybeSleep();
    return __real_pthread_cond_broadcast(condition);
}
}
