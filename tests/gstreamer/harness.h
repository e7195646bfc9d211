// SPDX-License-Identifier: BSD-2-Clause
// The element in a harness: pads on both sides, a bus, and frames of a shaky clip.
#pragma once

#include <gst/check/gstharness.h>
#include <gst/video/video.h>

#include <string>
#include <vector>

#include "support/scene.h"

const int kRate = 25; // frames a second
using Numbers = std::vector<guint64>;

struct Layout { // of the planes in a buffer that says so by a GstVideoMeta
    bool hasMeta = false;
    int padding = 0; // bytes after each row
    int gap = 0;     // bytes before each plane
    bool upsideDown = false;
};

inline int gLiveFrames; // made by Frame() and not freed yet

// The visible bytes, or a picture of the clip into every channel of every plane.
inline Bytes Visible(const GstVideoInfo &info, GstBuffer *buffer, const Bytes *picture = NULL) {
    Bytes bytes;
    GstVideoFrame frame;
    const int bits = (int)info.finfo->depth[0], pixel = info.finfo->bits > 8 ? 2 : 1;
    gst_video_frame_map(&frame, &info, buffer, picture ? GST_MAP_WRITE : GST_MAP_READ);
    for (guint p = 0; p < GST_VIDEO_FRAME_N_PLANES(&frame); p++) {
        const guint c = p ? 1 : 0, right = info.finfo->w_sub[c], down = info.finfo->h_sub[c];
        const int step = GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, c);
        for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, c); y++) {
            guint8 *row = (guint8 *)frame.data[p] + y * frame.info.stride[p];
            const int end = step * GST_VIDEO_FRAME_COMP_WIDTH(&frame, c);
            for (int i = 0; picture && i < end; i++) {
                const int value =
                    (*picture)[(size_t)((y << down) % 128 * 192 + (i / step << right) % 192)];
                const int wide = value << (bits - 8) << info.finfo->shift[0];
                row[i] = (guint8)(i % pixel ? wide >> 8 : wide);
            }
            bytes.insert(bytes.end(), row, row + end);
        }
    }
    gst_video_frame_unmap(&frame);
    return bytes;
}

struct Element {
    GstHarness *harness;
    GstElement *element;
    GstBus *bus = gst_bus_new();
    GstVideoInfo info;
    guint64 next = 0; // number of the next frame

    explicit Element(const std::string &settings = "", bool takesVideoMeta = true) {
        harness = gst_harness_new_parse(("quorvelstabilize " + settings).c_str());
        element = gst_harness_find_element(harness, "quorvelstabilize");
        gst_element_set_bus(element, bus);
        if (takesVideoMeta)
            gst_harness_add_propose_allocation_meta(harness, GST_VIDEO_META_API_TYPE, NULL);
    }
    ~Element() {
        gst_element_set_bus(element, NULL);
        gst_object_unref(bus);
        gst_object_unref(element);
        gst_harness_teardown(harness);
    }

    void SetCaps(const std::string &format, int width, int height) {
        const std::string text = "video/x-raw,format=" + format + ",width=" + std::to_string(width) +
                                 ",height=" + std::to_string(height) +
                                 ",framerate=" + std::to_string(kRate) + "/1";
        GstCaps *caps = gst_caps_from_string(text.c_str());
        gst_video_info_from_caps(&info, caps);
        gst_harness_set_src_caps(harness, caps);
    }

    GstBuffer *Frame(const Layout &layout = {}) {
        static const std::vector<Bytes> clip = ShakyClip({192, 128}, 32);
        gsize offset[GST_VIDEO_MAX_PLANES] = {}, size = 0;
        gint stride[GST_VIDEO_MAX_PLANES] = {};
        for (guint p = 0; p < GST_VIDEO_INFO_N_PLANES(&info); p++) {
            const int rows = GST_VIDEO_INFO_COMP_HEIGHT(&info, p ? 1 : 0);
            const int pitch = info.stride[p] + layout.padding;
            offset[p] = size + (gsize)(layout.gap + (layout.upsideDown ? pitch * (rows - 1) : 0));
            stride[p] = layout.upsideDown ? -pitch : pitch;
            size += (gsize)(layout.gap + pitch * rows);
        }
        GstBuffer *buffer = gst_buffer_new_allocate(NULL, layout.hasMeta ? size : info.size, NULL);
        if (layout.hasMeta)
            gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, info.finfo->format,
                                           (guint)info.width, (guint)info.height,
                                           GST_VIDEO_INFO_N_PLANES(&info), offset, stride);
        Visible(info, buffer, &clip[next % clip.size()]);
        GST_BUFFER_OFFSET(buffer) = next;
        GST_BUFFER_DURATION(buffer) = GST_SECOND / kRate;
        GST_BUFFER_PTS(buffer) = next++ * GST_SECOND / kRate;
        auto freed = [](gpointer, GstMiniObject *) { gLiveFrames--; };
        gst_mini_object_weak_ref(GST_MINI_OBJECT_CAST(buffer), freed, NULL);
        gLiveFrames++;
        return buffer;
    }

    GstFlowReturn Push(GstBuffer *frame) { return gst_harness_push(harness, frame); }
    void Push(int count) {
        while (count-- > 0) Push(Frame());
    }
    void Send(GstEvent *event) { gst_harness_push_event(harness, event); }
    void Flush() {
        GstSegment segment;
        gst_segment_init(&segment, GST_FORMAT_TIME);
        Send(gst_event_new_flush_start());
        Send(gst_event_new_flush_stop(TRUE));
        Send(gst_event_new_segment(&segment));
    }
    GstBuffer *Pull() { return gst_harness_try_pull(harness); }

    Numbers Take() { // the numbers of the frames that came out
        Numbers numbers;
        while (GstBuffer *buffer = Pull()) {
            numbers.push_back(GST_BUFFER_OFFSET(buffer));
            gst_buffer_unref(buffer);
        }
        return numbers;
    }
    std::string Events() { // the names of those that came out
        std::string names;
        while (GstEvent *event = gst_harness_try_pull_event(harness)) {
            names += std::string(GST_EVENT_TYPE_NAME(event)) + " ";
            gst_event_unref(event);
        }
        return names;
    }
    int Messages(GstMessageType type) { // how many, of one type
        int count = 0;
        while (GstMessage *message = gst_bus_pop_filtered(bus, type)) {
            gst_message_unref(message);
            count++;
        }
        return count;
    }
};
