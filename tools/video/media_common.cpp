// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_common.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include <mutex>

#include "video/media.h"

const bool kHasMedia = true;

namespace {

bool gShowMessages = false;

struct LastError {
    std::mutex mutex;
    std::string text;
};

LastError &Last() {
    static LastError last;
    return last;
}

// A demuxer that skips what is damaged returns no error, it just says so.
void KeepFault(void *object, const std::string &text) {
    if (!object || *(const AVClass **)object != avformat_get_class()) return;
    auto *fault = (std::string *)((AVFormatContext *)object)->opaque;
    if (fault) *fault = text;
}

// Keeps the last message of an error instead of printing it: the libraries print what is none of the
// user's business, but know better than their error codes what was wrong.
void OnMessage(void *object, int level, const char *format, va_list arguments) {
    if (gShowMessages) {
        va_list copy;
        va_copy(copy, arguments);
        av_log_default_callback(object, level, format, copy);
        va_end(copy);
    }
    if (level > AV_LOG_ERROR) return;
    char line[400];
    int prefix = 0;
    av_log_format_line2(object, level, format, arguments, line, sizeof(line), &prefix);
    std::string text = line;
    if (text[0] == '[' && text.find("] ") != std::string::npos) text.erase(0, text.find("] ") + 2);
    while (!text.empty() && strchr("\n.!", text.back())) text.pop_back();
    if (text.empty()) return;
    KeepFault(object, text);
    if (gShowMessages) return;
    std::lock_guard<std::mutex> lock(Last().mutex);
    Last().text = text;
}

// Before main: no message escapes, whatever is called first.
const bool kCatching = (av_log_set_callback(OnMessage), true);

std::string VersionText(const char *name, unsigned version) {
    return std::string(name) + " " + std::to_string(AV_VERSION_MAJOR(version)) + "." +
           std::to_string(AV_VERSION_MINOR(version)) + "." + std::to_string(AV_VERSION_MICRO(version));
}

[[noreturn]] void Refuse(const std::string &option, const std::string &text) {
    throw VideoError(option + " " + text + ": give KEY=VALUE");
}

} // namespace

std::string MediaVersion() {
    return std::string("with FFmpeg ") + av_version_info() + " (" +
           VersionText("libavformat", avformat_version()) + ", " +
           VersionText("libavcodec", avcodec_version()) + ")";
}

void ShowMediaMessages() { gShowMessages = kCatching; }

bool MediaMessagesShown() { return gShowMessages; }

std::string MediaError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = "";
    av_strerror(code, text, sizeof(text));
    std::lock_guard<std::mutex> lock(Last().mutex);
    std::string result = text;
    if (!Last().text.empty()) result += " (" + Last().text + ")";
    Last().text.clear();
    return result;
}

void ForgetMediaError() {
    std::lock_guard<std::mutex> lock(Last().mutex);
    Last().text.clear();
}

int CheckMedia(int code, const std::string &what) {
    if (code == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (code < 0) throw VideoError(what + ": " + MediaError(code));
    return code;
}

// Stream side data has moved to the codec parameters.
const uint8_t *StreamSideData(const AVStream *stream, AVPacketSideDataType type, size_t *size) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 30, 101)
    const AVCodecParameters *parameters = stream->codecpar;
    const AVPacketSideData *data =
        av_packet_side_data_get(parameters->coded_side_data, parameters->nb_coded_side_data, type);
    *size = data ? data->size : 0;
    return data ? data->data : nullptr;
#else
    return av_stream_get_side_data(stream, type, size);
#endif
}

uint8_t *NewStreamSideData(AVStream *stream, AVPacketSideDataType type, size_t size) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 30, 101)
    AVPacketSideData *data = av_packet_side_data_new(
        &stream->codecpar->coded_side_data, &stream->codecpar->nb_coded_side_data, type, size, 0);
    return data ? data->data : nullptr;
#else
    return av_stream_new_side_data(stream, type, size);
#endif
}

MediaOptions::MediaOptions(const std::vector<std::string> &texts, const std::string &option) {
    for (const std::string &text : texts) {
        size_t equals = text.find('=');
        if (equals == std::string::npos || equals == 0) Refuse(option, text);
        Set(text.substr(0, equals).c_str(), text.substr(equals + 1));
    }
}

void MediaOptions::Set(const char *key, const std::string &value) {
    if (av_dict_set(&mDictionary, key, value.c_str(), 0) < 0) throw std::bad_alloc();
}

std::string MediaOptions::Value(const char *key) const {
    const AVDictionaryEntry *entry = av_dict_get(mDictionary, key, nullptr, 0);
    return entry ? entry->value : "";
}

std::string MediaOptions::Left() const {
    const AVDictionaryEntry *entry = av_dict_get(mDictionary, "", nullptr, AV_DICT_IGNORE_SUFFIX);
    return entry ? entry->key : "";
}
