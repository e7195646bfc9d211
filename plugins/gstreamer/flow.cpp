// SPDX-License-Identifier: BSD-2-Clause
// Frames wait in a queue until their record can be pulled. Events that only accompany the frames wait
// there too, in their place.
#include "element.h"
#include "picture.h"

struct Waiting {
    GstMiniObject *object; // a GstBuffer or a GstEvent
    gboolean measured;     // the handle has a record of it
};

void quorvel_stabilize_init_flow(QuorvelStabilize *self) {
    self->waiting = gst_queue_array_new_for_struct(sizeof(Waiting), 32);
    self->last_pts = GST_CLOCK_TIME_NONE;
    self->record.lSize = (int32_t)sizeof(self->record);
}

static void enqueue(QuorvelStabilize *self, GstMiniObject *object, gboolean measured) {
    Waiting last = {object, measured};
    gst_queue_array_push_tail_struct(self->waiting, &last);
}

static void close_handle(QuorvelStabilize *self) {
    QEL_MVS_DestroyStabilizer(self->handle);
    self->handle = NULL;
    self->last_pts = GST_CLOCK_TIME_NONE;
}

void quorvel_stabilize_drop_all(QuorvelStabilize *self) {
    while (!gst_queue_array_is_empty(self->waiting)) {
        const Waiting *first = (const Waiting *)gst_queue_array_pop_head_struct(self->waiting);
        gst_mini_object_unref(first->object);
    }
    close_handle(self);
}

void quorvel_stabilize_finalize_flow(QuorvelStabilize *self) {
    quorvel_stabilize_drop_all(self);
    gst_queue_array_free(self->waiting);
}

// One warning for a stream: what fails once often fails with each frame.
static void warn(QuorvelStabilize *self, const gchar *text) {
    if (self->warned) return;
    self->warned = TRUE;
    GST_ELEMENT_WARNING(self, STREAM, FAILED, ("Some frames are not stabilized: %s", text), (NULL));
}

// Input -----------------------------------------------------------------------------------------------

static gboolean same_path(const StreamSettings *a, const StreamSettings *b) {
    return FramesHeld(a->lookahead) == FramesHeld(b->lookahead) && a->window == b->window &&
           a->strength == b->strength && a->roll == b->roll;
}

// Settings of the path are those of a handle for life, so a change opens another one. Where no handle
// can be opened, frames pass without delay.
void quorvel_stabilize_apply_settings(QuorvelStabilize *self) {
    GST_OBJECT_LOCK(self);
    StreamSettings settings = self->settings;
    GST_OBJECT_UNLOCK(self);
    settings.rateNumerator = GST_VIDEO_INFO_FPS_N(&self->info);
    settings.rateDenominator = GST_VIDEO_INFO_FPS_D(&self->info);
    if (self->handle && !same_path(&settings, &self->in_use)) quorvel_stabilize_deliver_all(self);
    if (!self->handle) {
        self->handle = OpenStream(self->info.width, self->info.height, settings);
        quorvel_stabilize_update_latency(self, self->handle ? settings.lookahead : 0);
    }
    if (self->handle && settings.threads != self->in_use.threads)
        QEL_MVS_SetThreads(self->handle, settings.threads);
    self->in_use = settings;
}

static gboolean starts_scene(const QuorvelStabilize *self, const GstBuffer *frame) {
    const GstClockTime last = self->last_pts, pts = GST_BUFFER_PTS(frame);
    if (GST_BUFFER_FLAG_IS_SET(frame, GST_BUFFER_FLAG_DISCONT | GST_BUFFER_FLAG_RESYNC)) return TRUE;
    if (!GST_CLOCK_TIME_IS_VALID(last) || !GST_CLOCK_TIME_IS_VALID(pts)) return FALSE;
    return self->base.segment.rate < 0 ? pts > last : pts < last;
}

// Pushes the frame. False: the handle has not taken it, and the next one starts a scene.
static gboolean measure(QuorvelStabilize *self, GstBuffer *frame) {
    if (!self->handle) {
        warn(self, "no memory, or a size that the stabilizer does not take");
        return FALSE;
    }
    Picture picture;
    gboolean taken = FALSE;
    if (picture_map(&picture, &self->info, frame, GST_MAP_READ)) {
        taken = QEL_MVS_PushLuma(self->handle, &picture.planes[0]);
        picture_unmap(&picture);
    }
    if (!taken) {
        warn(self, "a buffer does not hold what its caps say");
        QEL_MVS_Reset(self->handle);
    }
    return taken;
}

// The frame itself, or a copy where its pool has too few buffers: it would run dry while frames wait
// here, and the element in front would block.
static GstBuffer *keepable(QuorvelStabilize *self, GstBuffer *input) {
    const guint held = (guint)FramesHeld(self->in_use.lookahead), spare = 3;
    if (held == 0 || !input->pool) return input;
    GstStructure *config = gst_buffer_pool_get_config(input->pool);
    guint most = 0;
    gst_buffer_pool_config_get_params(config, NULL, NULL, NULL, &most);
    gst_structure_free(config);
    if (most == 0 || most >= held + spare) return input;
    GstBuffer *copy = gst_buffer_copy_deep(input);
    if (!copy) return input;
    gst_buffer_unref(input);
    return copy;
}

