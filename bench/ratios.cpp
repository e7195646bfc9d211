// SPDX-License-Identifier: BSD-2-Clause
// The ratios that the library is held to. All cases take turns of 30 frames, so that what slows the
// machine down for a while slows both sides. Each ratio is that of the medians of all rounds; the
// quartiles of the single rounds' ratios tell how far to trust it. Prints JSON.
#include <stdio.h>
#include <stdlib.h>

#include <functional>
#include <memory>

#include "cores.h"
#include "cpu_clock.h"
#include "handle.h"
#include "quantile.h"
#include "scale_crop.h"
#include "sizes.h"

namespace {

const int kSettling = 5; // frames of a turn until the caches are those of its own

struct Case {
    const char *name;
    std::function<void(int frame)> run;
    int cores = 0;
    std::vector<double> cpu = {}, wall = {}; // microseconds a frame, one median a turn
};

Case Frames(const char *name, Size in, Size out, double roll, int mode = 3, int cores = 0,
            CpuLevel highest = kCpuLevels) {
    const Clip *clip = &SharedClip(in, roll);
    const std::shared_ptr<Handle> handle =
        std::make_shared<Handle>(MakeHandle(in, out, QEL_MVS_FORMAT_NV21, mode, highest));
    const std::shared_ptr<Outputs> outputs = std::make_shared<Outputs>(out.Frame());
    const auto run = [=](int i) {
        // A turn is not to go without threads for what disturbed an earlier one.
        if (i == 0) InitThreadPolicy(&(*handle)->stThreads);
        QEL_MVS_StabilizeFrame(handle->get(), clip->Frame(i), outputs->At(i));
    };
    return {name, run, cores};
}

Case RefinedFrames(const char *name, Size size, bool cubic) {
    const Clip *clip = &SharedClip(size, 6);
    const std::shared_ptr<Handle> handle = std::make_shared<Handle>(MakeRefined(size, 0, cubic));
    const std::shared_ptr<Outputs> outputs = std::make_shared<Outputs>(size.Frame());
    const auto run = [=](int i) {
        if (i == 0) InitThreadPolicy(&(*handle)->stThreads);
        QEL_MVS_StabilizeFrame(handle->get(), clip->Frame(i), outputs->At(i));
    };
    return {name, run};
}

// The clip is the ring of buffers: its frames stay where they are, and come again when it is played on.
Case RefinedPlanes(const char *name, Size size, int lookahead, bool cubic) {
    const Clip *clip = &SharedClip(size, 6);
    const std::shared_ptr<Handle> handle =
        std::make_shared<Handle>(MakeRefined(size, lookahead, cubic));
    const std::shared_ptr<Outputs> outputs = std::make_shared<Outputs>(size.Frame());
    const auto run = [=](int i) {
        if (i == 0) InitThreadPolicy(&(*handle)->stThreads);
        MVS_Compensation record = {};
        record.lSize = (int32_t)sizeof(record);
        QEL_MVS_PushLuma(handle->get(), FramePlanes(size, clip->Frame(i)).planes);
        while (QEL_MVS_PullCompensation(handle->get(), &record))
            QEL_MVS_CompensateFrame(handle->get(), &record,
                                    FramePlanes(size, clip->Frame((int)(record.llFrame - 1))).planes,
                                    FramePlanes(size, outputs->At(i)).planes, 2);
    };
    return {name, run};
}

Case Scaler() {
    const std::shared_ptr<Outputs> outputs = std::make_shared<Outputs>(k1080p.Frame());
    return {"scaler",
            [=](int i) { ScaleCrop(k1080p, SharedClip(k1080p, 6).Frame(i), outputs->At(i)); }};
}

void Turn(Case *c) {
    const OnCores cores(c->cores);
    std::vector<double> cpu, wall;
    for (int i = 0; i < Clip::kFrames; i++) {
        const int64_t cpuBegin = CpuNanoseconds(), wallBegin = WallNanoseconds();
        c->run(i);
        if (i < kSettling) continue;
        cpu.push_back((double)(CpuNanoseconds() - cpuBegin) / 1000);
        wall.push_back((double)(WallNanoseconds() - wallBegin) / 1000);
    }
    c->cpu.push_back(Quantile(cpu, 0.5));
    c->wall.push_back(Quantile(wall, 0.5));
}

void PrintRatio(const char *name, const std::vector<double> &a, const std::vector<double> &b,
                double factor, const char *end) {
    std::vector<double> ratios;
    for (size_t i = 0; i < a.size(); i++) ratios.push_back(a[i] / b[i] * factor);
    printf("  \"%s\": {\"of_medians\": %.4f, \"lower_quartile\": %.4f, \"median\": %.4f, "
           "\"upper_quartile\": %.4f}%s\n",
           name, Quantile(a, 0.5) / Quantile(b, 0.5) * factor, Quantile(ratios, 0.25),
           Quantile(ratios, 0.5), Quantile(ratios, 0.75), end);
}

} // namespace

