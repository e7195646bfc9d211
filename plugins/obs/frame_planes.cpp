// SPDX-License-Identifier: BSD-2-Clause
#include "frame_planes.h"

#include "common/stream.h"

namespace {

const uint32_t kMostSide = 16384; // of the library

struct PlaneKind {
    int32_t channels; // 0: no more planes
    int32_t log2X, log2Y;
};

struct Layout {
    video_format format;
    int32_t bits, lowestBit; // of a sample; above 8 bits in two bytes
    int32_t luma;            // channel of the first plane
    PlaneKind plane[kMostPlanes];
};

const Layout kLayouts[] = {
    {VIDEO_FORMAT_NV12, 8, 0, 0, {{1, 0, 0}, {2, 1, 1}}},
    {VIDEO_FORMAT_I420, 8, 0, 0, {{1, 0, 0}, {1, 1, 1}, {1, 1, 1}}},
    {VIDEO_FORMAT_I422, 8, 0, 0, {{1, 0, 0}, {1, 1, 0}, {1, 1, 0}}},
    {VIDEO_FORMAT_I444, 8, 0, 0, {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}}},
    {VIDEO_FORMAT_I40A, 8, 0, 0, {{1, 0, 0}, {1, 1, 1}, {1, 1, 1}, {1, 0, 0}}},
    {VIDEO_FORMAT_I42A, 8, 0, 0, {{1, 0, 0}, {1, 1, 0}, {1, 1, 0}, {1, 0, 0}}},
    {VIDEO_FORMAT_YUVA, 8, 0, 0, {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, 0, 0}}},
    {VIDEO_FORMAT_P010, 10, 6, 0, {{1, 0, 0}, {2, 1, 1}}},
    {VIDEO_FORMAT_I010, 10, 0, 0, {{1, 0, 0}, {1, 1, 1}, {1, 1, 1}}},
    {VIDEO_FORMAT_I210, 10, 0, 0, {{1, 0, 0}, {1, 1, 0}, {1, 1, 0}}},
    {VIDEO_FORMAT_I412, 12, 0, 0, {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}}},
    {VIDEO_FORMAT_YA2L, 12, 0, 0, {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, 0, 0}}},
    {VIDEO_FORMAT_YUY2, 8, 0, 0, {{2, 0, 0}}},
    {VIDEO_FORMAT_YVYU, 8, 0, 0, {{2, 0, 0}}},
    {VIDEO_FORMAT_UYVY, 8, 0, 1, {{2, 0, 0}}},
    {VIDEO_FORMAT_BGRA, 8, 0, 1, {{4, 0, 0}}},
    {VIDEO_FORMAT_BGRX, 8, 0, 1, {{4, 0, 0}}},
    {VIDEO_FORMAT_RGBA, 8, 0, 1, {{4, 0, 0}}},
    {VIDEO_FORMAT_BGR3, 8, 0, 1, {{3, 0, 0}}},
    {VIDEO_FORMAT_Y800, 8, 0, 0, {{1, 0, 0}}},
};

const Layout *FindLayout(video_format format) {
    for (const Layout &layout : kLayouts)
        if (layout.format == format) return &layout;
    return nullptr;
}

bool IsSide(uint32_t pixels) { return pixels > 0 && pixels <= kMostSide; }

} // namespace

int64_t RowBytes(const MVS_Plane &plane) {
    return (int64_t)plane.lWidth * plane.lChannels * plane.lSampleBytes;
}

bool DescribeFrame(const obs_source_frame &frame, FramePlanes &planes) {
    const Layout *layout = FindLayout(frame.format);
    if (!layout || !IsSide(frame.width) || !IsSide(frame.height)) return false;
    planes.count = 0;
    planes.packed = layout->plane[0].channels == 2;
    // Two pixels share their chroma: behind an odd last column its unseen partner is stored.
    const int32_t width = planes.packed ? (int32_t)(frame.width + 1) & ~1 : (int32_t)frame.width;
    for (const PlaneKind &kind : layout->plane) {
        if (kind.channels == 0) break;
        const int index = planes.count++;
        MVS_Plane &plane = planes.plane[index];
        plane = MakePlane(width, (int32_t)frame.height, kind.channels, kind.log2X, kind.log2Y,
                          frame.data[index], frame.linesize[index]);
        plane.lLuma = index == 0 ? layout->luma : 0;
        plane.lSampleBytes = layout->bits > 8 ? 2 : 1;
        plane.lBits = layout->bits;
        plane.lLowestBit = layout->lowestBit;
        if (!plane.pPixels || plane.llPitch < RowBytes(plane)) return false;
    }
    return true;
}

uint64_t FrameBytes(const FramePlanes &planes) {
    uint64_t bytes = 0;
    for (int i = 0; i < planes.count; i++)
        bytes += (uint64_t)planes.plane[i].llPitch * (uint64_t)planes.plane[i].lHeight;
    return bytes;
}
