// SPDX-License-Identifier: BSD-2-Clause
// Frames on a busy machine: 1080p while four processes keep the cores busy, with the default threads
// and with one. Both take turns, so that both meet the same load. Prints JSON; times are wall times.
//   quorvel-bench-load [FRAMES]
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <numeric>

#include "cpu_clock.h"
#include "handle.h"
#include "quantile.h"
#include "sizes.h"

namespace {

const int kNotCounted = 500; // frames until the library knows of the load
const int kTurn = 50;
const double kStandstill = 1e6; // microseconds: a virtual machine was held, which is not counted

// Processes that compute for as long as this object lives.
class BusyCores {
  public:
    explicit BusyCores(int processes) : mChildren((size_t)processes) {
        for (pid_t &child : mChildren)
            if ((child = fork()) == 0) Compute();
    }
    ~BusyCores() {
        for (const pid_t child : mChildren)
            if (child > 0) {
                kill(child, SIGKILL);
                waitpid(child, nullptr, 0);
            }
    }

  private:
    [[noreturn]] static void Compute() {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (volatile unsigned i = 0;; i = i + 1) {
        }
    }

    std::vector<pid_t> mChildren;
};

struct Stream {
    const char *name;
    Handle handle = MakeHandle(k1080p, k1080p);
    Outputs outputs{k1080p.Frame()};
    int next = 0, withWorkers = 0, standstills = 0;
    std::vector<double> times = {}; // microseconds

    Stream(const char *itsName, int threads) : name(itsName) {
        QEL_MVS_SetThreads(handle.get(), threads);
    }

    void Frame() {
        const int i = next++;
        const bool paused = handle->stThreads.lPauseLeft > 0;
        const int64_t begin = WallNanoseconds();
        QEL_MVS_StabilizeFrame(handle.get(), SharedClip(k1080p, 6).Frame(i), outputs.At(i));
        if (i < kNotCounted) return;
        const double time = (double)(WallNanoseconds() - begin) / 1000;
        if (time < kStandstill)
            times.push_back(time);
        else
            standstills++;
        withWorkers += !paused && WorkersFor(&handle->stThreads, handle->lInLumaSize) > 0;
    }

    double Mean() const {
        return std::accumulate(times.begin(), times.end(), 0.0) / (double)times.size();
    }

    void Print() const {
        printf(
            " \"%s\": {\"mean_us\": %.0f, \"median_us\": %.0f, \"p99_us\": %.0f, \"worst_us\": %.0f, "
            "\"frames_with_workers\": %d, \"standstills\": %d},\n",
            name, Mean(), Quantile(times, 0.5), Quantile(times, 0.99), Quantile(times, 1), withWorkers,
            standstills);
    }
};

} // namespace

int main(int argc, char **argv) {
    const int frames = std::max(argc > 1 ? atoi(argv[1]) : 3500, kNotCounted + kTurn);
    const int processes = argc > 2 ? std::max(atoi(argv[2]), 0) : 4;
    Stream several("default", 0), one("one_thread", 1);
    SharedClip(k1080p, 6);
    {
        const BusyCores busy(processes);
        while (several.next < frames)
            for (Stream *stream : {&several, &one})
                for (int i = 0; i < kTurn; i++) stream->Frame();
    }
    printf("{\"busy_processes\": %d, \"frames\": %zu,\n", processes, several.times.size());
    several.Print();
    one.Print();
    printf(" \"mean_ratio\": %.3f, \"p99_ratio\": %.3f}\n", several.Mean() / one.Mean(),
           Quantile(several.times, 0.99) / Quantile(one.times, 0.99));
    return 0;
}
