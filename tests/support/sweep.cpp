// SPDX-License-Identifier: BSD-2-Clause
#include "support/sweep.h"

#include <stdlib.h>

#include <algorithm>
#include <tuple>

namespace {
const Sizes kSizes[] = {{{1, 1}, {2, 2}},         {{2, 2}, {2, 2}},         {{5, 3}, {5, 3}},
                        {{34, 21}, {34, 21}},     {{175, 131}, {175, 131}}, {{176, 144}, {176, 144}},
                        {{177, 145}, {177, 145}}, {{199, 151}, {199, 151}}, {{200, 150}, {200, 150}},
                        {{201, 161}, {201, 161}}, {{239, 200}, {239, 200}}, {{240, 241}, {240, 241}},
                        {{241, 239}, {241, 239}}, {{319, 240}, {319, 240}}, {{320, 239}, {320, 239}},
                        {{320, 240}, {320, 240}}, {{320, 241}, {320, 241}}, {{321, 247}, {321, 247}},
                        {{320, 244}, {320, 244}}, {{240, 320}, {240, 320}}, {{640, 480}, {640, 480}},
                        {{648, 484}, {648, 484}}, {{200, 160}, {176, 144}}, {{353, 289}, {319, 241}},
                        {{360, 272}, {320, 240}}, {{480, 360}, {432, 324}}, {{160, 120}, {176, 144}},
                        {{320, 240}, {340, 262}}, {{330, 240}, {320, 244}}, {{352, 240}, {320, 240}}};
} // namespace

std::string Sizes::Name() const {
    std::string s = std::to_string(in.width) + "x" + std::to_string(in.height);
    if (!(in == out)) s += "_" + std::to_string(out.width) + "x" + std::to_string(out.height);
    return s;
}

std::string Sweep() {
    const char *sweep = getenv("QUORVEL_SWEEP");
    return sweep ? sweep : "";
}

// The sides at which a kernel, a size class or the warp changes, in pairs; output sizes that bring a
// margin for modes 1 and 2, that enlarge, and that have less than a sixteenth of margin.
std::vector<Sizes> SizesToSweep() {
    std::vector<Sizes> sizes(std::begin(kSizes), std::end(kSizes));
    const std::string sweep = Sweep();
    if (sweep.empty()) return sizes;
    const int32_t kSides[] = {1,   2,   3,   4,   5,   7,   8,   15,  16,  17,  31,
                              32,  33,  47,  63,  64,  65,  175, 176, 177, 199, 200,
                              201, 239, 240, 241, 319, 320, 321, 639, 640, 641};
    const size_t count = std::size(kSides);
    for (size_t i = 0; i < count; i++)
        for (size_t step : {0u, 1u, 7u, 12u}) {
            const Size in = {kSides[i], kSides[(i + step) % count]};
            if (sweep != "full" && (step != i % 3 || in.Luma() > 100000)) continue;
            const Size kOut[] = {{in.width * 10 / 11, in.height * 10 / 11},
                                 {in.width + in.width / 8, in.height + in.height / 9},
                                 {in.width - in.width / 20, in.height - in.height / 12}};
            for (Size out : {in, kOut[(i + step) % 3]})
                sizes.push_back(
                    {in, {std::max(out.width & ~(in.width % 2 ? 0 : 1), 2), std::max(out.height, 2)}});
        }
    for (Size in : {Size{1, 16384}, {16384, 2}, {1920, 1080}, {1920, 1088}, {3840, 2160}})
        sizes.push_back({in, {std::max(in.width, 2), in.height}});
    sizes.push_back({{1920, 1080}, {1600, 900}});
    const auto less = [](const Sizes &a, const Sizes &b) {
        const auto key = [](const Sizes &s) {
            return std::make_tuple(s.in.width, s.in.height, s.out.width, s.out.height);
        };
        return key(a) < key(b);
    };
    std::sort(sizes.begin(), sizes.end(), less);
    sizes.erase(
        std::unique(sizes.begin(), sizes.end(),
                    [](const Sizes &a, const Sizes &b) { return a.in == b.in && a.out == b.out; }),
        sizes.end());
    return sizes;
}
