// SPDX-License-Identifier: BSD-2-Clause
// Converts subtitles that are text.
#pragma once

#include "video/media_converter.h"
#include "video/media_fit.h"

// To a codec that fits the container, and is added to the trial; null when there is none, or the
// subtitles are pictures.
std::unique_ptr<PacketConverter> MakeSubtitleConverter(const AVStream *from, ContainerTrial &trial);
