// SPDX-License-Identifier: BSD-2-Clause
// quorvel-stabilize: stabilizes a video file, pipe or camera.
#include <exception>
#include <iostream>
#include <new>

#include "stabilize/options.h"
#include "stabilize/run.h"
#include "video/byte_file.h"
#include "video/interrupt.h"

int main(int argc, char **argv) {
    ReserveStandardStreams();
    Options options;
    int exitCode = 0;
    if (!ParseOptions(argc, argv, options, exitCode)) return exitCode;
    IgnoreBrokenPipes();
    CatchInterrupts();
    exitCode = 1; // NOLINT(clang-analyzer-deadcode.DeadStores): read when an exception ends the run
    try {
        StabilizeStream(options);
        exitCode = 0;
    } catch (const std::bad_alloc &) {
        std::cerr << "quorvel-stabilize: not enough memory for a video of this size\n";
    } catch (const std::exception &error) {
        std::cerr << "quorvel-stabilize: " << error.what() << "\n";
    }
    return InterruptSignal() ? 128 + InterruptSignal() : exitCode;
}
