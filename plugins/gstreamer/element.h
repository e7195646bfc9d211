// SPDX-License-Identifier: BSD-2-Clause
// The element `quorvelstabilize`. element.cpp has its class, caps, allocation and latency; in flow.cpp
// frames and events pass through it.
//
// Two locks: the sink pad's stream lock guards what frames and events change; the object lock guards
// the properties and the latency, which other threads read and write.
#pragma once

#include <gst/base/gstbasetransform.h>
#include <gst/base/gstqueuearray.h>
#include <gst/video/video.h>

#include "common/stream.h"

GST_DEBUG_CATEGORY_EXTERN(quorvel_stabilize_debug);
#define GST_CAT_DEFAULT quorvel_stabilize_debug

G_DECLARE_FINAL_TYPE(QuorvelStabilize, quorvel_stabilize, QUORVEL, STABILIZE, GstBaseTransform)
GST_ELEMENT_REGISTER_DECLARE(quorvelstabilize)

struct _QuorvelStabilize {
    GstBaseTransform base;

    // Guarded by the object lock.
    StreamSettings settings; // the rate is not used
    gboolean enabled, split, cubic, post_motion;
    GstClockTime latency;

    // Guarded by the stream lock.
    GstVideoInfo info;
    gboolean takes_video_meta; // the element downstream
    MVS_Context *handle;       // null: the next frame opens one
    StreamSettings in_use;     // of the handle
    MVS_Compensation record;   // of the frame that is drawn
    GstQueueArray *waiting;    // frames, and events that came between them
    GstClockTime last_pts;
    gboolean warned; // since the last caps, that frames pass untouched
};

// element.cpp: sets what the LATENCY query answers, and tells the pipeline of a change.
void quorvel_stabilize_update_latency(QuorvelStabilize *self, gint lookahead);

// flow.cpp
void quorvel_stabilize_init_flow(QuorvelStabilize *self);
void quorvel_stabilize_finalize_flow(QuorvelStabilize *self);
// Opens a handle, if there is none or it has other settings.
void quorvel_stabilize_apply_settings(QuorvelStabilize *self);
void quorvel_stabilize_take_frame(QuorvelStabilize *self, GstBuffer *frame);
GstFlowReturn quorvel_stabilize_generate_output(GstBaseTransform *trans, GstBuffer **output);
GstFlowReturn quorvel_stabilize_transform(GstBaseTransform *trans, GstBuffer *frame, GstBuffer *output);
// Pushes all frames that wait, and the events between them, to the next element. The next frame starts
// a scene.
void quorvel_stabilize_deliver_all(QuorvelStabilize *self);
void quorvel_stabilize_drop_all(QuorvelStabilize *self);
// Delivers or drops the frames that wait, where the event asks for it. True: the event waits too.
gboolean quorvel_stabilize_keep_event(QuorvelStabilize *self, GstEvent *event);
