/* SPDX-License-Identifier: BSD-2-Clause */
#pragma once

#ifdef __cplusplus
extern "C"
#endif
int sched_yield(void);
