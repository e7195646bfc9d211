// SPDX-License-Identifier: BSD-2-Clause
// Chooses the encoder of the pictures, and how good and how fast it is.
#pragma once

#include "video/frame_source.h"
#include "video/media_common.h"

// The encoder of options.codec; without it one for the input's kind of video where the container takes
// that, else for the container's own. Throws VideoError, naming the option to change, when there is
// none.
const AVCodec *ChooseEncoder(const AVOutputFormat &container, const StreamInfo &info,
                             const SinkOptions &options);

// Sets what --crf, --bitrate and --preset ask for, or a quality that looks like the source. Throws
// VideoError when the encoder has no such setting.
void SetQuality(AVCodecContext *encoder, const SinkOptions &options, MediaOptions &dictionary);
