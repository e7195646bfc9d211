// SPDX-License-Identifier: BSD-2-Clause
#include "element.h"

GST_DEBUG_CATEGORY(quorvel_stabilize_debug);

enum {
    PROP_0,
    PROP_ENABLED,
    PROP_LOOKAHEAD,
    PROP_WINDOW,
    PROP_STRENGTH,
    PROP_ROLL,
    PROP_CUBIC,
    PROP_SPLIT,
    PROP_THREADS,
    PROP_POST_MOTION
};

#if G_BYTE_ORDER == G_LITTLE_ENDIAN
#define TEN_BITS(format) format "_10LE"
#else
#define TEN_BITS(format) format "_10BE"
#endif
#define FORMATS                                                                                        \
    "{ I420, YV12, NV12, NV21, Y42B, NV16, NV61, Y444, NV24, Y41B, GRAY8, RGBA, BGRA, ARGB, ABGR, "    \
    "RGBx, BGRx, xRGB, xBGR, RGB, BGR, AYUV, " TEN_BITS("P010") ", " TEN_BITS("I420") ", " TEN_BITS(   \
        "I422") ", " TEN_BITS("Y444") " }"

static const char caps_text[] = GST_VIDEO_CAPS_MAKE(FORMATS) ", interlace-mode=(string)progressive";

static GstStaticPadTemplate sink_template =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(caps_text));
static GstStaticPadTemplate src_template =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(caps_text));

G_DEFINE_TYPE_WITH_CODE(QuorvelStabilize, quorvel_stabilize, GST_TYPE_BASE_TRANSFORM,
                        GST_DEBUG_CATEGORY_INIT(quorvel_stabilize_debug, "quorvelstabilize", 0,
                                                "Video stabilizer"))
GST_ELEMENT_REGISTER_DEFINE(quorvelstabilize, "quorvelstabilize", GST_RANK_NONE,
                            quorvel_stabilize_get_type())

