// SPDX-License-Identifier: BSD-2-Clause
// Stabilizes a whole stream.
#pragma once

#include "stabilize/options.h"

// Returns when the whole output is written, or as much of it as there is up to an interruption. A fault
// is thrown as VideoError; when the input is at fault, the whole frames before it have then been
// written.
void StabilizeStream(const Options &options);
