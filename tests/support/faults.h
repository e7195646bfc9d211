// SPDX-License-Identifier: BSD-2-Clause
// Makes the library's allocations, threads and locks fail or dawdle, and counts what it has not freed.
// The test programs are linked with these functions wrapped.
#pragma once

#include <stddef.h>

struct Faults {
    static void Reset();                // nothing fails, counts start at 0
    static void FailAllocation(int n);  // the n-th from now, of memory or of a lock's; 0: none
    static void FailThread(int n);      // the n-th creation from now; 0: none; below: all
    static void FailLock(int n);        // the n-th taking of a mutex from now; 0: none
    static void KeepThreads(int count); // 1 .. 4 for the handles that support/run.h makes from now on
    static void WakeEarly(bool yes);    // waits for conditions that end without a signal
    static void Dawdle(bool yes);       // random sleeps at locks, wake-ups and the start of threads

    static int Allocations();  // since Reset
    static int Threads();      // creations asked for since Reset
    static int Running();      // threads created, not yet ended
    static int Locks();        // mutexes taken since Reset
    static int Live();         // allocations not yet freed, ever
    static size_t Bytes();     // of them
    static size_t MostBytes(); // that there were since Reset
};

// Stops the threads that run meanwhile, wherever they are, for some time again and again.
class Interruptions {
  public:
    Interruptions();
    ~Interruptions();
};
