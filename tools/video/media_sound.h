// SPDX-License-Identifier: BSD-2-Clause
// Converts sound.
#pragma once

#include "video/frame_source.h"
#include "video/media_converter.h"
#include "video/media_fit.h"

// To the codec that is usual in the container, and is added to the trial; null when none fits.
std::unique_ptr<PacketConverter> MakeSoundConverter(const AVStream *from, ContainerTrial &trial,
                                                    const NoteHandler &note);
