// SPDX-License-Identifier: BSD-2-Clause
// Heap, resident memory, allocations and threads of one stabilizer; a process of its own for each size.
//   quorvel-bench-memory WIDTH HEIGHT nv21|i420 separate|in_place [OUT_WIDTH OUT_HEIGHT]
//   quorvel-bench-memory WIDTH HEIGHT nv21 refined|lookahead
// refined: frame calls of a refined handle, two buffers; lookahead: plane calls, 30 frames ahead.
// Prints JSON.
#include <dlfcn.h>
#include <execinfo.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <map>
#include <string>

#include "handle.h"

namespace {

const int kSteady = 20; // frames after the first ones
const int kLookahead = 30;

int threadsStarted = 0;

struct Heap {
    std::map<void *, size_t> sizes;
    size_t live = 0, peak = 0;
    std::map<std::string, int> callers;
    bool listing = false;
};

Heap &TheHeap() {
    static Heap heap;
    return heap;
}

// The library's exported functions on the way to an allocation, the nearest first.
std::string Callers() {
    void *frames[16];
    const int count = backtrace(frames, 16);
    std::string result;
    int found = 0;
    for (int i = 0; i < count && found < 2; i++) {
        Dl_info info;
        if (!dladdr(frames[i], &info) || !info.dli_sname) continue;
        const std::string name = info.dli_sname;
        if (name == "__wrap_malloc" || name == "MMemAlloc" || name[0] == '_') continue;
        result += (found++ ? " of " : "") + name;
    }
    return result;
}

// Anonymous pages that are really there: heap and stacks, without code and files.
size_t ResidentBytes() {
    FILE *file = fopen("/proc/self/smaps_rollup", "r");
    if (!file) return 0;
    char line[256];
    size_t kilobytes = 0;
    while (fgets(line, sizeof(line), file)) sscanf(line, "Anonymous: %zu", &kilobytes);
    fclose(file);
    return kilobytes * 1024;
}

void RunPlanes(MVS_Context *handle, Size size, const Clip &clip, int i, uint8_t *output) {
    MVS_Compensation record = {};
    record.lSize = (int32_t)sizeof(record);
    QEL_MVS_PushLuma(handle, FramePlanes(size, clip.Frame(i)).planes);
    while (QEL_MVS_PullCompensation(handle, &record))
        QEL_MVS_CompensateFrame(handle, &record,
                                FramePlanes(size, clip.Frame((int)(record.llFrame - 1))).planes,
                                FramePlanes(size, output).planes, 2);
}

} // namespace

extern "C" int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                                     void *(*function)(void *), void *argument);
extern "C" int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                                     void *(*function)(void *), void *argument) {
    __atomic_add_fetch(&threadsStarted, 1, __ATOMIC_RELAXED); // workers start each other
    return __real_pthread_create(thread, attributes, function, argument);
}

extern "C" void *__real_malloc(size_t size);
extern "C" void __real_free(void *memory);
extern "C" __attribute__((visibility("default"))) void *__wrap_malloc(size_t size) {
    void *memory = __real_malloc(size);
    Heap &heap = TheHeap();
    heap.sizes[memory] = size;
    heap.live += size;
    heap.peak = std::max(heap.peak, heap.live);
    if (heap.listing) heap.callers[Callers()]++;
    return memory;
}
extern "C" __attribute__((visibility("default"))) void __wrap_free(void *memory) {
    Heap &heap = TheHeap();
    const auto found = heap.sizes.find(memory);
    if (found != heap.sizes.end()) {
        heap.live -= found->second;
        heap.sizes.erase(found);
    }
    __real_free(memory);
}

int main(int argc, char **argv) {
    if (argc != 5 && argc != 7) {
        fputs("arguments: WIDTH HEIGHT nv21|i420 separate|in_place|refined|lookahead [OUT_WIDTH "
              "OUT_HEIGHT]\n",
              stderr);
        return 2;
    }
    const Size in = {atoi(argv[1]), atoi(argv[2])};
    const Size out = argc == 7 ? Size{atoi(argv[5]), atoi(argv[6])} : in;
    const bool planar = strcmp(argv[3], "i420") == 0, inPlace = strcmp(argv[4], "in_place") == 0;
    const bool planes = strcmp(argv[4], "lookahead") == 0;
    const bool refined = planes || strcmp(argv[4], "refined") == 0;
    Clip clip(in, Motion(), 8);
    std::vector<uint8_t> output(std::max(in.Frame(), out.Frame()), 1);
    Heap &heap = TheHeap();
    void *warm[4];
    backtrace(warm, 4); // loads what it needs

    const size_t residentBefore = ResidentBytes();
    const Handle handle = refined
                              ? MakeRefined(in, planes ? kLookahead : 0, true)
                              : MakeHandle(in, out, planar ? QEL_MVS_FORMAT_I420 : QEL_MVS_FORMAT_NV21);
    if (!handle) return 1;
    int threads = 0;
    const int first = planes ? kLookahead + 2 : 2;
    for (int i = 0; i < first + kSteady; i++) {
        if (i == first) {
            heap.listing = true;
            threads = threadsStarted;
        }
        if (planes) {
            RunPlanes(handle.get(), in, clip, i, output.data());
            continue;
        }
        if (inPlace) memcpy(output.data(), clip.Frame(i), in.Frame());
        QEL_MVS_StabilizeFrame(handle.get(), inPlace ? output.data() : clip.Frame(i), output.data());
    }
    heap.listing = false;
    const size_t resident = ResidentBytes() - residentBefore;

    int allocations = 0;
    for (const auto &caller : heap.callers) allocations += caller.second;
    printf("{\"in\": \"%dx%d\", \"out\": \"%dx%d\", \"format\": \"%s\", \"buffers\": \"%s\",\n",
           in.width, in.height, out.width, out.height, argv[3], argv[4]);
    printf(" \"luma_bytes\": %zu, \"heap_bytes\": %zu, \"heap_peak_bytes\": %zu, \"resident_bytes\": "
           "%zu,\n",
           in.Luma(), heap.live, heap.peak, resident);
    printf(" \"threads_per_frame\": %.2f, \"allocations_per_frame\": %.2f, \"callers\": {",
           (threadsStarted - threads) / (double)kSteady, allocations / (double)kSteady);
    const char *separator = "";
    for (const auto &caller : heap.callers) {
        printf("%s\n  \"%s\": %.2f", separator, caller.first.c_str(), caller.second / (double)kSteady);
        separator = ",";
    }
    printf("}}\n");
    return 0;
}
