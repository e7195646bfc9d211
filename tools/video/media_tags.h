// SPDX-License-Identifier: BSD-2-Clause
// What the output says about itself and its pictures, from what the input says.
#pragma once

#include "video/media_input.h"

// Progressive, or the field that is shown first.
AVFieldOrder FieldOrder(const StreamInfo &info);

AVChromaLocation ChromaLocation(const StreamInfo &info);

// mp4, mov and their relatives.
bool IsMp4Family(const AVOutputFormat &container);

// True when the tags of an output of this family go beyond the list that such files usually hold.
bool HasFreeTags(const AVFormatContext &output);

// Gives the output's video stream, whose parameters are the encoder's, what the input says of how its
// pictures are to be shown, and its time code, moved to where the output begins. What the container has
// no place for is told to `note`.
void DescribeVideo(const StreamInfo &info, AVFormatContext *output, AVStream *stream,
                   const NoteHandler &note);
