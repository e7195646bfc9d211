// SPDX-License-Identifier: BSD-2-Clause
// Jobs of the calling thread alone: the bench programs are linked with pthread_create wrapped.
#pragma once

// While one lives, the library's threads cannot be started, so that each job's only participant is its caller.
class OneParticipant {
public:
    explicit OneParticipant(bool active = true);
    ~OneParticipant();
    OneParticipant(const OneParticipant &) = delete;
    OneParticipant &operator=(const OneParticipant &) = delete;

private:
    bool mBefore;
};

// Threads that the library has started so far.
int ThreadsStarted();
