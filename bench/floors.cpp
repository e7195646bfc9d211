// SPDX-License-Identifier: BSD-2-Clause
// What the frame costs are held against, measured among them.
#include <benchmark/benchmark.h>
#include <libyuv/scale_uv.h>
#include <libyuv/scale.h>

#include <string.h>

#include "sizes.h"

namespace {

void CopyFrame(benchmark::State &state, Size size, bool luma) {
    const Clip &clip = SharedClip(size, 6);
    Outputs outputs(size.Frame());
    int i = 0;
    for (auto _ : state) {
        memcpy(outputs.At(i), clip.Frame(i), luma ? size.Luma() : size.Frame());
        i++;
        benchmark::ClobberMemory();
    }
}

// The crop that a stabilizer without rotation shows, by a scaler that many programs use.
void ScaleCrop(benchmark::State &state, Size size) {
    const Clip &clip = SharedClip(size, 6);
    Outputs outputs(size.Frame());
    const int width = size.width * 9 / 10 & ~1, height = size.height * 9 / 10 & ~1;
    const size_t left = (size_t)((size.width - width) / 2 & ~1), top = (size_t)((size.height - height) / 2 & ~1);
    const size_t stride = (size_t)size.width;
    int i = 0;
    for (auto _ : state) {
        const uint8_t *in = clip.Frame(i);
        uint8_t *out = outputs.At(i++);
        libyuv::NV12Scale(in + top * stride + left, size.width,
                          in + size.Luma() + top / 2 * stride + left, size.width, width, height, out,
                          size.width, out + size.Luma(), size.width, size.width, size.height,
                          libyuv::kFilterBilinear);
        benchmark::ClobberMemory();
    }
}

const bool registered = [] {
    for (const NamedSize &named : kSizes) {
        const std::string end = std::string("/") + named.name;
        benchmark::RegisterBenchmark(("floor/memcpy" + end).c_str(), CopyFrame, named.size, false);
        benchmark::RegisterBenchmark(("floor/memcpy_luma" + end).c_str(), CopyFrame, named.size, true);
        benchmark::RegisterBenchmark(("floor/nv12scale" + end).c_str(), ScaleCrop, named.size);
    }
    return true;
}();

} // namespace
