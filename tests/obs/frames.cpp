// SPDX-License-Identifier: BSD-2-Clause
#include "obs/frames.h"

#include <stdio.h>
#include <string.h>
#include <time.h>

#include <algorithm>

#include "plugin.h"
#include "support/scene.h"
#include <util/threading.h>

const FormatCase kFormats[] = {
    {VIDEO_FORMAT_NV12, 8, 0, 0, {{1, 0, 0}, {2, 1, 1}}},
    {VIDEO_FORMAT_BGRA, 8, 0, 1, {{4, 0, 0}}},
    {VIDEO_FORMAT_I420, 8, 0, 0, {{1, 0, 0}, {1, 1, 1}, {1, 1, 1}}},
    {VIDEO_FORMAT_I422, 8, 0, 0, {{1, 0, 0}, {1, 1, 0}, {1, 1, 0}}},
    {VIDEO_FORMAT_I444, 8, 0, 0, {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}}},
    {VIDEO_FORMAT_P010, 10, 6, 0, {{1, 0, 0}, {2, 1, 1}}},
    {VIDEO_FORMAT_I010, 10, 0, 0, {{1, 0, 0}, {1, 1, 1}, {1, 1, 1}}},
    {VIDEO_FORMAT_I210, 10, 0, 0, {{1, 0, 0}, {1, 1, 0}, {1, 1, 0}}},
    {VIDEO_FORMAT_I412, 12, 0, 0, {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}}},
    {VIDEO_FORMAT_I40A, 8, 0, 0, {{1, 0, 0}, {1, 1, 1}, {1, 1, 1}, {1, 0, 0}}},
    {VIDEO_FORMAT_YUVA, 8, 0, 0, {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, 0, 0}}},
    {VIDEO_FORMAT_RGBA, 8, 0, 1, {{4, 0, 0}}},
    {VIDEO_FORMAT_BGRX, 8, 0, 1, {{4, 0, 0}}},
    {VIDEO_FORMAT_BGR3, 8, 0, 1, {{3, 0, 0}}},
    {VIDEO_FORMAT_Y800, 8, 0, 0, {{1, 0, 0}}},
};
const int kFormatCount = (int)(sizeof(kFormats) / sizeof(kFormats[0]));

namespace {

int32_t Part(int32_t side, int32_t log2) { return (side + (1 << log2) - 1) >> log2; }

Pose PoseOf(int number) {
    const int32_t shake[] = {0, 700, -300, 900, -800, 200, -600, 400};
    return {shake[number & 7], 300 * number + shake[(number + 3) & 7], shake[(number + 5) & 7] / 4};
}

// One block of memory, as the host's own frames have.
void Allocate(const FormatCase &format, obs_source_frame &frame, uint32_t gap) {
    size_t start[MAX_AV_PLANES] = {}, bytes = 0;
    for (size_t i = 0; i < format.planes.size(); i++) {
        frame.linesize[i] += (gap + 1) & ~1u;
        start[i] = bytes;
        bytes += (size_t)frame.linesize[i] * (size_t)Part((int32_t)frame.height, format.planes[i][2]);
    }
    bfree(frame.data[0]);
    frame.data[0] = (uint8_t *)bmalloc(bytes);
    for (size_t i = 1; i < format.planes.size(); i++) frame.data[i] = frame.data[0] + start[i];
}

void Fill(const MVS_Plane &plane, const FormatCase &format, const Bytes &scene, int32_t width,
          int32_t height, int32_t salt) {
    for (int32_t row = 0; row < plane.lHeight; row++) {
        uint8_t *to = plane.pPixels + row * plane.llPitch;
        const int32_t line = std::min(row << plane.lLog2Y, height - 1);
        for (int32_t i = 0; i < plane.lWidth * plane.lChannels; i++) {
            const int32_t column = std::min(i / plane.lChannels << plane.lLog2X, width - 1);
            const int32_t value =
                scene[(size_t)(line * width + column)] ^ (salt + i % plane.lChannels * 8);
            const uint16_t wide = (uint16_t)(value << (format.bits - 8) << format.lowestBit);
            if (plane.lSampleBytes == 1)
                to[i] = (uint8_t)value;
            else
                memcpy(to + 2 * i, &wide, 2);
        }
    }
}

double Now(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return (double)now.tv_sec * 1e3 + (double)now.tv_nsec / 1e6;
}

} // namespace

std::vector<MVS_Plane> PlanesOf(const FormatCase &format, const obs_source_frame &frame) {
    std::vector<MVS_Plane> planes;
    const int32_t width = (int32_t)frame.width, height = (int32_t)frame.height;
    for (size_t i = 0; i < format.planes.size(); i++) {
        const std::vector<int32_t> &kind = format.planes[i];
        const bool chroma = kind[2] > 0;
        planes.push_back({(int32_t)sizeof(MVS_Plane), Part(width, kind[1]), Part(height, kind[2]),
                          kind[0], i == 0 ? format.luma : 0, format.bits > 8 ? 2 : 1, format.bits,
                          format.lowestBit, kind[1], kind[2], 0, chroma ? 2 : 0, frame.linesize[i],
                          frame.data[i]});
    }
    return planes;
}

