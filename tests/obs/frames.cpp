// SPDX-License-Identifier: BSD-2-Clause
#include "obs/frames.h"

#include <string.h>

#include "support/scene.h"
#include <util/threading.h>

namespace {

const Size kScene = {256, 160}; // side by side in larger frames

int32_t Part(uint32_t side, int32_t log2) { return ((int32_t)side + (1 << log2) - 1) >> log2; }

Pose PoseOf(int number) {
    const int32_t shake[] = {0, 700, -300, 900, -800, 200, -600, 400};
    return {shake[number & 7], 300 * number + shake[(number + 3) & 7], shake[(number + 5) & 7] / 4};
}

std::vector<MVS_Plane> PlanesOf(const FormatCase &format, const obs_source_frame &frame) {
    std::vector<MVS_Plane> planes;
    for (const std::vector<int32_t> &kind : format.planes) {
        const size_t i = planes.size();
        planes.push_back({(int32_t)sizeof(MVS_Plane), Part(frame.width, kind[1]),
                          Part(frame.height, kind[2]), kind[0], i == 0 ? format.luma : 0,
                          format.bits > 8 ? 2 : 1, format.bits, format.lowestBit, kind[1], kind[2], 0,
                          kind[2] > 0 ? 2 : 0, frame.linesize[i], frame.data[i]});
    }
    return planes;
}

void Fill(const MVS_Plane &plane, const Bytes &scene) {
    for (int32_t row = 0; row < plane.lHeight; row++)
        for (int32_t i = 0; i < plane.lWidth * plane.lChannels; i++) {
            const int32_t line = (row << plane.lLog2Y) % kScene.height;
            const int32_t column = (i / plane.lChannels << plane.lLog2X) % kScene.width;
            const int32_t value =
                scene[(size_t)(line * kScene.width + column)] ^ (i % plane.lChannels * 8);
            const uint16_t wide = (uint16_t)(value << (plane.lBits - 8) << plane.lLowestBit);
            uint8_t *to = plane.pPixels + row * plane.llPitch + i * plane.lSampleBytes;
            memcpy(to, &wide, (size_t)plane.lSampleBytes);
        }
}

} // namespace

obs_source_frame *MakeFrame(const FormatCase &format, int32_t width, int32_t height, int number,
                            int32_t gap) {
    obs_source_frame *frame =
        obs_source_frame_create(format.format, (uint32_t)(width + gap), (uint32_t)height);
    frame->width = (uint32_t)width;
    frame->refs = 1;
    frame->timestamp = kStart + (uint64_t)number * kFrameTime;
    frame->flip = frame->full_range = true;
    frame->color_matrix[0] = (float)number;
    const Bytes scene = Render(kScene, PoseOf(number));
    for (const MVS_Plane &plane : PlanesOf(format, *frame)) Fill(plane, scene);
    return frame;
}

void GiveBack(obs_source_frame *frame) {
    if (frame && os_atomic_dec_long(&frame->refs) == 0) obs_source_frame_destroy(frame);
}

Pixels Picture(const FormatCase &format, const obs_source_frame &frame) {
    Pixels picture;
    for (const MVS_Plane &plane : PlanesOf(format, frame))
        for (int32_t row = 0; row < plane.lHeight; row++) {
            const uint8_t *from = plane.pPixels + row * plane.llPitch;
            picture.insert(picture.end(), from,
                           from + plane.lWidth * plane.lChannels * plane.lSampleBytes);
        }
    return picture;
}

std::vector<Pixels> Reference(const FormatCase &format, int32_t width, int32_t height, int frames,
                              int32_t lookahead, bool cubic) {
    StreamSettings settings;
    settings.lookahead = lookahead;
    MVS_Context *handle = OpenStream(width, height, settings);
    QEL_MVS_SetCubic(handle, cubic);
    std::vector<obs_source_frame *> clip;
    std::vector<Pixels> pictures;
    for (int number = 0; number < frames; number++)
        clip.push_back(MakeFrame(format, width, height, number));
    obs_source_frame *out = MakeFrame(format, width, height, 0);
    MVS_Compensation record = {};
    record.lSize = (int32_t)sizeof(record);
    for (obs_source_frame *frame : clip) {
        QEL_MVS_PushLuma(handle, PlanesOf(format, *frame).data());
        while (QEL_MVS_PullCompensation(handle, &record)) {
            QEL_MVS_CompensateFrame(handle, &record, PlanesOf(format, *clip[pictures.size()]).data(),
                                    PlanesOf(format, *out).data(), (int32_t)format.planes.size());
            pictures.push_back(Picture(format, *out));
        }
    }
    clip.push_back(out);
    for (obs_source_frame *frame : clip) GiveBack(frame);
    QEL_MVS_DestroyStabilizer(handle);
    return pictures;
}
