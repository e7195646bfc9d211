/* SPDX-License-Identifier: BSD-2-Clause */
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif
void *malloc(size_t);
void free(void *);
#ifdef __cplusplus
}
#endif
