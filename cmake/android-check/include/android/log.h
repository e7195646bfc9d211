/* SPDX-License-Identifier: BSD-2-Clause */
#pragma once

#ifdef __cplusplus
extern "C"
#endif
int __android_log_print(int prio, const char *tag, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));