void quorvel_stabilize_take_frame(QuorvelStabilize *self, GstBuffer *frame) {
    // QEL_MVS_Reset would not do: the base class sets DISCONT on the next frame that comes out, which
    // must not be one from before the discontinuity.
    if (starts_scene(self, frame)) quorvel_stabilize_deliver_all(self);
    quorvel_stabilize_apply_settings(self);
    self->last_pts = GST_BUFFER_PTS(frame);
    const gboolean measured = measure(self, frame);
    enqueue(self, GST_MINI_OBJECT_CAST(keepable(self, frame)), measured);
}

// Output ----------------------------------------------------------------------------------------------

// A time of the frame by a function of the segment. Not every segment has times: that of a source of
// raw bytes may count bytes.
static guint64 time_by(guint64 (*convert)(const GstSegment *, GstFormat, guint64),
                       const QuorvelStabilize *self, const GstBuffer *frame) {
    const GstSegment *segment = &self->base.segment;
    if (segment->format != GST_FORMAT_TIME) return GST_CLOCK_TIME_NONE;
    return convert(segment, GST_FORMAT_TIME, GST_BUFFER_PTS(frame));
}

static void post_motion(QuorvelStabilize *self, const GstBuffer *frame) {
    const MVS_Compensation *record = &self->record;
    const gdouble pixel = 65536, radian = 16777216;
    GstStructure *motion = gst_structure_new(
        "quorvel-motion", "timestamp", G_TYPE_UINT64, GST_BUFFER_PTS(frame), "stream-time",
        G_TYPE_UINT64, time_by(gst_segment_to_stream_time, self, frame), "running-time", G_TYPE_UINT64,
        time_by(gst_segment_to_running_time, self, frame), "dx", G_TYPE_DOUBLE,
        record->lMotionCol / pixel, "dy", G_TYPE_DOUBLE, record->lMotionRow / pixel, "roll",
        G_TYPE_DOUBLE, record->lMotionTheta / radian, "compensation-dx", G_TYPE_DOUBLE,
        record->lCol / pixel, "compensation-dy", G_TYPE_DOUBLE, record->lRow / pixel,
        "compensation-roll", G_TYPE_DOUBLE, record->lTheta / radian, "measured", G_TYPE_BOOLEAN,
        (record->lFlags & QEL_MVS_MEASURED) != 0, "new-scene", G_TYPE_BOOLEAN,
        (record->lFlags & QEL_MVS_NEW_SCENE) != 0, NULL);
    gst_element_post_message(GST_ELEMENT(self), gst_message_new_element(GST_OBJECT(self), motion));
}

// Whether the next element reads this buffer rightly: it knows GstVideoMeta, or does not need it.
static gboolean is_plain(const QuorvelStabilize *self, GstBuffer *buffer) {
    const GstVideoMeta *meta = gst_buffer_get_video_meta(buffer);
    if (!meta || self->takes_video_meta) return TRUE;
    for (guint i = 0; i < meta->n_planes; i++)
        if (meta->offset[i] != self->info.offset[i] || meta->stride[i] != self->info.stride[i])
            return FALSE;
    return TRUE;
}

static gboolean copy_picture(const GstVideoInfo *info, GstBuffer *from, GstBuffer *to) {
    Picture in, out;
    if (!picture_map(&in, info, from, GST_MAP_READ)) return FALSE;
    gboolean copied = picture_map(&out, info, to, GST_MAP_WRITE);
    if (copied) {
        copied = gst_video_frame_copy(&out.frame, &in.frame);
        picture_unmap(&out);
    }
    picture_unmap(&in);
    return copied;
}

// Takes the frame; returns the same buffer, unless the next element needs a copy to read it. Without
// memory for the copy, it is the frame all the same.
static GstBuffer *untouched(QuorvelStabilize *self, GstBuffer *frame) {
    GstBuffer *plain = NULL;
    GstBaseTransformClass *klass = GST_BASE_TRANSFORM_GET_CLASS(self);
    if (is_plain(self, frame) ||
        klass->prepare_output_buffer(&self->base, frame, &plain) != GST_FLOW_OK)
        return frame;
    const gboolean copied = copy_picture(&self->info, frame, plain);
    gst_buffer_unref(copied ? frame : plain);
    return copied ? plain : frame;
}

static gboolean draw(QuorvelStabilize *self, const Picture *in, const Picture *out) {
    GST_OBJECT_LOCK(self);
    const gboolean cubic = self->cubic, split = self->split;
    GST_OBJECT_UNLOCK(self);
    QEL_MVS_SetCubic(self->handle, cubic);
    if (!QEL_MVS_CompensateFrame(self->handle, &self->record, in->planes, out->planes, in->count))
        return FALSE;
    if (split) picture_copy_left_half(in, out);
    return TRUE;
}