static void quorvel_stabilize_set_property(GObject *object, guint id, const GValue *value,
                                           GParamSpec *pspec) {
    QuorvelStabilize *self = QUORVEL_STABILIZE(object);
    GST_OBJECT_LOCK(self);
    switch (id) {
    case PROP_ENABLED:
        self->enabled = g_value_get_boolean(value);
        break;
    case PROP_LOOKAHEAD:
        self->settings.lookahead = g_value_get_int(value);
        break;
    case PROP_WINDOW:
        self->settings.window = g_value_get_double(value);
        break;
    case PROP_STRENGTH:
        self->settings.strength = g_value_get_double(value);
        break;
    case PROP_ROLL:
        self->settings.roll = g_value_get_boolean(value) != FALSE;
        break;
    case PROP_CUBIC:
        self->cubic = g_value_get_boolean(value);
        break;
    case PROP_SPLIT:
        self->split = g_value_get_boolean(value);
        break;
    case PROP_THREADS:
        self->settings.threads = g_value_get_int(value);
        break;
    case PROP_POST_MOTION:
        self->post_motion = g_value_get_boolean(value);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
    GST_OBJECT_UNLOCK(self);
}

static void quorvel_stabilize_get_property(GObject *object, guint id, GValue *value,
                                           GParamSpec *pspec) {
    QuorvelStabilize *self = QUORVEL_STABILIZE(object);
    GST_OBJECT_LOCK(self);
    switch (id) {
    case PROP_ENABLED:
        g_value_set_boolean(value, self->enabled);
        break;
    case PROP_LOOKAHEAD:
        g_value_set_int(value, self->settings.lookahead);
        break;
    case PROP_WINDOW:
        g_value_set_double(value, self->settings.window);
        break;
    case PROP_STRENGTH:
        g_value_set_double(value, self->settings.strength);
        break;
    case PROP_ROLL:
        g_value_set_boolean(value, self->settings.roll);
        break;
    case PROP_CUBIC:
        g_value_set_boolean(value, self->cubic);
        break;
    case PROP_SPLIT:
        g_value_set_boolean(value, self->split);
        break;
    case PROP_THREADS:
        g_value_set_int(value, self->settings.threads);
        break;
    case PROP_POST_MOTION:
        g_value_set_boolean(value, self->post_motion);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
    GST_OBJECT_UNLOCK(self);
}

static void install_properties(GObjectClass *object) {
    const GParamFlags flags =
        (GParamFlags)(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING);
    const GParamFlags controlled = (GParamFlags)(flags | GST_PARAM_CONTROLLABLE);
    auto install = [object](guint id, GParamSpec *pspec) {
        g_object_class_install_property(object, id, pspec);
    };
    install(PROP_ENABLED,
            g_param_spec_boolean("enabled", "Enabled",
                                 "Stabilize; else frames pass untouched, with the same delay", TRUE,
                                 controlled));
    install(
        PROP_LOOKAHEAD,
        g_param_spec_int("lookahead", "Lookahead",
                         "Delay in frames, for a calmer picture; 1 to 4 count as 0. A change starts "
                         "a new scene",
                         0, kMostLookahead, 0, flags));
    install(PROP_WINDOW, g_param_spec_double(
                             "window", "Window",
                             "Part of each side that is shown, enlarged to full size. A change starts "
                             "a new scene",
                             kLeastWindow, kMostWindow, kUsualWindow, flags));
    install(PROP_STRENGTH,
            g_param_spec_double("strength", "Strength",
                                "How calm the picture is, in seconds. A change starts a new scene",
                                kLeastStrength, kMostStrength, kUsualStrength, flags));
    install(PROP_ROLL,
            g_param_spec_boolean("roll", "Roll", "Compensate rotation too. A change starts a new scene",
                                 TRUE, flags));
    install(PROP_CUBIC,
            g_param_spec_boolean("cubic", "Cubic",
                                 "Bicubic instead of bilinear interpolation: sharper, slower", FALSE,
                                 controlled));
    install(PROP_SPLIT, g_param_spec_boolean(
                            "split", "Split",
                            "Compare: the left half is left as it is, the right half is stabilized",
                            FALSE, controlled));
    install(PROP_THREADS, g_param_spec_int("threads", "Threads",
                                           "Most threads for a frame, 0: by frame size and cores", 0,
                                           kMostThreads, 0, flags));
    install(PROP_POST_MOTION,
            g_param_spec_boolean("post-motion", "Post motion",
                                 "Post an element message `quorvel-motion` for each frame", FALSE,
                                 flags));
}

// Caps ------------------------------------------------------------------------------------------------

static gboolean quorvel_stabilize_get_unit_size(GstBaseTransform *, GstCaps *caps, gsize *size) {
    GstVideoInfo info;
    if (!gst_video_info_from_caps(&info, caps)) return FALSE;
    *size = GST_VIDEO_INFO_SIZE(&info);
    return TRUE;
}

static gboolean quorvel_stabilize_set_caps(GstBaseTransform *trans, GstCaps *in, GstCaps *) {
    QuorvelStabilize *self = QUORVEL_STABILIZE(trans);
    GstVideoInfo info;
    if (!gst_video_info_from_caps(&info, in)) return FALSE;
    // Where caps have no colorimetry, gst_video_info_from_caps guesses the chroma site too, even if
    // they have one.
    const gchar *site = gst_structure_get_string(gst_caps_get_structure(in, 0), "chroma-site");
    if (site) info.chroma_site = gst_video_chroma_site_from_string(site);
    quorvel_stabilize_deliver_all(self);
    self->info = info;
    self->warned = FALSE;
    quorvel_stabilize_apply_settings(self);
    return TRUE;
}

// Frames and events -----------------------------------------------------------------------------------

static GstFlowReturn quorvel_stabilize_submit_input_buffer(GstBaseTransform *trans, gboolean discont,
                                                           GstBuffer *input) {
    const GstFlowReturn result = GST_BASE_TRANSFORM_CLASS(quorvel_stabilize_parent_class)
                                     ->submit_input_buffer(trans, discont, input);
    GstBuffer *frame = trans->queued_buf;
    if (result != GST_FLOW_OK || !frame) return result;
    trans->queued_buf = NULL;
    quorvel_stabilize_take_frame(QUORVEL_STABILIZE(trans), frame);
    return GST_FLOW_OK;
}

static gboolean quorvel_stabilize_sink_event(GstBaseTransform *trans, GstEvent *event) {
    if (quorvel_stabilize_keep_event(QUORVEL_STABILIZE(trans), event)) return TRUE;
    return GST_BASE_TRANSFORM_CLASS(quorvel_stabilize_parent_class)->sink_event(trans, event);
}

// Allocation ------------------------------------------------------------------------------------------

// The pool of the element in front needs, beside its own buffers, those that wait here.
static gboolean quorvel_stabilize_propose_allocation(GstBaseTransform *trans, GstQuery *decide_query,
                                                     GstQuery *query) {
    QuorvelStabilize *self = QUORVEL_STABILIZE(trans);
    GstBaseTransformClass *parent = GST_BASE_TRANSFORM_CLASS(quorvel_stabilize_parent_class);
    if (!parent->propose_allocation(trans, decide_query, query)) return FALSE;
    GstCaps *caps = NULL;
    GstVideoInfo info;
    gst_query_parse_allocation(query, &caps, NULL);
    if (!caps || !gst_video_info_from_caps(&info, caps)) return FALSE;
    GST_OBJECT_LOCK(self);
    const guint held = (guint)FramesHeld(self->settings.lookahead);
    GST_OBJECT_UNLOCK(self);
    gst_query_add_allocation_pool(query, NULL, (guint)GST_VIDEO_INFO_SIZE(&info), held + 1, 0);
    if (!gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, NULL))
        gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, NULL);
    return TRUE;
}