obs_source_frame *MakeFrame(const FormatCase &format, int32_t width, int32_t height, int number,
                            uint32_t gap) {
    obs_source_frame *frame = obs_source_frame_create(format.format, (uint32_t)width, (uint32_t)height);
    if (gap) Allocate(format, *frame, gap);
    frame->refs = 1;
    frame->timestamp = 5000000000u + (uint64_t)number * kFrameTime;
    frame->flip = true;
    frame->full_range = true;
    frame->color_matrix[5] = 0.25f;
    const Bytes scene = Render({(width + 1) & ~1, (height + 1) & ~1}, PoseOf(number));
    Bytes luma;
    for (int32_t row = 0; row < height; row++) {
        const uint8_t *from = scene.data() + (size_t)row * (size_t)((width + 1) & ~1);
        luma.insert(luma.end(), from, from + width);
    }
    int32_t salt = 0;
    for (const MVS_Plane &plane : PlanesOf(format, *frame))
        Fill(plane, format, luma, width, height, salt++);
    return frame;
}

void GiveBack(obs_source_frame *frame) {
    if (frame && os_atomic_dec_long(&frame->refs) == 0) obs_source_frame_destroy(frame);
}

std::vector<uint8_t> Picture(const FormatCase &format, const obs_source_frame &frame) {
    std::vector<uint8_t> picture;
    for (const MVS_Plane &plane : PlanesOf(format, frame))
        for (int32_t row = 0; row < plane.lHeight; row++) {
            const uint8_t *from = plane.pPixels + row * plane.llPitch;
            picture.insert(picture.end(), from,
                           from + plane.lWidth * plane.lChannels * plane.lSampleBytes);
        }
    return picture;
}

std::vector<std::vector<uint8_t>> Reference(const FormatCase &format, int32_t width, int32_t height,
                                            int frames, const StreamSettings &settings, bool cubic) {
    std::vector<std::vector<uint8_t>> pictures;
    MVS_Context *handle = OpenStream(width, height, settings);
    QEL_MVS_SetCubic(handle, cubic);
    MVS_Compensation record = {};
    record.lSize = (int32_t)sizeof(record);
    for (int number = 0; number <= frames; number++) {
        if (number < frames) {
            obs_source_frame *frame = MakeFrame(format, width, height, number);
            QEL_MVS_PushLuma(handle, PlanesOf(format, *frame).data());
            GiveBack(frame);
        } else {
            QEL_MVS_EndStream(handle);
        }
        while (QEL_MVS_PullCompensation(handle, &record)) {
            obs_source_frame *in = MakeFrame(format, width, height, (int)pictures.size());
            obs_source_frame *out = MakeFrame(format, width, height, 0);
            QEL_MVS_CompensateFrame(handle, &record, PlanesOf(format, *in).data(),
                                    PlanesOf(format, *out).data(), (int32_t)format.planes.size());
            pictures.push_back(Picture(format, *out));
            GiveBack(in);
            GiveBack(out);
        }
    }
    QEL_MVS_DestroyStabilizer(handle);
    return pictures;
}

Running::Running() : mInfo(StabilizeInfo()), mSettings(obs_data_create()) {
    mInfo.get_defaults(mSettings);
    mFilter = mInfo.create(mSettings, nullptr);
}

Running::~Running() {
    mInfo.destroy(mFilter);
    obs_data_release(mSettings);
}

int PrintSpeed() {
    const int frames = 60;
    base_set_log_handler([](int, const char *, va_list, void *) {}, nullptr);
    const FormatCase packed = {VIDEO_FORMAT_YUY2, 8, 0, 0, {{2, 0, 0}}};
    for (const FormatCase &format : {kFormats[0], kFormats[1], packed}) {
        Running filter;
        std::vector<double> cpu, wall;
        for (int number = 0; number < frames; number++) {
            obs_source_frame *frame = MakeFrame(format, 1920, 1080, number);
            const double cpuBefore = Now(CLOCK_PROCESS_CPUTIME_ID), wallBefore = Now(CLOCK_MONOTONIC);
            frame = filter.Frame(frame);
            cpu.push_back(Now(CLOCK_PROCESS_CPUTIME_ID) - cpuBefore);
            wall.push_back(Now(CLOCK_MONOTONIC) - wallBefore);
            GiveBack(frame);
        }
        std::sort(cpu.begin(), cpu.end());
        std::sort(wall.begin(), wall.end());
        printf("1920x1080 %s: %.1f ms, of all cores %.1f ms\n", get_video_format_name(format.format),
               wall[frames / 2], cpu[frames / 2]);
    }
    return 0;
}
