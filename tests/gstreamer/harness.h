// SPDX-License-Identifier: BSD-2-Clause
// The element in a harness: pads on both sides, a bus, and frames of a shaky clip.
#pragma once

#include <gst/check/gstharness.h>
#include <gst/video/video.h>

#include <string>
#include <vector>

const int kRate = 25; // frames a second

struct Layout {      // how frames lie in their buffers
    int padding = 0; // bytes after each row; with any, the buffer has a GstVideoMeta
    int gap = 0;     // bytes before each plane
    bool hasMeta = false;
    bool upsideDown = false;
};

struct Element {
    // Settings as in gst-launch: "lookahead=10 window=0.8".
    explicit Element(const std::string &settings = "", bool takesVideoMeta = true);
    ~Element();
    Element(const Element &) = delete;
    Element &operator=(const Element &) = delete;

    void SetCaps(const char *format, int width, int height, const char *more = "");
    GstBuffer *Frame(const Layout &layout = {}); // the next of the clip, with time and number
    GstFlowReturn Push(GstBuffer *frame) { return gst_harness_push(harness, frame); }
    void Push(int count) {
        while (count-- > 0) Push(Frame());
    }
    bool Send(GstEvent *event) { return gst_harness_push_event(harness, event); }
    std::vector<guint64> Take(); // the numbers of the frames that came out; frees them
    GstStructure *Motion();      // of the next message, or null
    int CountMessages(GstMessageType type);
    GstClockTime Latency() { return gst_harness_query_latency(harness); }

    GstHarness *harness;
    GstElement *element;
    GstBus *bus;
    GstVideoInfo info;
    guint64 next = 0;
};

extern int gLiveFrames; // made by Frame() and not freed yet

// The visible bytes, row by row, plane by plane.
std::vector<guint8> VisibleBytes(const GstVideoInfo &info, GstBuffer *buffer);
