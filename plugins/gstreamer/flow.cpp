// SPDX-License-Identifier: BSD-2-Clause
// Frames wait in a queue until their record can be pulled. Events that have a place between two frames,
// and no need of their own, wait there too.
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

// A change of the path needs another handle. Without one nothing waits.
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

// Whether the handle has taken the frame. Where it has not, the next one starts a scene.
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

// A pool with few buffers would run dry while frames wait here, and whoever fills them would stop.
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
    // Not left to QEL_MVS_Reset: the base class would mark the first frame that comes out as the one
    // behind the discontinuity.
    if (starts_scene(self, frame)) quorvel_stabilize_deliver_all(self);
    quorvel_stabilize_apply_settings(self);
    self->last_pts = GST_BUFFER_PTS(frame);
    const gboolean measured = measure(self, frame);
    enqueue(self, GST_MINI_OBJECT_CAST(keepable(self, frame)), measured);
}

// Output ----------------------------------------------------------------------------------------------

static void post_motion(QuorvelStabilize *self, const GstBuffer *frame) {
    const MVS_Compensation *record = &self->record;
    const gdouble pixel = 65536, radian = 16777216;
    const GstClockTime pts = GST_BUFFER_PTS(frame);
    const GstSegment *segment = &self->base.segment;
    GstStructure *motion = gst_structure_new(
        "quorvel-motion", "timestamp", G_TYPE_UINT64, pts, "stream-time", G_TYPE_UINT64,
        gst_segment_to_stream_time(segment, GST_FORMAT_TIME, pts), "running-time", G_TYPE_UINT64,
        gst_segment_to_running_time(segment, GST_FORMAT_TIME, pts), "dx", G_TYPE_DOUBLE,
        record->lMotionCol / pixel, "dy", G_TYPE_DOUBLE, record->lMotionRow / pixel, "roll",
        G_TYPE_DOUBLE, record->lMotionTheta / radian, "compensation-dx", G_TYPE_DOUBLE,
        record->lCol / pixel, "compensation-dy", G_TYPE_DOUBLE, record->lRow / pixel,
        "compensation-roll", G_TYPE_DOUBLE, record->lTheta / radian, "measured", G_TYPE_BOOLEAN,
        (record->lFlags & QEL_MVS_MEASURED) != 0, "new-scene", G_TYPE_BOOLEAN,
        (record->lFlags & QEL_MVS_NEW_SCENE) != 0, NULL);
    gst_element_post_message(GST_ELEMENT(self), gst_message_new_element(GST_OBJECT(self), motion));
}

// The next element reads this buffer as the caps say, without a GstVideoMeta.
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

// Takes the frame; hands out the same buffer, unless the next element could not read it.
static GstFlowReturn pass_on(QuorvelStabilize *self, GstBuffer *frame, GstBuffer **output) {
    GstBaseTransform *trans = &self->base;
    *output = frame;
    if (is_plain(self, frame)) return GST_FLOW_OK;
    GstBuffer *plain = NULL;
    const GstFlowReturn result =
        GST_BASE_TRANSFORM_GET_CLASS(self)->prepare_output_buffer(trans, frame, &plain);
    if (result != GST_FLOW_OK) return GST_FLOW_OK;
    if (copy_picture(&self->info, frame, plain)) {
        gst_buffer_unref(frame);
        *output = plain;
    } else {
        gst_buffer_unref(plain);
    }
    return GST_FLOW_OK;
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
    return pass_on(self, frame, output);
}

// Takes the frame. Controlled properties have the values of its time.
static GstFlowReturn show(QuorvelStabilize *self, GstBuffer *frame, gboolean measured,
                          GstBuffer **output) {
    const GstClockTime time =
        gst_segment_to_stream_time(&self->base.segment, GST_FORMAT_TIME, GST_BUFFER_PTS(frame));
    if (GST_CLOCK_TIME_IS_VALID(time)) gst_object_sync_values(GST_OBJECT(self), time);
    GST_OBJECT_LOCK(self);
    const gboolean enabled = self->enabled, post = self->post_motion;
    GST_OBJECT_UNLOCK(self);
    if (measured && post) post_motion(self, frame);
    return measured && enabled ? stabilize(self, frame, output) : pass_on(self, frame, output);
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
    QEL_MVS_EndStream(self->handle);
    while (quorvel_stabilize_generate_output(&self->base, &output) == GST_FLOW_OK && output)
        gst_pad_push(self->base.srcpad, output);
    quorvel_stabilize_drop_all(self); // of a pad that is flushing
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

// Events that say something about the frames, and do not end anything.
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
