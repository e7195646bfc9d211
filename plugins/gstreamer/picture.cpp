// SPDX-License-Identifier: BSD-2-Clause
#include "picture.h"

#include <string.h>

#include <algorithm>

#include "common/stream.h"

static gint sample_bytes(const GstVideoFormatInfo *format, gint component) {
    return (gint)(format->depth[component] + format->shift[component]) > 8 ? 2 : 1;
}

static gint first_component_of(const GstVideoFormatInfo *format, guint plane) {
    gint component = 0;
    while (format->plane[component] != plane) component++;
    return component;
}

// Where the first sample of a plane lies. Without a known site it is that of most video: at the left of
// its pixels, and between two rows.
static void set_chroma_site(MVS_Plane *plane, GstVideoChromaSite site) {
    const gint known = site & ~(GST_VIDEO_CHROMA_SITE_UNKNOWN | GST_VIDEO_CHROMA_SITE_ALT_LINE);
    const gboolean left = !known || (site & GST_VIDEO_CHROMA_SITE_H_COSITED);
    const gboolean top = site & GST_VIDEO_CHROMA_SITE_V_COSITED;
    plane->lSiteX = left ? 0 : 2 * ((1 << plane->lLog2X) - 1);
    plane->lSiteY = top ? 0 : 2 * ((1 << plane->lLog2Y) - 1);
}

static MVS_Plane make_plane(const GstVideoInfo *info, const GstVideoFrame *frame, guint index) {
    const GstVideoFormatInfo *format = info->finfo;
    const gint component = first_component_of(format, index), bytes = sample_bytes(format, component);
    MVS_Plane plane = MakePlane(info->width, info->height, format->pixel_stride[component] / bytes,
                                (gint)format->w_sub[component], (gint)format->h_sub[component],
                                (const uint8_t *)frame->data[index], frame->info.stride[index]);
    plane.lSampleBytes = bytes;
    plane.lBits = (gint)format->depth[component];
    plane.lLowestBit = (gint)format->shift[component];
    const gint luma = GST_VIDEO_FORMAT_INFO_IS_RGB(format) ? GST_VIDEO_COMP_G : GST_VIDEO_COMP_Y;
    if (format->plane[luma] == index) plane.lLuma = (gint)format->poffset[luma] / bytes;
    set_chroma_site(&plane, info->chroma_site);
    return plane;
}

static gint64 row_bytes(const MVS_Plane *plane) {
    return (gint64)plane->lWidth * plane->lChannels * plane->lSampleBytes;
}

static gboolean lies_within(const MVS_Plane *plane, const GstMapInfo *map) {
    const gint64 first = plane->pPixels - map->data;
    const gint64 last = first + (plane->lHeight - 1) * plane->llPitch;
    const gint64 end = std::max(first, last) + row_bytes(plane);
    return std::min(first, last) >= 0 && end <= (gint64)map->size;
}

static gboolean describe(Picture *picture, const GstVideoInfo *info) {
    picture->count = (gint)GST_VIDEO_INFO_N_PLANES(info);
    for (gint i = 0; i < picture->count; i++) {
        picture->planes[i] = make_plane(info, &picture->frame, (guint)i);
        // Without a GstVideoMeta the whole buffer is mapped once.
        if (!lies_within(&picture->planes[i], &picture->frame.map[picture->frame.meta ? i : 0]))
            return FALSE;
    }
    return TRUE;
}

// What gst_video_frame_map would refuse with an error in the log for each frame.
static gboolean fits(const GstVideoInfo *info, GstBuffer *buffer) {
    const GstVideoMeta *meta = gst_buffer_get_video_meta(buffer);
    if (!meta) return gst_buffer_get_size(buffer) >= GST_VIDEO_INFO_SIZE(info);
    return meta->format == GST_VIDEO_INFO_FORMAT(info) && (gint)meta->width == info->width &&
           (gint)meta->height == info->height;
}

gboolean picture_map(Picture *picture, const GstVideoInfo *info, GstBuffer *buffer, GstMapFlags flags) {
    if (!fits(info, buffer) || !gst_video_frame_map(&picture->frame, info, buffer, flags)) return FALSE;
    if (describe(picture, info)) return TRUE;
    gst_video_frame_unmap(&picture->frame);
    return FALSE;
}

void picture_unmap(Picture *picture) { gst_video_frame_unmap(&picture->frame); }

void picture_copy_left_half(const Picture *from, const Picture *to) {
    const gint columns = GST_ROUND_DOWN_4(from->frame.info.width / 2); // whole chroma samples
    for (gint i = 0; i < from->count; i++) {
        const MVS_Plane *in = &from->planes[i], *out = &to->planes[i];
        const gsize bytes = (gsize)(columns >> in->lLog2X) * (gsize)(in->lChannels * in->lSampleBytes);
        for (gint row = 0; row < in->lHeight; row++)
            memcpy(out->pPixels + row * out->llPitch, in->pPixels + row * in->llPitch, bytes);
    }
}
