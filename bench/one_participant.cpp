// SPDX-License-Identifier: BSD-2-Clause
#include "one_participant.h"

#include <errno.h>
#include <pthread.h>

namespace {

bool refuse = false;
int started = 0;

} // namespace

extern "C" int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                                     void *(*function)(void *), void *argument);
extern "C" int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                                     void *(*function)(void *), void *argument) {
    if (refuse) return EAGAIN;
    started++;
    return __real_pthread_create(thread, attributes, function, argument);
}

OneParticipant::OneParticipant(bool active) : mBefore(refuse) { refuse = active; }
OneParticipant::~OneParticipant() { refuse = mBefore; }

int ThreadsStarted() { return started; }