GstFlowReturn quorvel_stabilize_transform(GstBaseTransform *trans, GstBuffer *frame,
                                          GstBuffer *output) {
    QuorvelStabilize *self = QUORVEL_STABILIZE(trans);
    Picture in, out;
    if (!picture_map(&in, &self->info, frame, GST_MAP_READ)) return GST_FLOW_ERROR;
    gboolean drawn = picture_map(&out, &self->info, output, GST_MAP_WRITE);
    if (drawn) {
        drawn = draw(self, &in, &out);
        picture_unmap(&out);
    }
    picture_unmap(&in);
    return drawn ? GST_FLOW_OK : GST_FLOW_ERROR;
}

// Takes the frame.
static GstFlowReturn stabilize(QuorvelStabilize *self, GstBuffer *frame, GstBuffer **output) {
    GstBaseTransform *trans = &self->base;
    const GstFlowReturn result =
        GST_BASE_TRANSFORM_GET_CLASS(self)->prepare_output_buffer(trans, frame, output);
    if (result == GST_FLOW_OK && quorvel_stabilize_transform(trans, frame, *output) == GST_FLOW_OK) {
        gst_buffer_unref(frame);
        return GST_FLOW_OK;
    }
    if (result == GST_FLOW_OK) gst_buffer_unref(*output);
    *output = NULL;
    if (result == GST_FLOW_FLUSHING) {
        gst_buffer_unref(frame);
        return result;
    }
    warn(self, "no memory for the output");
    *output = untouched(self, frame);
    return GST_FLOW_OK;
}

// Takes the frame. Properties that are controlled get the values that they have at its time.
static GstFlowReturn show(QuorvelStabilize *self, GstBuffer *frame, gboolean measured,
                          GstBuffer **output) {
    const GstClockTime time = time_by(gst_segment_to_stream_time, self, frame);
    if (GST_CLOCK_TIME_IS_VALID(time)) gst_object_sync_values(GST_OBJECT(self), time);
    GST_OBJECT_LOCK(self);
    const gboolean enabled = self->enabled, post = self->post_motion;
    GST_OBJECT_UNLOCK(self);
    if (measured && post) post_motion(self, frame);
    if (measured && enabled) return stabilize(self, frame, output);
    *output = untouched(self, frame);
    return GST_FLOW_OK;
}

GstFlowReturn quorvel_stabilize_generate_output(GstBaseTransform *trans, GstBuffer **output) {
    QuorvelStabilize *self = QUORVEL_STABILIZE(trans);
    *output = NULL;
    while (!gst_queue_array_is_empty(self->waiting)) {
        const Waiting first = *(const Waiting *)gst_queue_array_peek_head_struct(self->waiting);
        if (first.measured && !QEL_MVS_PullCompensation(self->handle, &self->record)) break;
        gst_queue_array_pop_head_struct(self->waiting);
        if (!GST_IS_EVENT(first.object))
            return show(self, GST_BUFFER_CAST(first.object), first.measured, output);
        gst_pad_push_event(trans->srcpad, GST_EVENT_CAST(first.object));
    }
    return GST_FLOW_OK;
}

void quorvel_stabilize_deliver_all(QuorvelStabilize *self) {
    GstBuffer *output = NULL;
    GstFlowReturn result = GST_FLOW_OK;
    QEL_MVS_EndStream(self->handle);
    while (result != GST_FLOW_FLUSHING &&
           quorvel_stabilize_generate_output(&self->base, &output) == GST_FLOW_OK && output)
        result = gst_pad_push(self->base.srcpad, output);
    quorvel_stabilize_drop_all(self); // closes the handle; of a pad that is flushing, drops the rest
}

// Events ----------------------------------------------------------------------------------------------

static gboolean changes_caps(const QuorvelStabilize *self, GstEvent *event) {
    GstCaps *caps = NULL;
    gst_event_parse_caps(event, &caps);
    GstCaps *current = gst_pad_get_current_caps(self->base.sinkpad);
    const gboolean changes = !current || !gst_caps_is_equal(caps, current);
    if (current) gst_caps_unref(current);
    return changes;
}

// Events that accompany the frames, before which no frame has to come out.
static gboolean may_wait(const GstEvent *event) {
    switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_TAG:
    case GST_EVENT_TOC:
    case GST_EVENT_PROTECTION:
    case GST_EVENT_SINK_MESSAGE:
    case GST_EVENT_CUSTOM_DOWNSTREAM:
        return TRUE;
    default:
        return FALSE;
    }
}

gboolean quorvel_stabilize_keep_event(QuorvelStabilize *self, GstEvent *event) {
    const GstEventType type = GST_EVENT_TYPE(event);
    if (type == GST_EVENT_FLUSH_STOP) {
        quorvel_stabilize_drop_all(self);
        return FALSE;
    }
    if (!(gst_event_type_get_flags(type) & GST_EVENT_TYPE_SERIALIZED)) return FALSE;
    if (may_wait(event)) {
        if (gst_queue_array_is_empty(self->waiting)) return FALSE;
        enqueue(self, GST_MINI_OBJECT_CAST(event), FALSE);
        return TRUE;
    }
    if (type != GST_EVENT_CAPS || changes_caps(self, event)) quorvel_stabilize_deliver_all(self);
    return FALSE;
}
