/* SPDX-License-Identifier: BSD-2-Clause */
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif
void *memcpy(void *, const void *, size_t);
void *memmove(void *, const void *, size_t);
void *memset(void *, int, size_t);
int memcmp(const void *, const void *, size_t);
#ifdef __cplusplus
}
#endif
