// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <stddef.h>

#include <algorithm>
#include <vector>

// 0 is the least value, 0.5 the median, 1 the greatest.
inline double Quantile(std::vector<double> values, double part) {
    const auto at = values.begin() + (ptrdiff_t)(part * (double)(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}
