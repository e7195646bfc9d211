// SPDX-License-Identifier: BSD-2-Clause
// The camera wrapper's log: the platform's, stderr where there is none, or no log at all.
#pragma once

#if defined(QUORVEL_LOG_ANDROID)
#include <android/log.h>
#elif defined(QUORVEL_LOG_NONE)
static inline int __android_log_print(int, const char *, const char *, ...) { return 0; }
#else
extern "C" int __android_log_print(int lPriority, const char *pTag, const char *pFormat, ...)
    __attribute__((format(printf, 3, 4)));
#endif
