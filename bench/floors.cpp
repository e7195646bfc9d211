// SPDX-License-Identifier: BSD-2-Clause
// What the frame costs are held against, measured among them.
#include <benchmark/benchmark.h>

#include <string.h>

#include "scale_crop.h"
#include "sizes.h"

namespace {

void CopyFrame(benchmark::State &state, Size size) {
    const Clip &clip = SharedClip(size, 6);
    Outputs outputs(size.Frame());
    int i = 0;
    for (auto _ : state) {
        memcpy(outputs.At(i), clip.Frame(i), size.Frame());
        i++;
        benchmark::ClobberMemory();
    }
}

void Scale(benchmark::State &state, Size size) {
    const Clip &clip = SharedClip(size, 6);
    Outputs outputs(size.Frame());
    int i = 0;
    for (auto _ : state) {
        ScaleCrop(size, clip.Frame(i), outputs.At(i));
        i++;
        benchmark::ClobberMemory();
    }
}

const bool registered = [] {
    for (const NamedSize &named : kSizes) {
        const std::string end = std::string("/") + named.name;
        benchmark::RegisterBenchmark(("floor/memcpy" + end).c_str(), CopyFrame, named.size);
        benchmark::RegisterBenchmark(("floor/nv12scale" + end).c_str(), Scale, named.size);
    }
    return true;
}();

} // namespace
