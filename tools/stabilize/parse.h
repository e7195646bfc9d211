// SPDX-License-Identifier: BSD-2-Clause
// Values of the command line out of their texts: digits and one dot, nothing that only looks like a
// number. The functions named ...Fault say what is wrong with a text and what is wanted; empty:
// nothing.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "video/picture.h"

using TextCheck = std::function<std::string(const std::string &)>;

// "90" or "1.5".
std::optional<double> ParseDecimal(const std::string &text);

// Seconds out of "90", "1:30.5" or "1:02:03".
std::optional<double> ParseSeconds(const std::string &text);
TextCheck SecondsFault(bool zeroToo);

// Bits a second out of "4000000", "4000k" or "4M".
std::optional<int64_t> ParseBitrate(const std::string &text);
std::string BitrateFault(const std::string &text);

// "30", "29.97" or "30000/1001".
std::optional<Rational> ParseRate(const std::string &text);
std::string RateFault(const std::string &text);

// Whole and decimal numbers within limits.
TextCheck WholeFault(int low, int high);
TextCheck DecimalFault(double low, double high);
