// Stabilizes a whole stream.
#pragma once

#include "stabilize/options.h"

// Returns when the whole output is written. A fault is thrown as VideoError; the whole frames before it
// have then been written.
void StabilizeStream(const Options &options);
