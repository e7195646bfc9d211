// SPDX-License-Identifier: BSD-2-Clause
// The bytes of a generated clip, frame after frame, must never change: not between runs, compilers or
// optimisation levels, nor with the number of threads that could be started.
//
// After a change that is meant to alter them: QUORVEL_WRITE_GOLDEN=1 quorvel_tests
// --gtest_filter='Golden.*'
#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <map>

#include "support/refined_run.h"
#include "support/run.h"

namespace {

const Case kCases[] = {{{176, 144}, {176, 144}, 0, 3, Entry::Diff, 0},
                       {{176, 144}, {176, 144}, 1, 3, Entry::Same, 0},
                       {{200, 160}, {176, 144}, 1, 1, Entry::Diff, 0},
                       {{200, 160}, {176, 144}, 0, 2, Entry::Diff, 0},
                       {{241, 203}, {241, 203}, 0, 3, Entry::Same, 1},
                       {{320, 240}, {320, 240}, 1, 3, Entry::Diff, 0},
                       {{320, 240}, {320, 240}, 0, 3, Entry::Diff, 1},
                       {{321, 240}, {321, 240}, 0, 3, Entry::Diff, 0},
                       {{320, 244}, {320, 244}, 1, 3, Entry::Same, 0},
                       {{323, 249}, {323, 249}, 0, 3, Entry::Diff, 1},
                       {{360, 272}, {320, 240}, 2, 3, Entry::SeparateDiff, 1},
                       {{480, 352}, {432, 316}, 2, 2, Entry::SeparateSame, 1},
                       {{640, 480}, {640, 480}, 1, 3, Entry::Diff, 1},
                       {{640, 480}, {576, 432}, 1, 2, Entry::Diff, 1},
                       {{648, 484}, {648, 484}, 1, 3, Entry::Diff, 1},
                       {{1280, 720}, {1280, 720}, 1, 3, Entry::Same, 1}};

const RefinedCase kRefined[] = {
    {{176, 144}, {176, 144}, 1, 0, 0, false}, {{200, 160}, {176, 144}, 0, 1, 0, false},
    {{241, 203}, {241, 203}, 0, 0, 15, true}, {{240, 200}, {176, 144}, 1, 1, -1, true},
    {{640, 480}, {640, 480}, 0, 1, 0, false}, {{640, 480}, {576, 432}, 1, 0, 15, true}};

const char kPath[] = QUORVEL_SOURCE_DIR "/tests/golden/frames.txt";

RunResult RunGolden(const Case &c) { return RunClip(c, ShakyClip(c.in, c.in.width > 1000 ? 4 : 10)); }

uint64_t RunGolden(const RefinedCase &c) { return RunRefined(c, ShakyClip(c.in, 24)); }

uint64_t ClipHash() { return RunResult{ShakyClip({64, 48}, 8), {}}.Hash(); }

TEST(Golden, Frames) {
    if (getenv("QUORVEL_WRITE_GOLDEN")) {
        std::ofstream file(kPath);
        file << "clip " << std::hex << ClipHash() << std::dec << '\n';
        for (const Case &c : kCases)
            file << c.Name() << ' ' << std::hex << RunGolden(c).Hash() << std::dec << '\n';
        for (const RefinedCase &c : kRefined)
            file << c.Name() << ' ' << std::hex << RunGolden(c) << std::dec << '\n';
    }
    std::ifstream file(kPath);
    std::map<std::string, uint64_t> golden;
    std::string name;
    for (uint64_t hash; file >> name >> std::hex >> hash;) golden[name] = hash;
    EXPECT_EQ(golden["clip"], ClipHash()) << "the generated scene itself has changed";
    for (const Case &c : kCases) {
        EXPECT_EQ(golden[c.Name()], RunGolden(c).Hash()) << c;
        const AtLevel portable(kCpuPortable);
        EXPECT_EQ(golden[c.Name()], RunGolden(c).Hash()) << c << " portable";
    }
    for (const RefinedCase &c : kRefined) {
        EXPECT_EQ(golden[c.Name()], RunGolden(c)) << c.Name();
        const AtLevel portable(kCpuPortable);
        EXPECT_EQ(golden[c.Name()], RunGolden(c)) << c.Name() << " portable";
    }
    EXPECT_EQ(golden.size(), 1 + std::size(kCases) + std::size(kRefined));
}

} // namespace