static gboolean quorvel_stabilize_decide_allocation(GstBaseTransform *trans, GstQuery *query) {
    QuorvelStabilize *self = QUORVEL_STABILIZE(trans);
    GstBufferPool *pool = NULL;
    guint size = 0, least = 0, most = 0;
    GstCaps *caps = NULL;
    const gboolean offered = gst_query_get_n_allocation_pools(query) > 0;
    gst_query_parse_allocation(query, &caps, NULL);
    if (offered) gst_query_parse_nth_allocation_pool(query, 0, &pool, &size, &least, &most);
    if (!pool) pool = gst_video_buffer_pool_new();
    size = MAX(size, (guint)GST_VIDEO_INFO_SIZE(&self->info));
    GstStructure *config = gst_buffer_pool_get_config(pool);
    gst_buffer_pool_config_set_params(config, caps, size, least, most);
    self->takes_video_meta = gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, NULL);
    if (self->takes_video_meta)
        gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_META);
    gst_buffer_pool_set_config(pool, config);
    if (offered)
        gst_query_set_nth_allocation_pool(query, 0, pool, size, least, most);
    else
        gst_query_add_allocation_pool(query, pool, size, least, most);
    gst_object_unref(pool);
    return GST_BASE_TRANSFORM_CLASS(quorvel_stabilize_parent_class)->decide_allocation(trans, query);
}

// Keeps all metas. The base class does not ask about those that describe the input's memory, and drops
// them.
static gboolean quorvel_stabilize_transform_meta(GstBaseTransform *, GstBuffer *, GstMeta *,
                                                 GstBuffer *) {
    return TRUE;
}

// Latency ---------------------------------------------------------------------------------------------

void quorvel_stabilize_update_latency(QuorvelStabilize *self, gint lookahead) {
    gint numerator = GST_VIDEO_INFO_FPS_N(&self->info), denominator = GST_VIDEO_INFO_FPS_D(&self->info);
    if (numerator <= 0 || denominator <= 0) { // not known: the library's default
        numerator = 30;
        denominator = 1;
    }
    const GstClockTime latency = gst_util_uint64_scale((guint64)FramesHeld(lookahead) * GST_SECOND,
                                                       (guint64)denominator, (guint64)numerator);
    GST_OBJECT_LOCK(self);
    const gboolean changed = self->latency != latency;
    self->latency = latency;
    GST_OBJECT_UNLOCK(self);
    if (changed) gst_element_post_message(GST_ELEMENT(self), gst_message_new_latency(GST_OBJECT(self)));
}