int main(int argc, char **argv) {
    const int rounds = argc > 1 ? std::max(atoi(argv[1]), 1) : 60;
    const Size k720p = {1280, 720}, k4k = {3840, 2160}, kLarger = {2112, 1188}, kSmaller = {1792, 984};
    enum {
        kFrame,
        kScaler,
        kRoll3,
        kRoll20,
        kHd,
        kUhd,
        kCrop,
        kOneCore,
        kTwoCores,
        kUnequal,
        kUnequalRoll20,
        kUnequalSsse3,
        kTurned,
        kTurnedRoll20,
        kTurnedSsse3,
        kRefined,
        kRefinedCubic,
        kRefinedLater,
        kRefinedHd,
        kRefinedUhd
    };
    std::vector<Case> cases = {Frames("1080p", k1080p, k1080p, 6),
                               Scaler(),
                               Frames("1080p, 3 mrad", k1080p, k1080p, 3),
                               Frames("1080p, 20 mrad", k1080p, k1080p, 20),
                               Frames("720p", k720p, k720p, 6),
                               Frames("4k", k4k, k4k, 6),
                               Frames("mode 1", kLarger, k1080p, 6, 1),
                               Frames("1080p, one core", k1080p, k1080p, 6, 3, 1),
                               Frames("1080p, two cores", k1080p, k1080p, 6, 3, 2),
                               Frames("unequal", k1080p, kSmaller, 6),
                               Frames("unequal, 20 mrad", k1080p, kSmaller, 20),
                               Frames("unequal, ssse3", k1080p, kSmaller, 6, 3, 0, kCpuSsse3),
                               Frames("mode 2", kLarger, k1080p, 6, 2),
                               Frames("mode 2, 20 mrad", kLarger, k1080p, 20, 2),
                               Frames("mode 2, ssse3", kLarger, k1080p, 6, 2, 0, kCpuSsse3),
                               RefinedFrames("refined", k1080p, false),
                               RefinedFrames("refined, cubic", k1080p, true),
                               RefinedPlanes("refined, cubic, lookahead 30", k1080p, 30, true),
                               RefinedFrames("refined, 720p", k720p, false),
                               RefinedFrames("refined, 4k", k4k, false),
                               Frames("320x239", {320, 239}, {320, 239}, 6),
                               Frames("240x176", {240, 176}, {240, 176}, 6)};
    for (int round = 0; round < rounds; round++)
        for (Case &c : cases) Turn(&c);

    printf("{\"rounds\": %d, \"cases\": {\n", rounds);
    for (const Case &c : cases)
        printf("  \"%s\": {\"cpu_us\": %.1f, \"wall_us\": %.1f}%s\n", c.name, Quantile(c.cpu, 0.5),
               Quantile(c.wall, 0.5), &c == &cases.back() ? "}," : ",");
    const auto pixels = [](Size size) { return (double)size.Luma(); };
    printf(" \"ratios\": {\n");
    PrintRatio("frame_to_scaler", cases[kFrame].cpu, cases[kScaler].cpu, 1, ",");
    PrintRatio("roll_20_to_3", cases[kRoll20].cpu, cases[kRoll3].cpu, 1, ",");
    PrintRatio("720p_to_1080p", cases[kHd].cpu, cases[kFrame].cpu, pixels(k1080p) / pixels(k720p), ",");
    PrintRatio("4k_to_1080p", cases[kUhd].cpu, cases[kFrame].cpu, pixels(k1080p) / pixels(k4k), ",");
    PrintRatio("mode_1_to_scaler", cases[kCrop].cpu, cases[kScaler].cpu, 1, ",");
    PrintRatio("unequal_to_scaler", cases[kUnequal].cpu, cases[kScaler].cpu, 1, ",");
    PrintRatio("unequal_roll_20_to_6", cases[kUnequalRoll20].cpu, cases[kUnequal].cpu, 1, ",");
    PrintRatio("unequal_ssse3_to_scaler", cases[kUnequalSsse3].cpu, cases[kScaler].cpu, 1, ",");
    PrintRatio("mode_2_to_scaler", cases[kTurned].cpu, cases[kScaler].cpu, 1, ",");
    PrintRatio("mode_2_roll_20_to_6", cases[kTurnedRoll20].cpu, cases[kTurned].cpu, 1, ",");
    PrintRatio("mode_2_ssse3_to_scaler", cases[kTurnedSsse3].cpu, cases[kScaler].cpu, 1, ",");
    PrintRatio("refined_to_scaler", cases[kRefined].cpu, cases[kScaler].cpu, 1, ",");
    PrintRatio("refined_cubic_to_scaler", cases[kRefinedCubic].cpu, cases[kScaler].cpu, 1, ",");
    PrintRatio("refined_later_to_scaler", cases[kRefinedLater].cpu, cases[kScaler].cpu, 1, ",");
    PrintRatio("refined_720p_to_1080p", cases[kRefinedHd].cpu, cases[kRefined].cpu,
               pixels(k1080p) / pixels(k720p), ",");
    PrintRatio("refined_4k_to_1080p", cases[kRefinedUhd].cpu, cases[kRefined].cpu,
               pixels(k1080p) / pixels(k4k), ",");
    PrintRatio("two_cores_to_one", cases[kTwoCores].wall, cases[kOneCore].wall, 1, "}}");
    return 0;
}
