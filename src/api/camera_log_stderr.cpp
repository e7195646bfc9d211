// SPDX-License-Identifier: BSD-2-Clause
#include "api/camera_log.h"

#include <stdarg.h>
#include <stdio.h>

int __android_log_print(int lPriority, const char *pTag, const char *pFormat, ...) {
    char line[256];
    va_list args;
    va_start(args, pFormat);
    vsnprintf(line, sizeof(line), pFormat, args);
    va_end(args);
    return fprintf(stderr, "%d %s%s\n", lPriority, pTag ? pTag : "", line);
}
