// SPDX-License-Identifier: BSD-2-Clause
// Chooses and opens the encoder of the pictures.
#pragma once

#include "video/frame_source.h"
#include "video/media_common.h"

// Throws VideoError, naming the option to change, when there is none that fits.
MediaPtr<AVCodecContext> OpenEncoder(const AVOutputFormat &container, const StreamInfo &info,
                                     const SinkOptions &options);
