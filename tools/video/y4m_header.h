// SPDX-License-Identifier: BSD-2-Clause
// The text of Y4M streams: the header of the stream and the line before each frame.
//
//     YUV4MPEG2 W640 H480 F30:1 Ip A1:1 C420jpeg
//     FRAME
#pragma once

#include <string>
#include <vector>

#include "video/picture.h"

// The magic word at the start of every stream.
extern const char kY4mMagic[];

// Far beyond any real header; keeps a file without newlines from being read as one line.
const size_t kY4mMaxLine = 4096;

struct Y4mHeader {
    PictureSize size;
    bool interlaced = false;
    Rational framesPerSecond; // 0 when the stream does not say
    Rational sampleAspect;    // likewise
    bool fullRange = false;
    std::vector<std::string> tags; // all of them but W and H, in the order of the stream
};

// `line` is the first line without its newline. Throws VideoError, for `name`, unless it describes
// 8-bit 4:2:0 pictures of a size up to kMaxSide.
Y4mHeader ParseY4mHeader(const std::string &line, const std::string &name);

// What the stream's first line calls its pixels, when they are not 8-bit 4:2:0; empty when they are.
std::string OtherY4mPixels(const std::string &line);

// What a header with these tags calls its pixels: "420mpeg2", "422p10". "420" where it does not say.
std::string Y4mColour(const std::vector<std::string> &tags);

// What the header calls the layout, without where its chroma samples lie: "420", "422p10", "mono".
std::string Y4mPixels(const PixelLayout &layout);

// The line for pictures of header.size, with its newline.
std::string Y4mHeaderLine(const Y4mHeader &header);

// Splits off what follows the word FRAME; false when it is no frame line.
bool ParseY4mFrameLine(const std::string &line, std::string &parameters);
