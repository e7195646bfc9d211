// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/summary.h"

#include <math.h>
#include <stdio.h>

namespace {

// Bytes of the UTF-8 character at the start of a text; 0 when it is none.
size_t CharacterBytes(const std::string &text, size_t at) {
    auto byte = [&](size_t i) { return at + i < text.size() ? (unsigned char)text[at + i] : 0u; };
    unsigned first = byte(0);
    if (first < 0x80) return 1;
    size_t size = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4) return 0;
    // The second byte's range leaves out long forms, surrogates and what is beyond the last character.
    unsigned low = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
    unsigned high = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
    if (byte(1) < low || byte(1) > high) return 0;
    for (size_t i = 2; i < size; i++)
        if ((byte(i) & 0xc0) != 0x80) return 0;
    return size;
}

std::string Quoted(const std::string &text) {
    std::string result = "\"";
    for (char c : ValidText(text)) {
        char escaped[8];
        if (c == '"' || c == '\\')
            result += std::string("\\") + c;
        else if ((unsigned char)c < ' ')
            result += (snprintf(escaped, sizeof(escaped), "\\u%04x", c), escaped);
        else
            result += c;
    }
    return result + "\"";
}

std::string Number(double value) {
    char text[40];
    snprintf(text, sizeof(text), "%.3f", value);
    return text;
}

double Square(double a, double b) { return a * a + b * b; }

} // namespace

std::string ValidText(const std::string &text) {
    std::string result;
    for (size_t at = 0, size; at<text.size(); at += size> 0 ? size : 1) {
        size = CharacterBytes(text, at);
        result += size > 0 ? text.substr(at, size) : "\xef\xbf\xbd";
    }
    return result;
}

void Summary::Add(const MotionRecord &record) {
    const Movement &motion = record.motion, &now = record.compensation;
    mFrames++;
    mResets += record.reset;
    if (record.measured) {
        mMeasured++;
        mDoubtful += !record.reliable;
        // The output moves by the measured motion and the change of the compensation.
        mSquares[0] += Square(motion.row, motion.column);
        mSquares[1] += Square(motion.theta, 0);
        mSquares[2] +=
            Square(motion.row + (now.row - mBefore.row), motion.column + (now.column - mBefore.column));
        mSquares[3] += Square(motion.theta + (now.theta - mBefore.theta), 0);
    }
    mBefore = now;
}

Summary::Shake Summary::Measured() const {
    if (mMeasured == 0) return {};
    return {sqrt(mSquares[0] / (double)mMeasured), 1000 * sqrt(mSquares[1] / (double)mMeasured)};
}

Summary::Shake Summary::Left() const {
    if (mMeasured == 0) return {};
    return {sqrt(mSquares[2] / (double)mMeasured), 1000 * sqrt(mSquares[3] / (double)mMeasured)};
}

std::string Summary::Text() const {
    char text[200];
    snprintf(text, sizeof(text), "%s of %s in %.1f s (%.1f fps)", CountText(mFrames, "frame").c_str(),
             SizeText(outSize).c_str(), seconds, (double)mFrames / (seconds > 0 ? seconds : 1));
    std::string line = (output.empty() ? input : output) + ": " + text;
    if (!encoder.empty()) line += ", " + encoder;
    if (mMeasured > 0) {
        snprintf(text, sizeof(text), "; motion from frame to frame %.2f pixels, left %.2f",
                 Measured().pixels, Left().pixels);
        line += text;
    }
    if (mResets > 0) line += "; the path starts anew " + CountText(mResets, "time");
    if (interrupted) line += "; interrupted";
    return line;
}

std::string Summary::Json() const {
    std::string list;
    for (const std::string &note : notes) list += (list.empty() ? "" : ", ") + Quoted(note);
    auto shake = [](const Shake &value) {
        return "{\"pixels\": " + Number(value.pixels) +
               ", \"milliradians\": " + Number(value.milliradians) + "}";
    };
    auto size = [](PictureSize value) {
        return "[" + std::to_string(value.width) + ", " + std::to_string(value.height) + "]";
    };
    return "{\n  \"input\": " + Quoted(input) +
           ",\n  \"output\": " + (output.empty() ? "null" : Quoted(output)) +
           ",\n  \"encoder\": " + (encoder.empty() ? "null" : Quoted(encoder)) +
           ",\n  \"input_size\": " + size(inSize) + ",\n  \"output_size\": " + size(outSize) +
           ",\n  \"window\": " + (window > 0 ? Number(100 * window) : "null") +
           ",\n  \"frames\": " + std::to_string(mFrames) +
           ",\n  \"measured\": " + std::to_string(mMeasured) +
           ",\n  \"in_doubt\": " + std::to_string(mDoubtful) +
           ",\n  \"resets\": " + std::to_string(mResets) + ",\n  \"motion_rms\": " + shake(Measured()) +
           ",\n  \"motion_left_rms\": " + shake(Left()) + ",\n  \"seconds\": " + Number(seconds) +
           ",\n  \"interrupted\": " + (interrupted ? "true" : "false") +
           ",\n  \"fault\": " + (fault.empty() ? "null" : Quoted(fault)) + ",\n  \"notes\": [" + list +
           "]\n}\n";
}
