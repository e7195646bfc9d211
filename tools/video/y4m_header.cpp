// SPDX-License-Identifier: BSD-2-Clause
#include "video/y4m_header.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <sstream>

const char kY4mMagic[] = "YUV4MPEG2";

namespace {

const char kFrameMagic[] = "FRAME";

[[noreturn]] void Refuse(const std::string &name, const std::string &why) {
    throw VideoError(name + ": " + why);
}

// Text of a foreign file for a message: short, and nothing that moves a terminal's cursor.
std::string Quoted(const std::string &text) {
    std::string shown = text.substr(0, 24);
    for (char &c : shown)
        if (c < ' ' || c > '~') c = '?';
    return "'" + shown + (text.size() > 24 ? "...'" : "'");
}

int ParseSide(const std::string &tag, const std::string &name) {
    int side = 0;
    if (!ParseNumber(tag.substr(1), kMaxSide, side))
        Refuse(name, "bad picture size " + Quoted(tag) + " in the Y4M header (sides are 1 to " +
                         std::to_string(kMaxSide) + ")");
    return side;
}

// The spellings differ in where chroma samples lie.
bool IsEightBit420(const std::string &colour) {
    static const char *const kKnown[] = {"420", "420jpeg", "420mpeg2", "420paldv"};
    return std::find(std::begin(kKnown), std::end(kKnown), colour) != std::end(kKnown);
}

const char kExtension[] = "XYSCSS=";

// The tag that tells the layout: C, or the extension that some writers have instead. Empty: none.
std::string LayoutTag(const std::vector<std::string> &tags) {
    std::string found;
    for (const std::string &tag : tags) {
        if (tag[0] == 'C') return tag;
        if (tag.compare(0, strlen(kExtension), kExtension) == 0) found = tag;
    }
    return found;
}

std::string OtherPixels(const std::vector<std::string> &tags) {
    return IsEightBit420(Y4mColour(tags)) ? "" : LayoutTag(tags);
}

std::vector<std::string> Words(const std::string &line) {
    std::istringstream words(line);
    return {std::istream_iterator<std::string>(words), {}};
}

// "30000:1001" behind the tag's letter; 0 when it is no such thing.
Rational ParseRatio(const std::string &tag) {
    const int limit = 1 << 30;
    size_t colon = tag.find(':');
    Rational ratio;
    if (colon == std::string::npos || !ParseNumber(tag.substr(1, colon - 1), limit, ratio.num))
        return {};
    if (!ParseNumber(tag.substr(colon + 1), limit, ratio.den)) return {};
    return ratio;
}

void TakeTag(Y4mHeader &header, const std::string &tag, const std::string &name) {
    if (tag[0] == 'W') {
        header.size.width = ParseSide(tag, name);
    } else if (tag[0] == 'H') {
        header.size.height = ParseSide(tag, name);
    } else {
        if (tag[0] == 'F') header.framesPerSecond = ParseRatio(tag);
        if (tag[0] == 'A') header.sampleAspect = ParseRatio(tag);
        if (tag == "XCOLORRANGE=FULL") header.fullRange = true;
        if (tag[0] == 'I') header.interlaced = tag == "It" || tag == "Ib" || tag == "Im";
        header.tags.push_back(tag);
    }
}

} // namespace

std::string Y4mColour(const std::vector<std::string> &tags) {
    std::string tag = LayoutTag(tags);
    if (tag.empty()) return "420";
    if (tag[0] == 'C') return tag.substr(1);
    std::string colour = tag.substr(strlen(kExtension)); // in capitals
    for (char &c : colour)
        if (c >= 'A' && c <= 'Z') c = (char)(c - 'A' + 'a');
    return colour;
}

Y4mHeader ParseY4mHeader(const std::string &line, const std::string &name) {
    std::vector<std::string> words = Words(line);
    if (words.empty() || words[0] != kY4mMagic) Refuse(name, "not a Y4M stream");
    Y4mHeader header;
    for (size_t i = 1; i < words.size(); i++) TakeTag(header, words[i], name);
    if (header.size.width == 0) Refuse(name, "the Y4M header has no width (W)");
    if (header.size.height == 0) Refuse(name, "the Y4M header has no height (H)");
    std::string other = OtherPixels(header.tags);
    if (!other.empty())
        Refuse(name, "pixels are " + Quoted(other) +
                         ", only 8-bit 4:2:0 is supported; convert them, e.g. with "
                         "ffmpeg -pix_fmt yuv420p");
    return header;
}

std::string OtherY4mPixels(const std::string &line) { return OtherPixels(Words(line)); }

std::string Y4mPixels(const PixelLayout &layout) {
    bool grey = layout.planes == 1;
    std::string name = grey ? "mono" : layout.log2Y ? "420" : layout.log2X ? "422" : "444";
    if (layout.bits > 8) name += (grey ? "" : "p") + std::to_string(layout.bits);
    return name;
}

std::string Y4mHeaderLine(const Y4mHeader &header) {
    std::string line = std::string(kY4mMagic) + " W" + std::to_string(header.size.width) + " H" +
                       std::to_string(header.size.height);
    for (const std::string &tag : header.tags) line += " " + tag;
    return line + "\n";
}

bool ParseY4mFrameLine(const std::string &line, std::string &parameters) {
    const std::string magic = kFrameMagic;
    if (line.compare(0, magic.size(), magic) != 0) return false;
    if (line.size() > magic.size() && line[magic.size()] != ' ') return false;
    parameters = line.substr(magic.size());
    return true;
}
