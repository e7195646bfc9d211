// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/parse.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

namespace {

const char kDigits[] = "0123456789";
const int kMostFrames = 1000000; // a second

bool IsWhole(const std::string &text) {
    return !text.empty() && text.find_first_not_of(kDigits) == std::string::npos;
}

std::string RangeText(const char *kind, double low, double high) {
    char text[80];
    snprintf(text, sizeof(text), "%s from %g to %g", kind, low, high);
    return text;
}

} // namespace

std::optional<double> ParseDecimal(const std::string &text) {
    size_t dot = text.find('.');
    if (!IsWhole(text.substr(0, dot))) return std::nullopt;
    if (dot != std::string::npos && !IsWhole(text.substr(dot + 1))) return std::nullopt;
    return strtod(text.c_str(), nullptr);
}

std::optional<double> ParseSeconds(const std::string &text) {
    double sum = 0;
    size_t begin = 0;
    for (int parts = 0; parts < 3; parts++) {
        size_t colon = text.find(':', begin);
        std::string part = text.substr(begin, colon - begin);
        std::optional<double> value = ParseDecimal(part);
        if (!value || (colon != std::string::npos && !IsWhole(part))) return std::nullopt;
        sum = sum * 60 + *value;
        if (colon == std::string::npos) return sum;
        begin = colon + 1;
    }
    return std::nullopt;
}

TextCheck SecondsFault(bool zeroToo) {
    return [zeroToo](const std::string &text) -> std::string {
        std::optional<double> seconds = ParseSeconds(text);
        if (seconds && *seconds < 1e6 && (*seconds > 0 || zeroToo)) return "";
        return "'" + text + "' is no time, give seconds (2.5), M:S (1:30) or H:M:S (1:02:03)" +
               (zeroToo ? "" : " above 0");
    };
}

std::optional<int64_t> ParseBitrate(const std::string &text) {
    double unit = 1;
    std::string number = text;
    char last = text.empty() ? '\0' : text.back();
    if (last == 'k' || last == 'K') unit = 1e3;
    if (last == 'm' || last == 'M') unit = 1e6;
    if (unit > 1) number.pop_back();
    std::optional<double> value = ParseDecimal(number);
    if (!value || *value * unit < 1e3 || *value * unit >= 1e10) return std::nullopt;
    return (int64_t)(*value * unit);
}

std::string BitrateFault(const std::string &text) {
    if (ParseBitrate(text)) return "";
    return "'" + text + "' is no bit rate, give bits a second from 1k to 9999M, e.g. 8M or 800k";
}

std::optional<Rational> ParseRate(const std::string &text) {
    size_t slash = text.find('/');
    Rational rate;
    if (slash != std::string::npos) {
        if (!ParseNumber(text.substr(0, slash), kMostFrames, rate.num) ||
            !ParseNumber(text.substr(slash + 1), kMostFrames, rate.den))
            return std::nullopt;
        return rate;
    }
    std::optional<double> value = ParseDecimal(text);
    if (!value || *value < 0.001 || *value > kMostFrames) return std::nullopt;
    if (*value == (int)*value) return Rational{(int)*value, 1};
    return Rational{(int)lround(*value * 1000), 1000};
}

std::string RateFault(const std::string &text) {
    if (ParseRate(text)) return "";
    return "'" + text +
           "' is no frame rate, give 0.001 to 1000000 frames a second, e.g. 25, 29.97 or 30000/1001";
}

TextCheck WholeFault(int low, int high) {
    return [=](const std::string &text) -> std::string {
        int value = 0;
        bool zero = IsWhole(text) && text.find_first_not_of('0') == std::string::npos;
        if ((zero || ParseNumber(text, high, value)) && value >= low) return "";
        return "'" + text + "' is not " + RangeText("a whole number", low, high);
    };
}

TextCheck DecimalFault(double low, double high) {
    return [=](const std::string &text) -> std::string {
        std::optional<double> value = ParseDecimal(text);
        if (value && *value >= low && *value <= high) return "";
        return "'" + text + "' is not " + RangeText("a number", low, high);
    };
}
