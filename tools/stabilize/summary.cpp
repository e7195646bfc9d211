// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/summary.h"

#include <math.h>
#include <stdio.h>

namespace {

std::string Quoted(const std::string &text) {
    std::string result = "\"";
    for (char c : text) {
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

void Summary::Add(const MotionRecord &record) {
    const MVS_MotionInfo &motion = record.motion;
    mFrames++;
    mResets += record.reset;
    if (motion.bMeasured) {
        mMeasured++;
        mDoubtful += !motion.bShiftReliable;
        // The output moves by the measured motion and the change of the compensation.
        double row = Pixels(motion.lMotionRow);
        double column = Pixels(motion.lMotionCol);
        double theta = Radians(motion.lMotionTheta);
        mSquares[0] += Square(row, column);
        mSquares[1] += Square(theta, 0);
        mSquares[2] += Square(row + Pixels(motion.lCompRow - mBefore.lCompRow),
                              column + Pixels(motion.lCompCol - mBefore.lCompCol));
        mSquares[3] += Square(theta + Radians(motion.lCompTheta - mBefore.lCompTheta), 0);
    }
    mBefore = motion;
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
    snprintf(text, sizeof(text), "%lld frames of %s in %.1f s (%.1f fps)", (long long)mFrames,
             SizeText(outSize).c_str(), seconds, (double)mFrames / (seconds > 0 ? seconds : 1));
    std::string line = (output.empty() ? input : output) + ": " + text;
    if (!encoder.empty()) line += ", " + encoder;
    if (mMeasured > 0) {
        snprintf(text, sizeof(text), "; motion from frame to frame %.2f pixels, left %.2f",
                 Measured().pixels, Left().pixels);
        line += text;
    }
    if (mResets > 0) line += "; the path starts anew " + std::to_string(mResets) + " times";
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
           ",\n  \"frames\": " + std::to_string(mFrames) +
           ",\n  \"measured\": " + std::to_string(mMeasured) +
           ",\n  \"in_doubt\": " + std::to_string(mDoubtful) +
           ",\n  \"resets\": " + std::to_string(mResets) + ",\n  \"motion_rms\": " + shake(Measured()) +
           ",\n  \"motion_left_rms\": " + shake(Left()) + ",\n  \"seconds\": " + Number(seconds) +
           ",\n  \"interrupted\": " + (interrupted ? "true" : "false") +
           ",\n  \"fault\": " + (fault.empty() ? "null" : Quoted(fault)) + ",\n  \"notes\": [" + list +
           "]\n}\n";
}
