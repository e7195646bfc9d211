// SPDX-License-Identifier: BSD-2-Clause
// What the host sees: the module, its filter, and the filter's dialogue.
#include "plugin.h"

#include <stdio.h>

#include <string>

#include "filter.h"
#include "quorvel/version.h"

OBS_DECLARE_MODULE()
OBS_MODULE_USE_DEFAULT_LOCALE("quorvel-stabilize", "en-US")

MODULE_EXPORT const char *obs_module_name() { return "Quorvel Stabilizer"; }
MODULE_EXPORT const char *obs_module_description() { return obs_module_text("Description"); }
MODULE_EXPORT const char *obs_module_author() { return "the Quorvel stabilizer developers"; }

namespace {

const char kWindow[] = "window", kStrength[] = "strength", kLookahead[] = "lookahead", kRoll[] = "roll";
const char kCubic[] = "cubic", kSplit[] = "split", kDelay[] = "delay";

FilterSettings ReadSettings(obs_data_t *settings) {
    FilterSettings read;
    read.stream.window = obs_data_get_double(settings, kWindow) / 100;
    read.stream.strength = obs_data_get_double(settings, kStrength);
    const long long lookahead = obs_data_get_int(settings, kLookahead);
    read.stream.lookahead = (int32_t)(lookahead > kMostLookahead ? kMostLookahead : lookahead);
    read.stream.roll = obs_data_get_bool(settings, kRoll);
    read.cubic = obs_data_get_bool(settings, kCubic);
    read.split = obs_data_get_bool(settings, kSplit);
    return read;
}

void Defaults(obs_data_t *settings) {
    obs_data_set_default_double(settings, kWindow, 100 * kUsualWindow);
    obs_data_set_default_double(settings, kStrength, kUsualStrength);
    obs_data_set_default_int(settings, kLookahead, 0);
    obs_data_set_default_bool(settings, kRoll, true);
    obs_data_set_default_bool(settings, kCubic, false);
    obs_data_set_default_bool(settings, kSplit, false);
}

void Stop(void *data) {
    Filter *filter = (Filter *)data;
    StopFilter(filter, filter->source ? obs_filter_get_parent(filter->source) : nullptr);
}

void Enabled(void *data, calldata_t *call) {
    if (!calldata_bool(call, "enabled")) Stop(data);
}

void *Create(obs_data_t *settings, obs_source_t *source) {
    Filter *filter = CreateFilter(source, ReadSettings(settings));
    if (filter && source)
        signal_handler_connect(obs_source_get_signal_handler(source), "enable", Enabled, filter);
    return filter;
}

void Destroy(void *data) {
    Filter *filter = (Filter *)data;
    if (filter->source)
        signal_handler_disconnect(obs_source_get_signal_handler(filter->source), "enable", Enabled,
                                  filter);
    DestroyFilter(filter);
}

// -- The dialogue

std::string DelayText(Filter *filter, int32_t lookahead) {
    const int32_t frames = filter ? DelayFrames(filter, lookahead) : FramesHeld(lookahead);
    if (frames == 0) return obs_module_text("Delay.None");
    std::string text = obs_module_text("Delay");
    text += ": " + std::to_string(frames) + " " + obs_module_text("Frames");
    char seconds[32];
    snprintf(seconds, sizeof(seconds), " (%.2f s)",
             filter ? DelaySeconds(filter, lookahead) : frames / 30.0);
    return text + seconds;
}

bool LookaheadChanged(void *data, obs_properties_t *list, obs_property_t *, obs_data_t *settings) {
    const int32_t lookahead = ReadSettings(settings).stream.lookahead;
    obs_property_set_description(obs_properties_get(list, kDelay),
                                 DelayText((Filter *)data, lookahead).c_str());
    return true;
}

void AddNumber(obs_properties_t *list, const char *name, const char *label, double least, double most,
               double step, const char *unit) {
    obs_property_t *number =
        obs_properties_add_float_slider(list, name, obs_module_text(label), least, most, step);
    obs_property_float_set_suffix(number, unit);
    obs_property_set_long_description(number, obs_module_text((std::string(label) + ".Help").c_str()));
}

void AddSwitch(obs_properties_t *list, const char *name, const char *label) {
    obs_property_t *property = obs_properties_add_bool(list, name, obs_module_text(label));
    obs_property_set_long_description(property,
                                      obs_module_text((std::string(label) + ".Help").c_str()));
}

obs_properties_t *Properties(void *data) {
    obs_properties_t *list = obs_properties_create();
    AddNumber(list, kWindow, "Window", 100 * kLeastWindow, 100 * kMostWindow, 0.5, " %");
    AddNumber(list, kStrength, "Strength", kLeastStrength, kMostStrength, 0.05, " s");
    obs_property_t *frames =
        obs_properties_add_int(list, kLookahead, obs_module_text("Lookahead"), 0, kMostLookahead, 1);
    obs_property_int_set_suffix(frames, (std::string(" ") + obs_module_text("Frames")).c_str());
    obs_property_set_long_description(frames, obs_module_text("Lookahead.Help"));
    obs_property_set_modified_callback2(frames, LookaheadChanged, data);
    obs_properties_add_text(list, kDelay, obs_module_text("Delay.None"), OBS_TEXT_INFO);
    AddSwitch(list, kRoll, "Roll");
    AddSwitch(list, kCubic, "Cubic");
    AddSwitch(list, kSplit, "Split");
    return list;
}

} // namespace

obs_source_info StabilizeInfo() {
    obs_source_info info = {};
    info.id = "quorvel_stabilize_filter";
    info.type = OBS_SOURCE_TYPE_FILTER;
    // Not OBS_SOURCE_AUDIO: cameras without sound would not take the filter. Sound is filtered all the
    // same.
    info.output_flags = OBS_SOURCE_ASYNC_VIDEO;
    info.get_name = [](void *) { return obs_module_text("Name"); };
    info.create = Create;
    info.destroy = Destroy;
    info.update = [](void *data, obs_data_t *settings) {
        SetFilter((Filter *)data, ReadSettings(settings));
    };
    info.get_defaults = Defaults;
    info.get_properties = Properties;
    info.hide = Stop;
    info.deactivate = Stop;
    info.filter_remove = [](void *data, obs_source_t *parent) { StopFilter((Filter *)data, parent); };
    info.filter_video = [](void *data, obs_source_frame *frame) {
        return FilterFrame((Filter *)data, frame);
    };
    info.filter_audio = [](void *data, obs_audio_data *sound) {
        return FilterSound((Filter *)data, sound);
    };
    return info;
}

MODULE_EXPORT bool obs_module_load() {
    const obs_source_info info = StabilizeInfo();
    obs_register_source(&info);
    blog(LOG_INFO, "[quorvel-stabilize] loaded, version " QUORVEL_VERSION);
    return true;
}
