// SPDX-License-Identifier: BSD-2-Clause
// The camera wrapper's log: the platform's, or stderr where there is none.
#pragma once

#ifdef QUORVEL_LOG_ANDROID
#include <android/log.h>
#else
extern "C" int __android_log_print(int lPriority, const char *pTag, const char *pFormat, ...)
    __attribute__((format(printf, 3, 4)));
#endif
