// SPDX-License-Identifier: BSD-2-Clause
// native_frames FORMAT WIDTH HEIGHT LOOKAHEAD [WINDOW STRENGTH ROLL CUBIC RATE] < packed frames >
// packed frames
//
// What the native library makes of a clip, for comparison with the module's. A lookahead of -1 is the
// ordinary path. WINDOW and STRENGTH are in 1024ths. With --time ROUNDS in front it plays the clip so
// often, and prints the CPU time of a frame in microseconds, on one thread, in place of frames.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <string>
#include <vector>

#include <quorvel/refined.h>

namespace {

struct Clip {
    std::string format;
    int width, height;
    size_t frameBytes;
    std::vector<uint8_t> bytes;
    size_t Frames() const { return bytes.size() / frameBytes; }
};

// Appends a plane behind the others.
void Add(std::vector<MVS_Plane> &planes, const Clip &clip, int channels, int log2X, int log2Y) {
    const bool words = clip.format == "I420P10";
    MVS_Plane plane = {};
    plane.lSize = (int32_t)sizeof(plane);
    plane.lWidth = (clip.width + log2X) >> log2X;
    plane.lHeight = (clip.height + log2Y) >> log2Y;
    plane.lChannels = channels;
    plane.lLuma = channels == 4 ? 1 : 0;
    plane.lSampleBytes = words ? 2 : 1;
    plane.lBits = words ? 10 : 8;
    plane.lLog2X = log2X;
    plane.lLog2Y = log2Y;
    plane.lSiteY = log2Y ? 2 : 0;
    plane.llPitch = plane.lWidth * channels * plane.lSampleBytes;
    planes.push_back(plane);
}

std::vector<MVS_Plane> PlanesOf(const Clip &clip, uint8_t *frame) {
    std::vector<MVS_Plane> planes;
    const std::string &format = clip.format;
    Add(planes, clip, format == "RGBA" ? 4 : 1, 0, 0);
    if (format == "NV12") Add(planes, clip, 2, 1, 1);
    if (format == "I422") Add(planes, clip, 1, 1, 0), Add(planes, clip, 1, 1, 0);
    if (format.find("I420") == 0) Add(planes, clip, 1, 1, 1), Add(planes, clip, 1, 1, 1);
    if (format == "I420A") Add(planes, clip, 1, 0, 0);
    for (MVS_Plane &plane : planes) {
        plane.pPixels = frame;
        frame += plane.llPitch * plane.lHeight;
    }
    return planes;
}

MVS_Context *Create(const Clip &clip, const int *settings) {
    const int32_t format = clip.format == "NV12" ? QEL_MVS_FORMAT_NV21 : QEL_MVS_FORMAT_I420;
    const MVS_InitParam param = {3, clip.width, clip.height, clip.width, clip.height, format, 0};
    MVS_Context *context = QEL_MVS_CreateStabilizer(&param);
    QEL_MVS_SetThreads(context, 1);
    if (settings[0] < 0) return QEL_MVS_SetFullChroma(context, 1) ? context : nullptr;
    const bool set = QEL_MVS_SetRefined(context, 1) && QEL_MVS_SetLookahead(context, settings[0]) &&
                     QEL_MVS_SetWindow(context, settings[1]) &&
                     QEL_MVS_SetStrength(context, settings[2]) &&
                     QEL_MVS_SetRoll(context, settings[3]) && QEL_MVS_SetCubic(context, settings[4]) &&
                     QEL_MVS_SetFrameRate(context, settings[5], 1);
    return set ? context : nullptr;
}

void MakeReady(MVS_Context *context, Clip &clip, size_t &pulled, std::vector<uint8_t> &output,
               FILE *to) {
    MVS_Compensation record = {};
    record.lSize = (int32_t)sizeof(record);
    while (QEL_MVS_PullCompensation(context, &record)) {
        const std::vector<MVS_Plane> in =
            PlanesOf(clip, &clip.bytes[pulled++ % clip.Frames() * clip.frameBytes]);
        const std::vector<MVS_Plane> out = PlanesOf(clip, output.data());
        if (!QEL_MVS_CompensateFrame(context, &record, in.data(), out.data(), (int32_t)in.size()))
            abort();
        if (to) fwrite(output.data(), 1, output.size(), to);
    }
}

void Run(MVS_Context *context, Clip &clip, bool standard, size_t frames, FILE *to) {
    std::vector<uint8_t> output(clip.frameBytes);
    size_t pulled = 0;
    for (size_t i = 0; i < frames; i++) {
        uint8_t *frame = &clip.bytes[i % clip.Frames() * clip.frameBytes];
        if (standard) {
            QEL_MVS_StabilizeFrame(context, frame, output.data());
            if (to) fwrite(output.data(), 1, output.size(), to);
        } else {
            if (!QEL_MVS_PushLuma(context, PlanesOf(clip, frame).data())) abort();
            MakeReady(context, clip, pulled, output, to);
        }
    }
    if (standard) return;
    QEL_MVS_EndStream(context);
    MakeReady(context, clip, pulled, output, to);
}

bool Read(Clip &clip) {
    const MVS_Plane last = PlanesOf(clip, nullptr).back();
    clip.frameBytes = (size_t)last.pPixels + (size_t)(last.llPitch * last.lHeight);
    std::vector<uint8_t> frame(clip.frameBytes);
    while (fread(frame.data(), 1, frame.size(), stdin) == frame.size())
        clip.bytes.insert(clip.bytes.end(), frame.begin(), frame.end());
    return !clip.bytes.empty();
}

} // namespace

int main(int argc, char **argv) {
    const bool timed = argc > 2 && !strcmp(argv[1], "--time");
    const size_t rounds = timed ? (size_t)atoi(argv[2]) : 1;
    char **words = argv + (timed ? 3 : 1);
    const int count = argc - (timed ? 3 : 1);
    if (count < 4) return 2;
    Clip clip = {words[0], atoi(words[1]), atoi(words[2]), 0, {}};
    int settings[] = {0, 896, 1024, 1, 0, 30};
    for (int i = 3; i < count && i < 9; i++) settings[i - 3] = atoi(words[i]);
    MVS_Context *context = Create(clip, settings);
    if (!context || !Read(clip)) return 1;

    const clock_t begin = clock();
    Run(context, clip, settings[0] < 0, rounds * clip.Frames(), timed ? nullptr : stdout);
    const double microseconds = (double)(clock() - begin) * 1e6 / CLOCKS_PER_SEC;
    if (timed) printf("%.1f\n", microseconds / (double)(rounds * clip.Frames()));
    QEL_MVS_DestroyStabilizer(context);
    return 0;
}
