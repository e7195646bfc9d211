// SPDX-License-Identifier: BSD-2-Clause
#include "harness.h"

#include <string.h>

#include "support/scene.h"

int gLiveFrames;

static void Freed(gpointer, GstMiniObject *) { gLiveFrames--; }

Element::Element(const std::string &settings, bool takesVideoMeta) {
    harness = gst_harness_new_parse(("quorvelstabilize " + settings).c_str());
    element = gst_harness_find_element(harness, "quorvelstabilize");
    bus = gst_bus_new();
    gst_element_set_bus(element, bus);
    if (takesVideoMeta) gst_harness_add_propose_allocation_meta(harness, GST_VIDEO_META_API_TYPE, NULL);
}

Element::~Element() {
    gst_element_set_bus(element, NULL);
    gst_object_unref(bus);
    gst_object_unref(element);
    gst_harness_teardown(harness);
}

void Element::SetCaps(const char *format, int width, int height, const char *more) {
    const std::string text = std::string("video/x-raw,format=") + format +
                             ",width=" + std::to_string(width) + ",height=" + std::to_string(height) +
                             ",framerate=" + std::to_string(kRate) + "/1" + more;
    GstCaps *caps = gst_caps_from_string(text.c_str());
    gst_video_info_from_caps(&info, caps);
    gst_harness_set_src_caps(harness, caps);
}

// A picture of the clip in every channel of every plane, as often as it takes to fill the plane.
static void Fill(GstBuffer *buffer, const GstVideoInfo &info, const gsize *offset, const gint *stride,
                 guint64 number) {
    static const std::vector<Bytes> clip = ShakyClip({192, 128}, 32);
    const Bytes &picture = clip[number % clip.size()];
    GstMapInfo map;
    gst_buffer_map(buffer, &map, GST_MAP_WRITE);
    for (guint p = 0; p < GST_VIDEO_INFO_N_PLANES(&info); p++) {
        const int step = (int)info.finfo->w_sub[p ? 1 : 0], down = (int)info.finfo->h_sub[p ? 1 : 0];
        const int pixel = info.finfo->pixel_stride[p ? 1 : 0], high = info.finfo->bits > 8;
        const int shift = (int)info.finfo->shift[0], depth = (int)info.finfo->depth[0];
        for (int y = 0; y < GST_VIDEO_SUB_SCALE(down, info.height); y++) {
            guint8 *row = map.data + offset[p] + y * stride[p];
            for (int i = 0; i < GST_VIDEO_SUB_SCALE(step, info.width) * pixel; i++) {
                const int x = i / pixel << step;
                const guint value = picture[(size_t)((y << down) % 128 * 192 + x % 192)];
                const guint wide = value << (depth - 8) << shift;
                row[i] = (guint8)(!high ? value : i & 1 ? wide >> 8 : wide);
            }
        }
    }
    gst_buffer_unmap(buffer, &map);
}

GstBuffer *Element::Frame(const Layout &layout) {
    gsize offset[GST_VIDEO_MAX_PLANES] = {}, size = 0;
    gint stride[GST_VIDEO_MAX_PLANES] = {};
    for (guint p = 0; p < GST_VIDEO_INFO_N_PLANES(&info); p++) {
        const gint down = p ? (gint)info.finfo->h_sub[1] : 0;
        const gint rows = GST_VIDEO_SUB_SCALE(down, info.height);
        stride[p] = info.stride[p] + layout.padding;
        offset[p] = (layout.hasMeta ? size : info.offset[p]) + (gsize)layout.gap;
        size = offset[p] + (gsize)(stride[p] * rows);
        if (!layout.upsideDown) continue;
        offset[p] += (gsize)(stride[p] * (rows - 1));
        stride[p] = -stride[p];
    }
    size = layout.hasMeta ? size : info.size;
    GstBuffer *buffer = gst_buffer_new_allocate(NULL, size, NULL);
    gst_buffer_memset(buffer, 0, 0xAA, size);
    Fill(buffer, info, offset, stride, next);
    if (layout.hasMeta)
        gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, info.finfo->format,
                                       (guint)info.width, (guint)info.height,
                                       GST_VIDEO_INFO_N_PLANES(&info), offset, stride);
    GST_BUFFER_OFFSET(buffer) = next;
    GST_BUFFER_PTS(buffer) = next * GST_SECOND / kRate;
    GST_BUFFER_DURATION(buffer) = GST_SECOND / kRate;
    gst_mini_object_weak_ref(GST_MINI_OBJECT_CAST(buffer), Freed, NULL);
    gLiveFrames++;
    next++;
    return buffer;
}

std::vector<guint64> Element::Take() {
    std::vector<guint64> numbers;
    while (GstBuffer *buffer = gst_harness_try_pull(harness)) {
        numbers.push_back(GST_BUFFER_OFFSET(buffer));
        gst_buffer_unref(buffer);
    }
    return numbers;
}

GstStructure *Element::Motion() {
    GstMessage *message = gst_bus_pop_filtered(bus, GST_MESSAGE_ELEMENT);
    if (!message) return NULL;
    GstStructure *copy = gst_structure_copy(gst_message_get_structure(message));
    gst_message_unref(message);
    return copy;
}

int Element::CountMessages(GstMessageType type) {
    int count = 0;
    while (GstMessage *message = gst_bus_pop_filtered(bus, type)) {
        gst_message_unref(message);
        count++;
    }
    return count;
}

std::vector<guint8> VisibleBytes(const GstVideoInfo &info, GstBuffer *buffer) {
    std::vector<guint8> bytes;
    GstVideoFrame frame;
    if (!gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ)) return bytes;
    for (guint p = 0; p < GST_VIDEO_FRAME_N_PLANES(&frame); p++) {
        const int c = p ? 1 : 0;
        const int row = GST_VIDEO_FRAME_COMP_WIDTH(&frame, c) * GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, c);
        for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, c); y++) {
            const guint8 *from = (const guint8 *)GST_VIDEO_FRAME_PLANE_DATA(&frame, p) +
                                 y * GST_VIDEO_FRAME_PLANE_STRIDE(&frame, p);
            bytes.insert(bytes.end(), from, from + row);
        }
    }
    gst_video_frame_unmap(&frame);
    return bytes;
}
