/* SPDX-License-Identifier: BSD-2-Clause */
#pragma once

#define PR_SET_NAME 15
#define PR_SET_TIMERSLACK 29

#ifdef __cplusplus
extern "C"
#endif
int prctl(int, ...);
