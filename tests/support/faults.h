// Makes the library's allocations and thread creations fail, and counts what it has not freed. The test
// programs are linked with malloc, free and pthread_create wrapped.
#pragma once

struct Faults {
    static void Reset();                     // nothing fails, counts start at 0
    static void FailAllocation(int n);       // the n-th from now; 0: none
    static void FailThread(int n);           // the n-th creation from now; 0: none
    static void KeepParticipants(int count); // of every job's four; 4: all

    // Called before each thread is created, with what it is to run; null: not.
    static void OnThread(void (*watch)(void *(*body)(void *), void *arg));

    static int Allocations(); // since Reset
    static int Threads();     // creations asked for since Reset
    static int Live();        // allocations not yet freed, ever
};
