#include "support/faults.h"

#include <errno.h>
#include <pthread.h>
#include <stddef.h>

#include <atomic>
#include <mutex>
#include <unordered_set>

namespace {

std::atomic<int> sAllocations, sFailAllocation, sThreads, sFailThread, sParticipants{4};

std::atomic<void (*)(void *(*)(void *), void *)> sWatch;

std::mutex &LiveLock() {
    static std::mutex *lock = new std::mutex; // outlives every free of the process's end
    return *lock;
}
std::unordered_set<void *> &LiveSet() {
    static auto *set = new std::unordered_set<void *>;
    return *set;
}

} // namespace

void Faults::Reset() {
    sAllocations = sFailAllocation = sThreads = sFailThread = 0;
    sParticipants = 4;
}
void Faults::FailAllocation(int n) { sFailAllocation = n ? sAllocations + n : 0; }
void Faults::FailThread(int n) { sFailThread = n ? sThreads + n : 0; }
void Faults::KeepParticipants(int count) { sParticipants = count; }
void Faults::OnThread(void (*watch)(void *(*body)(void *), void *arg)) { sWatch = watch; }
int Faults::Allocations() { return sAllocations; }
int Faults::Threads() { return sThreads; }
int Faults::Live() {
    std::lock_guard<std::mutex> guard(LiveLock());
    return (int)LiveSet().size();
}

extern "C" {

void *__real_malloc(size_t size);
void __real_free(void *p);
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attr, void *(*body)(void *),
                          void *arg);

void *__wrap_malloc(size_t size) {
    if (++sAllocations == sFailAllocation) return nullptr;
    void *p = __real_malloc(size);
    std::lock_guard<std::mutex> guard(LiveLock());
    if (p) LiveSet().insert(p);
    return p;
}

void __wrap_free(void *p) {
    {
        std::lock_guard<std::mutex> guard(LiveLock());
        LiveSet().erase(p);
    }
    __real_free(p);
}

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attr, void *(*body)(void *),
                          void *arg) {
    const int n = ++sThreads;
    if (const auto watch = sWatch.load()) watch(body, arg);
    if (n == sFailThread || (n - 1) % 3 + 1 >= sParticipants) return EAGAIN;
    return __real_pthread_create(thread, attr, body, arg);
}
}
