// SPDX-License-Identifier: BSD-2-Clause
// Floors, kernels, stages and frames in one run, so that their ratios mean something.
#include <benchmark/benchmark.h>

#include "handle.h"

int main(int argc, char **argv) {
    benchmark::AddCustomContext("vector_level", LevelName(ChooseCpuLevel()));
    benchmark::AddCustomContext("compiler", QUORVEL_BENCH_COMPILER);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