static gboolean quorvel_stabilize_query(GstBaseTransform *trans, GstPadDirection direction,
                                        GstQuery *query) {
    QuorvelStabilize *self = QUORVEL_STABILIZE(trans);
    if (GST_QUERY_TYPE(query) == GST_QUERY_DRAIN) quorvel_stabilize_deliver_all(self);
    const gboolean done =
        GST_BASE_TRANSFORM_CLASS(quorvel_stabilize_parent_class)->query(trans, direction, query);
    if (!done || direction != GST_PAD_SRC || GST_QUERY_TYPE(query) != GST_QUERY_LATENCY) return done;
    gboolean live = FALSE;
    GstClockTime least = 0, most = 0;
    gst_query_parse_latency(query, &live, &least, &most);
    GST_OBJECT_LOCK(self);
    least += self->latency;
    if (GST_CLOCK_TIME_IS_VALID(most)) most += self->latency;
    GST_OBJECT_UNLOCK(self);
    gst_query_set_latency(query, live, least, most);
    return TRUE;
}

// Life ------------------------------------------------------------------------------------------------

static gboolean quorvel_stabilize_start_or_stop(GstBaseTransform *trans) {
    QuorvelStabilize *self = QUORVEL_STABILIZE(trans);
    quorvel_stabilize_drop_all(self);
    gst_video_info_init(&self->info);
    self->warned = FALSE;
    GST_OBJECT_LOCK(self);
    self->latency = 0;
    GST_OBJECT_UNLOCK(self);
    return TRUE;
}

static void quorvel_stabilize_finalize(GObject *object) {
    quorvel_stabilize_finalize_flow(QUORVEL_STABILIZE(object));
    G_OBJECT_CLASS(quorvel_stabilize_parent_class)->finalize(object);
}

static void quorvel_stabilize_init(QuorvelStabilize *self) {
    self->settings = StreamSettings();
    self->enabled = TRUE;
    gst_video_info_init(&self->info);
    quorvel_stabilize_init_flow(self);
}

static void quorvel_stabilize_class_init(QuorvelStabilizeClass *klass) {
    GObjectClass *object = G_OBJECT_CLASS(klass);
    object->set_property = quorvel_stabilize_set_property;
    object->get_property = quorvel_stabilize_get_property;
    object->finalize = quorvel_stabilize_finalize;
    install_properties(object);

    GstElementClass *element = GST_ELEMENT_CLASS(klass);
    gst_element_class_set_static_metadata(element, "Video stabilizer", "Filter/Effect/Video",
                                          "Takes hand shake out of video",
                                          "Quorvel stabilizer developers");
    gst_element_class_add_static_pad_template(element, &sink_template);
    gst_element_class_add_static_pad_template(element, &src_template);

    GstBaseTransformClass *trans = GST_BASE_TRANSFORM_CLASS(klass);
    trans->start = trans->stop = quorvel_stabilize_start_or_stop;
    trans->get_unit_size = quorvel_stabilize_get_unit_size;
    trans->set_caps = quorvel_stabilize_set_caps;
    trans->propose_allocation = quorvel_stabilize_propose_allocation;
    trans->decide_allocation = quorvel_stabilize_decide_allocation;
    trans->transform_meta = quorvel_stabilize_transform_meta;
    trans->query = quorvel_stabilize_query;
    trans->sink_event = quorvel_stabilize_sink_event;
    trans->submit_input_buffer = quorvel_stabilize_submit_input_buffer;
    trans->transform = quorvel_stabilize_transform;
    trans->generate_output = quorvel_stabilize_generate_output;
}
